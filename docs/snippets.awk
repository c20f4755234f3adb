# Makes one C program of a page's snippets. A page with several has the first at the top of the program
# and the others in main; a single one is the whole program. Compilers and assertions name the page's own
# lines.
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
  if (snippets > 1)
    print "return 0;\n}"
}
