// Where a result goes: standard output, or a file that appears under its name only when complete.
#pragma once

#include <string>
#include <string_view>

namespace host {

inline constexpr const char* kStandardOutput = ""; // as a path

// Every failure, a full disk or a closed pipe included, is thrown as Error.
//
// A file is written under a temporary name in the folder of the final one, and is moved there by
// commit(). Without commit(), and also when a signal ends the process, the temporary file is
// removed and a file of that name that was there before is left as it was.
class Output {
public:
  // A path that names a device or a pipe is written to in place.
  // REQUIRES: at most one Output with a path at a time, since there is one place for signals to
  // look up what to remove.
  explicit Output(const std::string& path);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void write(std::string_view bytes);
  // Passes on what is buffered.
  void flush();
  // The last step: everything is on its way to the disk and stands under the final name.
  void commit();

private:
  void openTemporaryFile();
  void pass(std::string_view rest) const;

  std::string path_;      // the final name
  std::string temporary_; // empty when there is none
  std::string buffer_;
  int descriptor_;
};

} // namespace host
