// Counts open descriptors, to find those that stay open.
#pragma once

#include <filesystem>
#include <iterator>
#include <string>

#include <unistd.h>

// Of this process, or of another.
inline long openDescriptors(pid_t process = getpid()) {
  const std::filesystem::directory_iterator all("/proc/" + std::to_string(process) + "/fd");
  return std::distance(begin(all), end(all));
}
