// A data file held open: the one place that decides whether a file may be read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <streambuf>
#include <string>
#include <utility>

#include <sys/types.h>

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

  // True for a regular file that is not empty. Anything else may block the host.
  bool isReadable() const noexcept { return static_cast<bool>(descriptor_); }

  // Both read up to `count` bytes and return how many they stored: from the start of the file, and
  // from where readOn ended last.
  std::size_t readStart(char* bytes, std::size_t count) const noexcept;
  std::size_t readOn(char* bytes, std::size_t count) noexcept;

  // Two names under which others can open the file: that of the descriptor, which is always the
  // same file, and the file's own, for processes that may not use /proc.
  std::string descriptorName() const { return source().name(); }
  const std::string& ownName() const noexcept { return name_; }

  // Makes a readable file safe for a reader that relies on its size. A file that was modified
  // within the last seconds may be in the middle of being rewritten: from now on it is read from a
  // copy in memory, which cannot shrink. Returns false if the file does not hold its last byte, as
  // some under /sys, or shrinks meanwhile.
  bool settle();

  // To be called now and then with the position up to which the file has been read. Returns false
  // if the file has shrunk since it was opened. Of a large file, a copy holds only what is read
  // soon: this copies more of it, and frees what lies before the position.
  bool advance(std::int64_t position) noexcept;

  // At the end of the file: true if every byte that was read from a copy had been copied before.
  bool isWhole() const noexcept { return !copy_ || copied_ == copySize_; }

private:
  const cDescriptor& source() const noexcept { return copy_ ? copy_ : descriptor_; }
  bool wasModifiedJustNow() const noexcept;
  bool hasShrunk() noexcept;

  // Returns 1 when done, 0 when the file has shrunk, and -1 when it cannot be copied.
  ssize_t copyUpTo(std::int64_t end) noexcept;

  std::string name_;
  cDescriptor descriptor_;
  std::int64_t size_ = 0;     // bytes, the largest size seen
  std::int64_t modified_ = 0; // seconds since 1970
  cDescriptor copy_;
  std::int64_t copySize_ = 0; // bytes, those not yet copied included
  std::int64_t copied_ = 0;   // bytes
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
