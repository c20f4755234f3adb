// gnuplot as a child process that reads a script from a pipe.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include <sched.h>
#include <sys/types.h>

namespace host {

// A string in quotes, for a script. Characters that could have a meaning there, such as a
// back-tick, which runs a command, are written as octal numbers.
std::string gnuplotText(std::string_view string);

class Gnuplot {
public:
  // Throws Error when the program can't be started.
  Gnuplot();
  // Waits for gnuplot, if finish() did not.
  ~Gnuplot();
  Gnuplot(const Gnuplot&) = delete;
  Gnuplot& operator=(const Gnuplot&) = delete;

  // Where gnuplot has ended early, finish() throws, not write().
  void write(std::string_view script) const;
  // Ends the script, waits, and returns the picture. Throws Error when there is none.
  std::string finish();

private:
  struct Close {
    void operator()(std::FILE* file) const noexcept { (void)std::fclose(file); }
  };
  using File = std::unique_ptr<std::FILE, Close>;

  static File open(int descriptor, const char* mode);
  int wait() noexcept;

  File picture_; // gnuplot's standard output, in memory: gnuplot ignores failed writes
  File script_;  // its standard input
  pid_t process_ = -1;
};

} // namespace host
