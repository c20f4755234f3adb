// Counts the instructions that this process spends, where the machine can.
#pragma once

#include <cstdint>

class InstructionCounter {
public:
  InstructionCounter();
  ~InstructionCounter();
  InstructionCounter(const InstructionCounter&) = delete;
  InstructionCounter& operator=(const InstructionCounter&) = delete;

  bool works() const noexcept { return descriptor_ >= 0; }

  // Instructions in user mode since construction; 0 where the machine doesn't count.
  std::uint64_t count() const noexcept;

private:
  int descriptor_;
};
