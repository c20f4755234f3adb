#include "bench/instructionCounter.h"

#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>

InstructionCounter::InstructionCounter() {
  perf_event_attr attributes = {};
  attributes.type = PERF_TYPE_HARDWARE;
  attributes.size = sizeof attributes;
  attributes.config = PERF_COUNT_HW_INSTRUCTIONS;
  attributes.exclude_kernel = 1;
  attributes.exclude_hv = 1;
  constexpr int kThisProcess = 0;
  constexpr int kAnyProcessor = -1;
  constexpr int kNoGroup = -1;
  descriptor_ = static_cast<int>(
      syscall(SYS_perf_event_open, &attributes, kThisProcess, kAnyProcessor, kNoGroup, 0));
}

InstructionCounter::~InstructionCounter() {
  if (works())
    close(descriptor_);
}

std::uint64_t InstructionCounter::count() const noexcept {
  std::uint64_t result = 0;
  if (!works() || read(descriptor_, &result, sizeof result) != sizeof result)
    return 0;
  return result;
}
