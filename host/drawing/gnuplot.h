// The drawing program: started, fed a script through a pipe, and waited for.
#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

namespace host {

// A text as it stands in a script, quotes included. Whatever could mean something there, a
// back-tick that runs a command among it, is written by its number.
std::string gnuplotText(std::string_view text);

class Gnuplot {
public:
  // Throws Error when the program can't be started.
  Gnuplot();
  // Waits for the program, if finish() did not.
  ~Gnuplot();
  Gnuplot(const Gnuplot&) = delete;
  Gnuplot& operator=(const Gnuplot&) = delete;

  // A program that ends early does not fail here but in finish().
  void write(std::string_view script) const;
  // Ends the script, waits, and returns the picture. Throws Error when the program failed.
  std::string finish();

private:
  int wait() noexcept;

  int pipe_ = -1;    // the program's standard input
  int picture_ = -1; // and output: a file in memory, since the program ignores failed writes
  pid_t process_ = -1;
};

} // namespace host
