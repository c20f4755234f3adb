// What a plug-in in C cannot do.
#include <new>
#include <stdexcept>

extern "C" void throwException(int isBadAlloc) {
  if (isBadAlloc)
    throw std::bad_alloc();
  throw std::length_error("too long");
}
