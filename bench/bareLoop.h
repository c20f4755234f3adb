// What the plug-in is compared with: the libmseed calls of a parse or a copy, and nothing else.
#pragma once

#include <string>

#include <libmseed.h>

constexpr flag kHeadersOnly = 0; // as in a parse
constexpr flag kWithSamples = 1; // as in a copy

[[gnu::noinline]] inline void readAll(const std::string& path, flag dataFlag) {
  MSRecord* record = nullptr;
  char name[50];
  while (ms_readmsr(&record, path.c_str(), -1, nullptr, nullptr, 1, dataFlag, 0) == MS_NOERROR)
    msr_srcname(record, name, 0);
  ms_readmsr(&record, nullptr, 0, nullptr, nullptr, 0, 0, 0);
}
