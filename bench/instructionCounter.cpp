#include "bench/instructionCounter.h"

#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>

instructionCounter::instructionCounter() {
  perf_event_attr attributes = {};
  attributes.type = PERF_TYPE_HARDWARE;
  attributes.size = sizeof attributes;
  attributes.config = PERF_COUNT_HW_INSTRUCTIONS;
  attributes.exclude_kernel = 1;
  attributes.exclude_hv = 1;
  constexpr int thisProcess = 0;
  constexpr int anyProcessor = -1;
  constexpr int noGroup = -1;
  descriptor = static_cast<int>(
      syscall(SYS_perf_event_open, &attributes, thisProcess, anyProcessor, noGroup, 0));
}

instructionCounter::~instructionCounter() {
  if (works())
    close(descriptor);
}

std::uint64_t instructionCounter::count() const noexcept {
  std::uint64_t result = 0;
  if (!works() || read(descriptor, &result, sizeof result) != sizeof result)
    return 0;
  return result;
}
