// What a plug-in in C cannot do.
#include <stdexcept>

extern "C" void throwException() {
  throw std::length_error("too long");
}
