#include "fuzz/memory.h"

#include <algorithm>
#include <cstring>

#include <libmseed.h>
#include <sys/mman.h>

namespace {

constexpr std::size_t kReadBufferSize = MAXRECLEN;
alignas(64) char readBuffer[2 * kReadBufferSize];

constexpr std::size_t kHugeSize = std::size_t{1} << 30;
void* hugeTable = nullptr; // one at a time
std::size_t hugeTableSize = 0;

} // namespace

namespace fuzz {

bool readBufferIsTaken = false;
bool readBufferWasTaken = false;

void clearReadBuffer(std::size_t size) {
  std::memset(readBuffer, 0, std::min(size, sizeof readBuffer));
}

} // namespace fuzz

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier,cert-*,readability-inconsistent-declaration-*)
// The names that the sanitizer keeps for its own.
void* __interceptor_malloc(std::size_t size);
void* __interceptor_calloc(std::size_t count, std::size_t size);
void __interceptor_free(void* memory);

[[gnu::visibility("default")]] void* malloc(std::size_t size) {
  if (size != kReadBufferSize || fuzz::readBufferIsTaken)
    return __interceptor_malloc(size);
  fuzz::readBufferIsTaken = fuzz::readBufferWasTaken = true;
  return readBuffer;
}

[[gnu::visibility("default")]] void* calloc(std::size_t count, std::size_t size) {
  if (count < kHugeSize / std::max<std::size_t>(size, 1) || hugeTable)
    return __interceptor_calloc(count, size);
  void* const table = mmap(nullptr, count * size, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (table == MAP_FAILED)
    return nullptr;
  hugeTable = table;
  hugeTableSize = count * size;
  return table;
}

[[gnu::visibility("default")]] void free(void* memory) {
  if (memory == readBuffer) {
    fuzz::readBufferIsTaken = false;
  } else if (memory && memory == hugeTable) {
    munmap(hugeTable, hugeTableSize);
    hugeTable = nullptr;
  } else {
    __interceptor_free(memory);
  }
}
// NOLINTEND(bugprone-reserved-identifier,cert-*,readability-inconsistent-declaration-*)

} // extern "C"
