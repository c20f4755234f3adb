# Makes one C program of the snippets in the guide for hosts: the first stands at its top, the others
# in main. Compilers and assertions name the guide's own lines.
/^```c$/ {
  inside = 1
  if (++snippets == 2) {
    print "int main(int argc, char** argv) {"
    print "if (argc != 3) return 2;"
    print "const char* plugin_path = argv[1];"
    print "const char* path = argv[2];"
  }
  printf "#line %d \"host-guide.md\"\n", FNR + 1
  next
}
/^```$/ { inside = 0 }
inside
END { print "return 0;\n}" }
