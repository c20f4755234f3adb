// A data file held open: the one place that decides whether a file may be read.
#pragma once

#include <cstddef>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

// It stays the same file until the object ends, whatever happens to its name. It is read forward
// only, since some file systems offer no more. Only regular files are opened and read: a pipe or a
// device may block the host, and would notice.
class cDataFile {
public:
  // Opens the regular file of this name, if there is one, and reads nothing.
  explicit cDataFile(const std::string& name);
  ~cDataFile();
  cDataFile(const cDataFile&) = delete;
  cDataFile& operator=(const cDataFile&) = delete;

  // The first twenty bytes, or as many as there are; none if this is no regular file.
  std::string_view start() noexcept;

  // The bytes behind the start as a stream of C, which the caller closes before this object ends.
  // Null if this is no regular file, or without memory. REQUIRES: start() was called.
  std::FILE* takeRest() noexcept;

  // All bytes as a stream of C++, which takes the file from this object; a stream that has failed
  // if there is no regular file. REQUIRES: neither start() nor takeRest() was called.
  std::ifstream takeStream();

private:
  struct cClose {
    void operator()(std::FILE* stream) const noexcept { (void)std::fclose(stream); }
  };

  bool isRegular() const noexcept;

  int descriptor_;    // -1 if there is none, or a stream has it
  char buffer_[4096]; // of rest_: the C library would ask the system how large to make its own
  std::unique_ptr<std::FILE, cClose> rest_;
  char start_[20] = {};
  std::size_t startSize_ = 0;
};
