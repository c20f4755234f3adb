// Records that libmseed did not write: laid out by the SEED manual.
#pragma once

#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

// Numbers of one size, which is in bytes.
struct Run {
  int size;
  std::vector<std::int64_t> numbers;
};

// What one record holds.
struct Recorded {
  int encoding; // -1: not stated, as in a record without blockette 1000
  std::vector<Run> data;
  std::vector<double> samples;
  bool hasExactRate = false;
};

// A record of 256 bytes at 20 Hz, or exactly 1.5 Hz, from 62.5 s on, as the SEED manual lays it
// out.
inline std::string written(const Recorded& content, bool bigEndian) {
  std::string result = "000001D TEST 00BHZXX";
  const auto append = [&](std::size_t start, const std::vector<Run>& runs) {
    result.resize(start);
    for (const auto& [size, numbers] : runs)
      for (const std::int64_t number : numbers)
        for (int i = 0; i < size; ++i)
          result += static_cast<char>(number >> 8 * (bigEndian ? size - 1 - i : i));
  };
  const bool isStated = content.encoding >= 0;
  append(20, {{2, {1970, 1}}, {1, {0, 1, 2, 0}}, {2, {5000}}}); // day 1, 00:01:02.5
  append(30, {{2, {std::ssize(content.samples), 20, 1}}});
  append(39, {{1, {isStated + content.hasExactRate}}, {4, {0}}, {2, {128, isStated ? 48 : 0}}});
  if (isStated)
    append(48, {{2, {1000, content.hasExactRate ? 56 : 0}}, {1, {content.encoding, bigEndian, 8}}});
  if (content.hasExactRate)
    append(56, {{2, {100, 0}}, {4, {0x3FC00000}}});
  append(128, content.data);
  result.resize(256);
  return result;
}
