// Counts the instructions that this process spends, where the machine can.
#pragma once

#include <cstdint>

class instructionCounter {
public:
  instructionCounter();
  ~instructionCounter();
  instructionCounter(const instructionCounter&) = delete;
  instructionCounter& operator=(const instructionCounter&) = delete;

  bool works() const noexcept { return descriptor >= 0; }

  // Instructions in user mode since construction; 0 where the machine doesn't count.
  std::uint64_t count() const noexcept;

private:
  int descriptor;
};
