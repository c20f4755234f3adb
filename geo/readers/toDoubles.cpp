#include "geo/readers/toDoubles.h"

#ifdef __x86_64__

#include <immintrin.h>

namespace {

constexpr std::int64_t kFour = 4;

[[gnu::target("avx2")]] inline __m256d fourToDoubles(const std::int32_t* samples) noexcept {
  return _mm256_cvtepi32_pd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(samples)));
}

[[gnu::target("avx2")]] inline __m256d fourToDoubles(const float* samples) noexcept {
  return _mm256_cvtps_pd(_mm_loadu_ps(samples));
}

// Written out, since g++ by itself loads eight samples and takes them apart again.
template<class Sample>
[[gnu::target("avx2")]] inline void byFour(const Sample* samples, std::int64_t count,
                                           double* target) noexcept {
  if (count < kFour)
    return toDoubles<Sample>(samples, count, target);
  const std::int64_t last = count - kFour;
#pragma GCC unroll 8
  for (std::int64_t i = 0; i < last; i += kFour)
    _mm256_storeu_pd(target + i, fourToDoubles(samples + i));
  _mm256_storeu_pd(target + last, fourToDoubles(samples + last)); // up to three once more
}

} // namespace

// Of each pair the dynamic loader picks the function that fits the processor. clang++ would take
// the second for unused in a namespace without a name.
[[gnu::target("default")]] void widen(const std::int32_t* samples, std::int64_t count,
                                      double* target) noexcept {
  toDoubles<std::int32_t>(samples, count, target);
}
[[gnu::target("avx2")]] void widen(const std::int32_t* samples, std::int64_t count,
                                   double* target) noexcept {
  byFour(samples, count, target);
}

[[gnu::target("default")]] void widen(const float* samples, std::int64_t count,
                                      double* target) noexcept {
  toDoubles<float>(samples, count, target);
}
[[gnu::target("avx2")]] void widen(const float* samples, std::int64_t count,
                                   double* target) noexcept {
  byFour(samples, count, target);
}

#else

template<class Sample>
void widen(const Sample* samples, std::int64_t count, double* target) noexcept {
  toDoubles<Sample>(samples, count, target);
}

#endif

void toDoubles(const std::int32_t* samples, std::int64_t count, double* target) noexcept {
  widen(samples, count, target);
}

void toDoubles(const float* samples, std::int64_t count, double* target) noexcept {
  widen(samples, count, target);
}
