// Samples as doubles: what a copy adds to libmseed's work, and so written for speed.
#pragma once

#include <cstdint>

// Converts `count` samples. `target` has room for them and lies elsewhere; with a count below 1
// nothing happens.
template<class Sample>
void toDoubles(const Sample* samples, std::int64_t count, double* __restrict target) noexcept {
  for (std::int64_t i = 0; i < count; ++i)
    target[i] = static_cast<double>(samples[i]);
}

// The same for what most files hold.
void toDoubles(const std::int32_t* samples, std::int64_t count, double* target) noexcept;
void toDoubles(const float* samples, std::int64_t count, double* target) noexcept;
