// Samples kept on disk while those of several streams are merged.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

namespace host {

// Where temporary files go: $TMPDIR, or /tmp where that is unset or empty.
std::string temporaryFolder();

// A temporary file without a name: the system removes it when the process ends, in whatever way.
// Every failure is thrown as Error.
class Spool {
public:
  Spool();

  // Appends samples and returns the position of the first.
  // REQUIRES: nothing was read yet.
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
