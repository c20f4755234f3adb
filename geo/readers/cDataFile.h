// A data file held open: the one place that decides whether a file may be read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <streambuf>
#include <string>
#include <utility>

// Owns a file descriptor; -1 stands for none.
class cDescriptor {
public:
  cDescriptor() = default;
  explicit cDescriptor(int number) noexcept : number_(number) {}
  ~cDescriptor();
  cDescriptor(cDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  cDescriptor& operator=(cDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  explicit operator bool() const noexcept { return number_ >= 0; }
  int number() const noexcept { return number_; }

  // A name under which the open file can be opened once more.
  std::string name() const { return "/proc/self/fd/" + std::to_string(number_); }

private:
  int number_ = -1;
};

// The file stays the same one until the object ends, whatever happens to its name.
class cDataFile {
public:
  // Opens the file without waiting: a pipe would block until there is a writer.
  explicit cDataFile(const std::string& name);

  // True for a non-empty regular file whose last byte can be read. Anything else may block the host
  // or, like some files under /sys, end before its size says.
  bool isReadable() const noexcept { return static_cast<bool>(descriptor_); }

  // Both read up to `count` bytes and return how many they stored: from the start of the file, and
  // from where readOn ended last.
  std::size_t readStart(char* bytes, std::size_t count) const noexcept;
  std::size_t readOn(char* bytes, std::size_t count) noexcept;

  // Two names under which others can open the file: that of the descriptor, which is always the
  // same file, and the file's own, for processes that may not use /proc.
  std::string descriptorName() const { return descriptor_.name(); }
  const std::string& ownName() const noexcept { return name_; }

  // A file that was modified within the last seconds may be in the middle of being rewritten. This
  // replaces it by a copy in memory, which cannot shrink. Large files are not copied, nor are files
  // at rest. Returns false when the file shrinks meanwhile.
  bool settle();

  // True when the file is now smaller than it was at any earlier look.
  bool hasShrunk() noexcept;

private:
  bool wasModifiedJustNow() const noexcept;

  std::string name_;
  cDescriptor descriptor_;
  std::int64_t size_ = 0;     // bytes, the largest size seen
  std::int64_t modified_ = 0; // seconds since 1970
  bool isCopy_ = false;
};

// A data file as a stream. It reads the open file, so that no name has to be looked up again. A
// file that is not readable makes a stream that has failed to open.
class cDataFileStream : public std::ifstream {
public:
  explicit cDataFileStream(const std::string& name);

private:
  class cBuffer : public std::streambuf {
  public:
    explicit cBuffer(const std::string& name) : file(name) {}
    cDataFile file;

  protected:
    int_type underflow() override;

  private:
    char bytes_[512];
  };

  cBuffer buffer_;
};
