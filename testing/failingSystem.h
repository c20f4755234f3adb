// Makes calls for memory or to the disk fail. A program that links this has these functions in
// place of the system's, in its libraries too.
#pragma once

namespace failingSystem {

enum KindOfCall { none, memory, opening, reading, asking };

struct Failure {
  KindOfCall kind = none;
  bool lasting = false; // all calls after that one fail too
  long callsBefore = 0; // that still succeed
  bool happened = false;

  // Returns whether this call is to fail.
  bool hits(KindOfCall asked);
};
extern Failure planned;

// How often a descriptor was closed that is not open. With threads it could be another's by then.
extern long closedTwice;

// Calls for memory neither fail nor are counted under a sanitizer, which allocates memory itself.
extern long liveAllocations;

} // namespace failingSystem
