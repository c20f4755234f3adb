// What the fuzz targets share: how they report, and where their files are.
#pragma once

#include <cstdlib>

#include <stdio.h>

namespace fuzz {

// The descriptor for reports: standard error, unless a target has replaced that.
inline int reports = 2;

// Ends the process, as the fuzzer expects, when something that always holds does not.
inline void require(bool condition, const char* what) {
  if (condition)
    return;
  dprintf(reports, "broken: %s\n", what);
  std::abort();
}

// Files in memory, for speed.
constexpr const char* kFolder = "/dev/shm";

} // namespace fuzz
