# Makes one C program of a page's snippets: the first is at the top of the program, the others are in main.
# Compilers and failures name the page's own lines.
/^```c$/ {
  inside = 1
  if (++snippets == 2) {
    print "int main(int argc, char** argv) {"
    print "if (argc != 3) return 2;"
    print "const char* plugin_path = argv[1];"
    print "const char* path = argv[2];"
  }
  printf "#line %d \"%s\"\n", FNR + 1, FILENAME
  next
}
/^```$/ { inside = 0 }
inside
END {
  print "return 0;\n}"
}
