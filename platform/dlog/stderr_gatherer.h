// The platform log's way to standard error: lines logged while the default main context
// dispatches on this thread are gathered and leave together, in one write, when the loop goes
// idle; an urgent line takes the pending ones with it at once; any other line is written at once.
#ifndef PLATFORM_DLOG_STDERR_GATHERER_H
#define PLATFORM_DLOG_STDERR_GATHERER_H

#include <sys/types.h>

#include <cstddef>

namespace dlog {

// Hands over one whole line. Returns `length` when the line was written or gathered, -1 when
// the write failed.
ssize_t WriteToStderr(const char* line, size_t length, bool urgent);

// Writes the gathered lines now (the main loop going idle, the process exiting).
void FlushStderr();

}  // namespace dlog

#endif
