// Samples put aside on disk, for when those of several streams are needed side by side.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>

namespace host {

// A temporary file without a name: it is gone when the process is, however that ends. Every failure
// is thrown as Error.
class Spool {
public:
  Spool();

  // Puts samples behind those already there; returns the position of the first.
  uint64_t append(std::span<const double> samples);
  void read(uint64_t position, std::span<double> samples) const;

private:
  struct Close {
    void operator()(std::FILE* file) const noexcept { (void)std::fclose(file); }
  };

  std::unique_ptr<std::FILE, Close> file_;
  uint64_t size_ = 0; // in samples
};

} // namespace host
