// Platform log: one call writes one line to the log sink (standard error on this platform build).
#ifndef PLATFORM_DLOG_H
#define PLATFORM_DLOG_H

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

// Writes "<P>/<TAG>(<pid>): <formatted text>" in a single write(2), P being one of V D I W E F
// for DLOG_VERBOSE..DLOG_FATAL. The formatted text is written as it stands: the caller supplies
// its newline. Returns the number of bytes written, or a negative value on failure.
int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
