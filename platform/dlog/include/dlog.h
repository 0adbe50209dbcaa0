// Platform log: one call makes one line. On this platform build the line goes to standard error,
// or to the journal as one entry when standard error is the journal's stream (JOURNAL_STREAM).
// Lines below DLOG_MIN_PRIORITY (V D I W E F S, verbose ... silent, or 0-8) are dropped
// unformatted.
#ifndef PLATFORM_DLOG_H
#define PLATFORM_DLOG_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum { LOG_ID_MAIN = 0, LOG_ID_RADIO, LOG_ID_SYSTEM, LOG_ID_APPS, LOG_ID_MAX } log_id_t;

typedef enum {
    DLOG_UNKNOWN = 0,
    DLOG_DEFAULT,
    DLOG_VERBOSE,
    DLOG_DEBUG,
    DLOG_INFO,
    DLOG_WARN,
    DLOG_ERROR,
    DLOG_FATAL,
    DLOG_SILENT
} log_priority;

// Makes the line "<P>/<TAG>(<pid>): <formatted text>", P being one of V D I W E F for
// DLOG_VERBOSE..DLOG_FATAL. The formatted text is kept as it stands: the caller supplies its
// newline. On standard error, lines logged while the default GLib main context dispatches (on
// the thread running it) are gathered and written together when the loop goes idle; an error or
// fatal line leaves at once with those before it; any other line is written at once; pending
// lines also leave at exit and on SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT. In the journal the
// entry has the line (without its final newline) as MESSAGE, the tag as SYSLOG_IDENTIFIER, the
// priority, and, when `fmt` starts with the platform's "%s: %s(%d) > " (file, function, line),
// CODE_FILE, CODE_FUNC and CODE_LINE. A line whose `fmt` starts with the platform's whole prefix
// "%s: %s(%d) > [%s:%d] " has that prefix formatted once per call site (told by `fmt`'s address
// and the five arguments) and kept, so that each later line formats only its message. Returns
// the length of the line, 0 for a line below the minimum priority, or a negative value on
// failure.
int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

// Writes the lines gathered so far, now. The IPC framework calls it before a reply leaves, so
// that a request's lines are in the log by the time its answer arrives.
void dlog_flush(void);

#ifdef __cplusplus
}
#endif

#endif
