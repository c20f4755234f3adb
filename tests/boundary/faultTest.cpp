// Makes each call for memory or to the disk fail, one after the other, while the plug-in works.
// Whatever it returns then, the plug-in and its earlier files work afterwards.
#include <cstdint>
#include <new>
#include <numeric>

#include <gtest/gtest.h>

#include "plugin/ox_wp_plugin.h"
#include "testing/failingSystem.h"
#include "testing/loadedPlugin.h"
#include "testing/miniSeedFile.h"
#include "testing/openDescriptors.h"
#include "testing/temporaryFolder.h"

using namespace failingSystem;

namespace {

enum Step { initializing, parsing, copying };

class Faults : public testing::Test {
protected:
  Faults() {
    std::vector<std::int32_t> ramp(2000);
    std::iota(ramp.begin(), ramp.end(), 1);
    const std::string first = miniSeedFile::pack({.channel = "BHE"}, ramp);
    samples.assign(ramp.begin(), ramp.end());
    // With more behind the samples than libmseed reads at once.
    path = folder.write("a", first + miniSeedFile::pack({}, ramp) + std::string(1 << 20, '#'));
  }

  ox_wp_file_handle parse() const { return host.parse_file(host.plugin, path.c_str()); }

  // Returns whether all samples were copied, and expects the status to say so.
  bool copy(ox_wp_file_handle file, KindOfCall failing = none) const {
    std::vector<double> buffer(samples.size());
    planned.kind = failing;
    const int status = host.copy_variable_data(
        host.plugin, file, host.get_section_handle(host.plugin, file, 0), 1, ox_wp_type_double,
        buffer.data(), static_cast<int>(buffer.size() * sizeof(double)));
    planned.kind = none;
    const bool isUnreadable = failing == reading && planned.lasting && planned.happened;
    EXPECT_TRUE(status != 0 || (buffer == samples && !isUnreadable));
    return status == 0;
  }

  // What a host does, while call number `call` of a step fails. False when there is no such call.
  bool visit(Step which, KindOfCall kind, long call, bool lasting) {
    planned = {.kind = none, .lasting = lasting, .callsBefore = call, .happened = false};
    if (which != initializing)
      initializePlugin(host);
    ox_wp_file_handle earlier = which == copying ? parse() : nullptr;
    try {
      planned.kind = which == copying ? none : kind;
      if (which == initializing)
        initializePlugin(host);
      else if (which == parsing)
        parse();
      else
        copy(earlier, kind);
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(kind, memory);
    }
    planned.kind = none;
    if (!host.plugin)
      initializePlugin(host);
    EXPECT_TRUE(!earlier || copy(earlier));
    EXPECT_TRUE(copy(parse()));
    host.release(host.plugin);
    return planned.happened;
  }

  void everyCall(KindOfCall kind, Step first) {
    visit(copying, none, 0, false); // what a process sets up once
    for (const Step which : {initializing, parsing, copying})
      for (const bool lasting : {false, true})
        for (long call = 0; which >= first; ++call) {
          const long descriptors = openDescriptors();
          const long allocations = liveAllocations;
          const bool happened = visit(which, kind, call, lasting);
          EXPECT_EQ(liveAllocations, allocations);
          EXPECT_EQ(openDescriptors(), descriptors);
          EXPECT_EQ(closedTwice, 0);
          ASSERT_FALSE(HasFailure())
              << "step " << which << ", call " << call << (lasting ? " and all after it" : "");
          ASSERT_TRUE(happened || call > 0) << "no such call in step " << which;
          if (!happened)
            break;
        }
  }

  _ox_wp_plugin_functions_type host = {};
  TemporaryFolder folder;
  std::string path;
  std::vector<double> samples;
};

} // namespace

TEST_F(Faults, OfAnyKind) {
#ifndef __SANITIZE_ADDRESS__ // which has an allocator of its own
  everyCall(memory, initializing);
#endif
  for (const KindOfCall kind : {opening, reading, asking})
    everyCall(kind, parsing);
}
