// The platform log's native way to the journal: whether standard error is the journal's stream,
// and one journal entry per line, with its priority, tag and source location as fields.
#ifndef PLATFORM_DLOG_JOURNAL_H
#define PLATFORM_DLOG_JOURNAL_H

#include <sys/uio.h>

#include <cstddef>

namespace dlog {

// True when `journal_stream` ("<device>:<inode>", as systemd sets JOURNAL_STREAM) names the
// file open as standard error.
bool StderrIsJournal(const char* journal_stream);

// The source of a line, when its format tells it (the platform's "%s: %s(%d) > " prefix).
struct CodeLocation {
    const char* file = nullptr;
    const char* function = nullptr;
    int line = 0;
};

// Sends one entry. `message` is "MESSAGE=" and the line's text without its final newline.
// False when the journal did not take it.
bool SendToJournal(int prio, const char* tag, const char* message, size_t length,
                   const CodeLocation& code);

// Replaces sd_journal_sendv (tests); nullptr restores it.
using JournalSend = int (*)(const struct iovec* fields, int count);
void SetJournalSend(JournalSend send);

}  // namespace dlog

#endif
