#include "testing/failingSystem.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>

#include <dlfcn.h>
#include <sys/stat.h>

namespace failingSystem {

Failure planned;
long closedTwice = 0;
long liveAllocations = 0;

bool Failure::hits(KindOfCall asked) {
  if (asked != kind || callsBefore-- > 0)
    return false;
  happened = true;
  if (!lasting)
    kind = none;
  return true;
}

} // namespace failingSystem

using namespace failingSystem;

// Defines `name`: it returns `bad` if this call is to fail, and else does what the system's does.
#define OX_FAULT(kind, bad, type, name, parameters, ...)                                           \
  [[gnu::visibility("default")]] type name parameters {                                            \
    static const auto next = reinterpret_cast<type(*) parameters>(dlsym(RTLD_NEXT, #name));        \
    if (!planned.hits(kind))                                                                       \
      return next(__VA_ARGS__);                                                                    \
    errno = EIO;                                                                                   \
    return bad;                                                                                    \
  }

// NOLINTBEGIN: the system's names
extern "C" {
OX_FAULT(opening, nullptr, FILE*, fdopen, (int f, const char* m), f, m)
OX_FAULT(opening, -1, int, open, (const char* p, int f, mode_t m), p, f, m)
OX_FAULT(reading, 0, size_t, fread, (void* b, size_t s, size_t n, FILE* f), b, s, n, f)
OX_FAULT(reading, -1, ssize_t, read, (int f, void* b, size_t n), f, b, n)
OX_FAULT(asking, -1, int, stat, (const char* p, struct stat* s), p, s)
OX_FAULT(asking, -1, int, fstat, (int f, struct stat* s), f, s)
OX_FAULT(asking, -1, off_t, ftello, (FILE * f), f)

[[gnu::visibility("default")]] int close(int descriptor) {
  static const auto next = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "close"));
  const int result = next(descriptor);
  closedTwice += result != 0 && errno == EBADF;
  return result;
}

#ifndef __SANITIZE_ADDRESS__
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);
void __libc_free(void* old);

[[gnu::visibility("default")]] void* malloc(size_t size) {
  if (planned.hits(memory))
    return nullptr;
  ++liveAllocations;
  return __libc_malloc(size);
}
[[gnu::visibility("default")]] void* calloc(size_t count, size_t size) {
  if (planned.hits(memory))
    return nullptr;
  ++liveAllocations;
  return __libc_calloc(count, size);
}
// If realloc fails, libmseed, its only caller, leaks the old block: do not count that leak.
[[gnu::visibility("default")]] void* realloc(void* old, size_t size) {
  const bool fails = planned.hits(memory);
  if (fails && old)
    --liveAllocations;
  else if (!fails && !old)
    ++liveAllocations;
  return fails ? nullptr : __libc_realloc(old, size);
}
[[gnu::visibility("default")]] void free(void* old) {
  if (old)
    --liveAllocations;
  __libc_free(old);
}
#endif
}
// NOLINTEND
