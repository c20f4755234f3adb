#include "geo/readers/toDoubles.h"

#ifdef __x86_64__
#include <immintrin.h>
#endif

// On x86-64 there are two functions of this name, and the dynamic loader picks the one that fits
// the processor. clang++ would take the second for unused in a namespace without a name.
#ifdef __x86_64__
[[gnu::target("default")]]
#endif
void integersToDoubles(const std::int32_t* samples, std::int64_t count, double* target) noexcept {
  toDoubles<std::int32_t>(samples, count, target);
}

#ifdef __x86_64__

namespace {

constexpr std::int64_t kFour = 4;

[[gnu::target("avx2")]] inline void fourToDoubles(const std::int32_t* samples,
                                                  double* target) noexcept {
  const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples));
  _mm256_storeu_pd(target, _mm256_cvtepi32_pd(four));
}

} // namespace

// Written out, since g++ by itself loads eight integers and takes them apart again.
[[gnu::target("avx2")]] void integersToDoubles(const std::int32_t* samples, std::int64_t count,
                                               double* target) noexcept {
  if (count < kFour)
    return toDoubles<std::int32_t>(samples, count, target);
  const std::int64_t last = count - kFour;
#pragma GCC unroll 8
  for (std::int64_t i = 0; i < last; i += kFour)
    fourToDoubles(samples + i, target + i);
  fourToDoubles(samples + last, target + last); // up to three of them once more
}

#endif

void toDoubles(const std::int32_t* samples, std::int64_t count, double* target) noexcept {
  integersToDoubles(samples, count, target);
}
