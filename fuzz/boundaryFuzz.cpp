// Any bytes as a file, through the whole boundary: initialize, parse, walk, copy, change the file,
// copy and parse again, release. The streams and samples are those of a plain loop of libmseed's
// calls, whatever memory held before. The last three bytes of an input choose the file's extension,
// how it changes, and what memory holds.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <libmseed.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fuzz/fuzz.h"
#include "plugin/ox_wp_plugin.h"
#include "testing/temporaryFolder.h"

using fuzz::require;

namespace {

// What the plug-in's buffer for libmseed holds before it is used.
std::uint8_t fill = 0;
constexpr std::size_t kBufferSize = std::size_t{2} * MAXRECLEN;

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-*): the sanitizer's names
extern "C" {
void __sanitizer_set_report_fd(void* descriptor);

// The address sanitizer, which hands out fresh memory, calls this for each block. To fill all of it
// would take longer than all the rest.
void __sanitizer_malloc_hook(const volatile void* block, std::size_t size) {
  if (size == kBufferSize)
    std::memset(const_cast<void*>(block), fill, size / 8);
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-*)

namespace {

// The C library hands this block out again.
void fillMemory(std::uint8_t byte) {
  fill = byte;
  void* const block = std::malloc(kBufferSize);
  std::memset(block, byte, kBufferSize);
  __asm__ volatile("" : : "r"(block) : "memory"); // or the compiler leaves the filling out
  std::free(block);
}

constexpr const char* kExtensions[] = {"", ".mseed", ".MSD", ".dat", ".seg2", ".sg"};
enum class Change { append, cut, empty, vanish };

// A copy asks for no more samples than this: a damaged header can declare millions.
constexpr std::int64_t kMostSamples = 10000;

constexpr std::uint64_t kMark = 0x7FF8DEADBEEF0001; // no recording has this NaN

// Checks that the plug-in prints nothing and leaves no descriptor open.
class Surroundings {
public:
  Surroundings() : printed_(memfd_create("printed", MFD_CLOEXEC)) {
    for (const int stream : {1, 2}) {
      saved_[stream - 1] = fcntl(stream, F_DUPFD_CLOEXEC, 10);
      dup2(printed_, stream);
    }
    reportTo(saved_[1]);
    next_ = nextDescriptor();
  }
  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;

  ~Surroundings() {
    require(nextDescriptor() == next_, "no descriptor stays open");
    std::fflush(nullptr);
    struct stat status = {};
    require(fstat(printed_, &status) == 0 && status.st_size == 0, "nothing is printed");
    reportTo(2);
    for (const int stream : {1, 2}) {
      dup2(saved_[stream - 1], stream);
      close(saved_[stream - 1]);
    }
    close(printed_);
  }

private:
  static void reportTo(std::intptr_t descriptor) {
    fuzz::reports = static_cast<int>(descriptor);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the sanitizer takes a number for a pointer
    __sanitizer_set_report_fd(reinterpret_cast<void*>(descriptor));
  }

  // The lowest free one: higher than before when one has stayed open.
  int nextDescriptor() const {
    const int next = dup(printed_);
    close(next);
    return next;
  }

  int printed_;
  int saved_[2] = {-1, -1};
  int next_ = -1;
};

void write(const std::string& path, const std::uint8_t* bytes, std::size_t size) {
  const int file = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
  const bool written = ::write(file, bytes, size) == static_cast<ssize_t>(size);
  close(file);
  require(written, "the file cannot be written");
}

// Reads index after index and checks each property record.
template<class Ask>
std::vector<_ox_wp_prop_type> walk(const Ask& ask) {
  std::vector<_ox_wp_prop_type> properties;
  for (int index = 0;; ++index) {
    _ox_wp_prop_type property = {};
    property.identifier = -1;
    const int status = ask(index, &property);
    require((status == 1) == (property.identifier == 0), "identifier 0 goes with status 1");
    if (status == 1)
      break;
    require(status == 0 && index < 9, "a walk ends");
    require(property.type == ox_wp_type_integer || property.type == ox_wp_type_double ||
                (property.type == ox_wp_type_string && std::strlen(property.string_value) < 100),
            "a property has a value of its type");
    properties.push_back(property);
  }
  _ox_wp_prop_type property = {};
  require(ask(-1, &property) == 1 && property.identifier == 0, "no index is negative");
  return properties;
}

using Bits = std::vector<std::uint64_t>; // of doubles: NaN is itself, and -0 is not 0

std::uint64_t bitsOf(double value) {
  return std::bit_cast<std::uint64_t>(value);
}

// What the headers say of a stream.
struct Header {
  std::string name;
  std::int64_t count = 0;
  std::uint64_t start = 0;
  std::uint64_t step = 0;
  bool operator==(const Header&) const = default;
};

// What a plain loop of libmseed's calls by name finds in a file, in memory that holds zeros.
struct Plain {
  std::vector<Header> headers;
  std::vector<Bits> samples; // of each stream; without those that lie behind their record
  bool isRead = false;       // to its end, with samples
};

// How many samples of a decoded record lie in it and in the bytes read from its start on.
std::int64_t samplesHeld(const MSRecord& record, std::int64_t bytesRead) {
  static const std::map<int, int> bytesPerSample = {
      {0, 1}, {1, 2}, {3, 4}, {4, 4}, {5, 8}, {12, 3}, {13, 2}, {14, 2}, {16, 2}, {30, 2}, {32, 2}};
  const auto size = bytesPerSample.find(record.encoding);
  if (size == bytesPerSample.end()) // compressed
    return bytesRead < record.reclen ? 0 : record.samplecnt;
  const std::int64_t bytes = std::min<std::int64_t>(record.reclen, bytesRead);
  return std::clamp<std::int64_t>((bytes - record.fsdh->data_offset) / size->second, 0,
                                  record.samplecnt);
}

void appendSamples(const MSRecord& record, std::int64_t count, Bits& samples) {
  const auto append = [&](const auto* first) {
    for (std::int64_t i = 0; i < count; ++i)
      samples.push_back(bitsOf(static_cast<double>(first[i])));
  };
  switch (record.sampletype) {
  case 'a':
    return append(static_cast<const unsigned char*>(record.datasamples));
  case 'i':
    return append(static_cast<const std::int32_t*>(record.datasamples));
  case 'f':
    return append(static_cast<const float*>(record.datasamples));
  case 'd':
    return append(static_cast<const double*>(record.datasamples));
  default:
    return;
  }
}

// Nothing where libmseed reports an error, or would go back by a negative length and go on forever.
std::optional<Plain> plainLoop(const std::string& path) {
  Plain found;
  std::map<std::string, std::size_t> indexes;
  std::vector<char> buffer(kBufferSize);
  for (const flag withSamples : {flag{0}, flag{1}}) {
    MSRecord* record = nullptr;
    auto* state = static_cast<MSFileParam*>(std::calloc(1, sizeof(MSFileParam)));
    state->rawrec = buffer.data();
    int result = MS_NOERROR;
    while ((result = ms_readmsr_r(&state, &record, path.c_str(), -1, nullptr, nullptr, 1,
                                  withSamples, 0)) == MS_NOERROR &&
           record->reclen > 0) {
      char name[50];
      msr_srcname(record, name, 0);
      if (!withSamples && indexes.try_emplace(name, found.headers.size()).second) {
        const double start = static_cast<std::int32_t>(record->starttime) * 1e-6;
        const double step = record->samprate == 0 ? 0 : 1 / record->samprate;
        found.headers.push_back({name, 0, bitsOf(start), bitsOf(step)});
        found.samples.emplace_back();
      }
      const auto stream = indexes.find(name);
      if (!withSamples)
        found.headers[stream->second].count += record->samplecnt;
      else if (stream != indexes.end() && record->datasamples) // not found in what was skipped
        appendSamples(*record,
                      samplesHeld(*record, buffer.data() + state->readlen - record->record),
                      found.samples[stream->second]);
    }
    state->rawrec = nullptr;
    ms_readmsr_r(&state, &record, nullptr, 0, nullptr, nullptr, 0, 0, 0);
    found.isRead = result == MS_ENDOFFILE;
    if (!withSamples && !found.isRead)
      return std::nullopt;
  }
  return found;
}

// True for what the plug-in offers to libmseed: text at the start, and no container of records.
bool isOffered(std::string_view bytes) {
  constexpr std::string_view kOthers[] = {"PED", "PSD", "PLC", "PQI", "PLS", "Geopsy"};
  for (const std::string_view other : kOthers)
    if (bytes.starts_with(other))
      return false;
  for (const char byte : bytes.substr(0, 20))
    if ((byte < 0x20 || byte > 0x7E) && byte != '\t' && byte != '\r' && byte != '\n')
      return false;
  return !bytes.empty();
}

class Host {
public:
  Host() {
    table_.version = OX_WP_PLUGIN_VERSION;
    require(ox_wp_plugin_initialize(&table_) == 0, "initialize succeeds");
  }
  ~Host() { table_.release(table_.plugin); }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  ox_wp_section_handle parse(const std::string& path) {
    file_ = table_.parse_file(table_.plugin, path.c_str());
    ox_wp_section_handle section = table_.get_section_handle(table_.plugin, file_, 0);
    require(!file_ == !section, "a file has a section");
    require(!table_.get_section_handle(table_.plugin, file_, 1), "a file has one section");
    return section;
  }

  std::int64_t changed() {
    return walk([this](int index, _ox_wp_prop_type* property) {
             return table_.get_file_property(table_.plugin, file_, index, property);
           })[ox_wp_index_file_changed]
        .integer_value;
  }

  std::vector<Header> walkAll(ox_wp_section_handle section) {
    const auto ofSection = walk([&](int index, _ox_wp_prop_type* property) {
      return table_.get_section_property(table_.plugin, file_, section, index, property);
    });
    std::vector<Header> headers;
    for (int variable = 0; variable < ofSection[ox_wp_index_variable_count].integer_value;
         ++variable) {
      const auto found = walk([&](int index, _ox_wp_prop_type* property) {
        return table_.get_variable_property(table_.plugin, file_, section, variable, index,
                                            property);
      });
      headers.push_back({found[ox_wp_index_variable_name].string_value,
                         found[ox_wp_index_sample_count].integer_value,
                         bitsOf(found[ox_wp_index_x_start].double_value),
                         bitsOf(found[ox_wp_index_x_step].double_value)});
    }
    return headers;
  }

  // Copies into a buffer of `size` samples. It has the exact size: the sanitizer guards both ends.
  std::pair<int, Bits> copy(ox_wp_section_handle section, int variable, std::int64_t size) {
    Bits buffer(static_cast<std::size_t>(std::max<std::int64_t>(size, 0)), kMark);
    const int status =
        table_.copy_variable_data(table_.plugin, file_, section, variable, ox_wp_type_double,
                                  buffer.data(), static_cast<int>(size * 8));
    return {status, std::move(buffer)};
  }

private:
  _ox_wp_plugin_functions_type table_ = {};
  ox_wp_file_handle file_ = nullptr;
};

// `share` is that of the bytes that stay, of 256.
void makeChange(const std::string& path, Change kind, std::size_t share, const std::uint8_t* data,
                std::size_t size) {
  switch (kind) {
  case Change::append: {
    std::vector<std::uint8_t> longer(data, data + size);
    if (share == 0) // a gap of as much as libmseed reads at once
      longer.resize(size + (1U << 20));
    longer.insert(longer.end(), data, data + size * share / 256 + 1);
    return write(path, longer.data(), longer.size());
  }
  case Change::cut:
    return write(path, data, size * share / 256);
  case Change::empty:
    return write(path, data, 0);
  case Change::vanish:
    unlink(path.c_str());
  }
}

// Copies all streams, which are as a plain loop has them.
void compare(Host& plugin, ox_wp_section_handle section, const std::optional<Plain>& plain) {
  require(!section == (!plain || plain->headers.empty()), "a plain loop reads the same files");
  if (!section)
    return;
  require(plugin.walkAll(section) == plain->headers, "a plain loop finds the same streams");
  for (std::size_t stream = 0; stream < plain->headers.size(); ++stream) {
    const Bits& all = plain->samples[stream];
    const std::int64_t most = std::min(plain->headers[stream].count, kMostSamples) + 3;
    for (const std::int64_t size : {most, most / 2, std::int64_t{0}, std::int64_t{-1}}) {
      const auto [status, samples] = plugin.copy(section, static_cast<int>(stream), size);
      Bits expected = all;
      expected.resize(std::min(all.size(), samples.size()));
      require(size < 0 || (status == 0) == (plain->isRead && expected.size() == samples.size()),
              "a copy succeeds where a plain loop finds as many samples");
      expected.resize(samples.size(), kMark);
      require(samples == expected, "a plain loop finds the same samples");
    }
  }
}

// Reads the file twice, with something else in memory before. Returns null when the plug-in
// declines it.
ox_wp_section_handle readAsPlainLoop(Host& plugin, const std::string& path, bool isOffered,
                                     std::uint8_t noise) {
  ox_wp_section_handle section = plugin.parse(path);
  if (!section && !isOffered)
    return nullptr;
  const std::optional<Plain> plain = plainLoop(path);
  for (const int byte : {0, 0xFF}) {
    fillMemory(static_cast<std::uint8_t>(noise ^ byte));
    section = plugin.parse(path);
    compare(plugin, section, plain);
  }
  return section;
}

void run(const std::string& path, bool isSeg2, Change change, std::uint8_t share,
         const std::uint8_t* data, std::size_t size) {
  write(path, data, size);
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  Host plugin;
  ox_wp_section_handle section = readAsPlainLoop(plugin, path, !isSeg2 && isOffered(bytes), share);
  if (!section)
    return;
  plugin.changed(); // may be true: a second may have begun meanwhile
  require(plugin.changed() == 0, "a change is reported once");
  const std::vector<Header> before = plugin.walkAll(section);

  makeChange(path, change, share, data, size);
  require(plugin.changed() == 1 && plugin.changed() == 0, "a change is reported, once");
  require(plugin.walkAll(section) == before, "a change on disk leaves a parsed file alone");
  plugin.copy(section, 0, std::min(before[0].count, kMostSamples));
  if (change == Change::append || change == Change::cut)
    require(readAsPlainLoop(plugin, path, false, share) != section,
            "each parse has its own handles");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TemporaryFolder folder(fuzz::kFolder);
  constexpr std::size_t kChoices = 3;
  if (size <= kChoices)
    return -1;
  size -= kChoices;
  const std::uint8_t* const chosen = data + size;
  const std::string extension = kExtensions[chosen[0] % std::size(kExtensions)];
  const std::string path = folder / "input" + extension;
  {
    const Surroundings unchanged;
    run(path, extension == ".dat" || extension == ".seg2", static_cast<Change>(chosen[1] % 4),
        chosen[2], data, size);
  }
  unlink(path.c_str());
  return 0;
}
