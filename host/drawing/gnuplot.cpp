#include "host/drawing/gnuplot.h"

#include <array>
#include <cctype>
#include <cerrno>

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/base/strings.h"

namespace host {

namespace {

constexpr const char* kProgram = "gnuplot";

} // namespace

std::string gnuplotText(std::string_view string) {
  std::string quoted = "\"";
  for (const char c : printable(string)) {
    const auto byte = static_cast<unsigned char>(c);
    // Digits too: a digit behind an octal number would be read as part of it.
    if (byte < 0x80 && std::isalpha(byte) == 0)
      quoted += fmt::format("\\{:03o}", byte);
    else
      quoted += c;
  }
  return quoted + '"';
}

Gnuplot::File Gnuplot::open(int descriptor, const char* mode) {
  File file(descriptor < 0 ? nullptr : fdopen(descriptor, mode));
  if (!file)
    throw systemError(kProgram);
  return file;
}

Gnuplot::Gnuplot() : picture_(open(memfd_create("picture", MFD_CLOEXEC), "r")) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0)
    throw systemError(kProgram);
  const File input = open(ends[0], "r");
  script_ = open(ends[1], "w");
  // In another locale gnuplot prints a warning, since it cannot convert the characters of the
  // script.
  setenv("LC_ALL", "C.UTF-8", 1); // the host itself uses no locale
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fileno(input.get()), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fileno(picture_.get()), STDOUT_FILENO);
  // Without the user's own settings, which could change the picture.
  std::array<char*, 3> arguments = {const_cast<char*>(kProgram),
                                    const_cast<char*>("--default-settings"), nullptr};
  const int error = posix_spawnp(&process_, kProgram, &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error == ENOENT)
    throw Error("drawing needs the program gnuplot, which is not installed");
  if (error != 0)
    throw systemError(kProgram, error);
}

Gnuplot::~Gnuplot() {
  wait();
}

void Gnuplot::write(std::string_view script) const {
  (void)fwrite(script.data(), 1, script.size(), script_.get());
}

std::string Gnuplot::finish() {
  const int status = wait();
  if (WIFSIGNALED(status))
    throw Error("gnuplot was ended by signal " + std::to_string(WTERMSIG(status)));
  if (WEXITSTATUS(status) != 0)
    throw Error("gnuplot failed with status " + std::to_string(WEXITSTATUS(status)));
  std::string picture(static_cast<size_t>(lseek(fileno(picture_.get()), 0, SEEK_END)), '\0');
  if (picture.empty())
    throw Error("gnuplot has drawn nothing");
  if (fseek(picture_.get(), 0, SEEK_SET) != 0 ||
      fread(picture.data(), 1, picture.size(), picture_.get()) != picture.size())
    throw systemError(kProgram);
  return picture;
}

int Gnuplot::wait() noexcept {
  int status = 0;
  script_.reset(); // ends the script
  if (process_ < 0)
    return status;
  while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
  return status;
}

} // namespace host
