#include "host/base/spool.h"

#include <cstdint>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "host/base/error.h"

namespace host {

namespace {

constexpr const char* kWhat = "temporary file for samples (see TMPDIR)";

int openNameless() {
  std::string name = temporaryFolder() + "/ox-wp-host-XXXXXX";
  const int descriptor = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor < 0)
    throw systemError(name + " (see TMPDIR)");
  unlink(name.c_str());
  return descriptor;
}

} // namespace

std::string temporaryFolder() {
  const char* folder = getenv("TMPDIR");
  return folder && *folder != '\0' ? folder : "/tmp";
}

Spool::Spool() : file_(fdopen(openNameless(), "w+b")) {
  if (!file_)
    throw systemError(kWhat);
}

uint64_t Spool::append(std::span<const double> samples) {
  const uint64_t position = size_;
  if (fwrite(samples.data(), sizeof(double), samples.size(), file_.get()) != samples.size())
    throw systemError(kWhat);
  size_ += samples.size();
  return position;
}

void Spool::read(uint64_t position, std::span<double> samples) const {
  if (fseeko(file_.get(), static_cast<off_t>(position * sizeof(double)), SEEK_SET) != 0 ||
      fread(samples.data(), sizeof(double), samples.size(), file_.get()) != samples.size())
    throw systemError(kWhat);
}

} // namespace host
