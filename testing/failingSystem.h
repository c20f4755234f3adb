// Lets calls for memory or to the disk fail. What links this has its functions in place of the
// system's in the whole process, libraries included.
#pragma once

namespace failingSystem {

enum KindOfCall { none, memory, opening, reading, asking };

struct Failure {
  KindOfCall kind = none;
  bool lasting = false; // that call and all after it, not just that one
  long callsBefore = 0; // that still succeed
  bool happened = false;

  // Whether this call is to fail.
  bool hits(KindOfCall asked);
};
extern Failure planned;

// Stays 0 under a sanitizer that hands out memory itself; nor does such a call fail then.
extern long liveAllocations;

} // namespace failingSystem
