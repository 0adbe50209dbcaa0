// Blocks of memory whose length their owner records, so that a reader handed only a pointer into
// one (a section parser given a message's buffer) learns where it ends. Safe from any thread.
#ifndef TREVALO_READABLE_EXTENT_H
#define TREVALO_READABLE_EXTENT_H

#include <cstddef>

namespace trevalo_extent {

// Records that `length` bytes from `start` are readable, until Forget(start).
void Record(const unsigned char* start, size_t length);

// Forgets the block recorded at `start`; nothing happens for a block never recorded.
void Forget(const unsigned char* start);

// The bytes readable from `at` to the end of the recorded block holding it; `unknown` when no
// recorded block holds it.
size_t ReadableFrom(const unsigned char* at, size_t unknown);

}  // namespace trevalo_extent

#endif
