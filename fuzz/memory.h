// Memory that the fuzz targets hand out themselves: what a sanitizer makes slow or unsteady.
#pragma once

#include <cstddef>

namespace fuzz {

// libmseed's read buffer of 1 MiB has as much zeroed memory behind it. It reads beyond the buffer
// for some damaged records, which nothing outside it can mend; what it finds there is the same each
// time, so that two copies of a file agree.
extern bool readBufferIsTaken;  // while libmseed has a file open
extern bool readBufferWasTaken; // has had one at all

// Zeroes what a file of that size can have left in the buffer.
void clearReadBuffer(std::size_t size);

// A table of 1 GiB and more, as a Geopsy signal header can declare it, comes straight from the
// system: marking its shadow would take seconds.

} // namespace fuzz
