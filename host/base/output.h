// The destination of a result: standard output, or a file that appears under its name only when it
// is complete.
#pragma once

#include <string>
#include <string_view>

#include <sys/stat.h>

namespace host {

inline constexpr const char* kStandardOutput = "-"; // as a path

// Every failure, such as a full disk, is thrown as Error. When the reader of a pipe is gone, the
// process ends quietly by SIGPIPE, as other tools do.
//
// A file is written under a temporary name in the folder of the final one, and commit() moves it
// there. Without commit(), and also when a signal ends the process, the temporary file is removed,
// and a file of the final name that existed before stays as it was.
class Output {
public:
  // A path that names a device or a pipe is opened and written to directly. One that names an open
  // descriptor, such as /dev/stdout or /dev/fd/3, is written to through that: what stands there
  // stays.
  // REQUIRES: at most one Output with a path at a time, since signal handlers know one temporary
  // file only.
  explicit Output(const std::string& path);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void write(std::string_view bytes);
  // Passes on what is buffered.
  void flush();
  // The last step. On return the file has its final name.
  void commit();

private:
  // The file that is replaced, if there is one, passes on its permissions.
  void openTemporaryFile(const struct stat* replaced);
  void writeAll(std::string_view rest) const;

  std::string path_;      // the final name
  std::string temporary_; // empty when there is none
  std::string buffer_;
  int descriptor_;
};

} // namespace host
