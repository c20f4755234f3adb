// `export`: samples as CSV or as raw doubles, one stream after the other.

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <set>
#include <span>
#include <system_error>

#include <fmt/compile.h>
#include <fmt/format.h>

#include "host/base/messages.h"
#include "host/boundary/file.h"
#include "host/commands/commands.h"

namespace host {

namespace fs = std::filesystem;

namespace {

static_assert(std::endian::native == std::endian::little, "f64 is written as it is in memory");

// A row for each sample. The time is empty where the sample rate is unknown.
void writeCsv(const Stream& stream, std::span<const double> values, Output& output) {
  const std::string name = csvField(stream.name()) + ',';
  const double start = stream.start();
  const double interval = stream.interval();
  fmt::memory_buffer row;
  for (std::size_t i = 0; i < values.size(); ++i) {
    row.clear();
    row.append(name);
    const auto out = std::back_inserter(row);
    if (interval != 0)
      fmt::format_to(out, FMT_COMPILE("{}"),
                     toNanosecond(std::fma(static_cast<double>(i), interval, start)));
    fmt::format_to(out, FMT_COMPILE(",{}\n"), values[i]);
    output.write({row.data(), row.size()});
  }
}

// Writes the samples of streams. The output appears once it is complete. Throws Error when the file
// has changed meanwhile.
void writeStreams(const Plugin& plugin, const File& file, std::span<const Stream> streams,
                  const std::string& format, const std::string& path) {
  Output output(path);
  if (format == "csv")
    output.write("stream,time_s,value\n");
  for (const Stream& stream : streams) {
    const Samples samples = copySamples(plugin, file, stream);
    if (const std::string shortfall = samples.shortfall(); !shortfall.empty())
      reportError(stream.name() + ": " + shortfall);
    const std::span<const double> values = samples.values;
    if (format == "csv")
      writeCsv(stream, values, output);
    else
      output.write({reinterpret_cast<const char*>(values.data()), values.size_bytes()});
  }
  throwIfChanged(plugin, file);
  output.commit();
}

// The name of a recording without its ending, which is of letters only: the day at the end of
// GR.FUR..BHZ.D.2018.100 is none.
std::string recordingName(const fs::path& path) {
  const std::string ending = path.extension();
  const bool isEnding =
      std::ranges::all_of(ending, [](unsigned char c) { return c == '.' || std::isalpha(c) != 0; });
  return isEnding ? path.stem() : path.filename();
}

// A name for a stream's file, made from any bytes: neither a path nor hidden, and not too long.
std::string fileNameFor(const std::string& recording, const Stream& stream) {
  constexpr std::size_t kLongest = 100; // of each part
  std::string name = recording.substr(0, kLongest) + '.' + stream.name().substr(0, kLongest);
  for (char& c : name)
    if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '-' && c != '.')
      c = '_';
  return name.front() == '.' ? '_' + name : name;
}

// The path of each stream's file. Of streams with the same name, the second and later are numbered.
std::vector<std::string> splitPaths(const File& file, const Request& request) {
  const std::string recording = recordingName(file.name);
  std::set<std::string> names;
  std::vector<std::string> paths;
  for (const Stream& stream : file.streams) {
    const std::string wanted = fileNameFor(recording, stream);
    std::string name = wanted;
    for (int number = 2; !names.insert(name).second; ++number)
      name = fmt::format("{}-{}", wanted, number);
    paths.push_back(request.folder + '/' + name + '.' + request.format);
  }
  return paths;
}

} // namespace

int exportSamples(const Plugin& plugin, const Request& request) {
  NameChoice choice(request.patterns);
  File file = openFile(plugin, request.files[0]);
  keepChosen(file, choice);
  keepDeliverable(file);
  choice.throwIfUnmatched();
  if (file.streams.empty())
    throw Error(file.name + ": no stream that can be delivered");
  const bool isSplit = !request.folder.empty();
  const std::vector<std::string> paths =
      isSplit ? splitPaths(file, request) : std::vector{request.output};
  for (const std::string& path : paths)
    refuseToOverwrite(request.files, path);
  std::error_code error;
  const bool isMade = isSplit && fs::create_directories(request.folder, error);
  if (error)
    throw systemError(request.folder, error.value());
  const std::span<const Stream> all = file.streams;
  try {
    for (std::size_t i = 0; i < paths.size(); ++i)
      writeStreams(plugin, file, isSplit ? all.subspan(i, 1) : all, request.format, paths[i]);
  } catch (const Error&) {
    if (isMade)
      fs::remove(request.folder, error); // which fails unless it is empty
    throw;
  }
  return kSuccess;
}

} // namespace host
