// The service's log lines: the platform log, main buffer, tag "TREVALO_SERVICE", each message
// behind the prefix "<file>: <function>(<line>) > [<function>:<line>] " and ended by a newline;
// <file> is the base name of the source file that holds the logging call. Every line goes through
// __dlog_print with that prefix's format and its five arguments: the platform log keeps the
// formatted prefix of each call site itself.
#ifndef TREVALO_LOG_H
#define TREVALO_LOG_H

#include "dlog.h"

#define TREVALO_LOG_TAG "TREVALO_SERVICE"
#define TREVALO_LOG_PREFIX "%s: %s(%d) > [%s:%d] "

namespace trevalo_log {
// The base name of a source path, found at compile time when given __FILE__.
constexpr const char* BaseName(const char* path) {
    const char* base = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '/') base = p + 1;
    }
    return base;
}
}  // namespace trevalo_log

// ", ##__VA_ARGS__" (a GNU extension that both GCC and Clang accept) drops the comma when a
// message has no arguments.
#define TREVALO_LOG(prio, fmt, ...)                                                            \
    do {                                                                                       \
        static constexpr const char* trevalo_log_file = trevalo_log::BaseName(__FILE__);       \
        __dlog_print(LOG_ID_MAIN, prio, TREVALO_LOG_TAG, TREVALO_LOG_PREFIX fmt "\n",          \
                     trevalo_log_file, __func__, __LINE__, __func__, __LINE__, ##__VA_ARGS__); \
    } while (false)

#define TREVALO_LOGI(fmt, ...) TREVALO_LOG(DLOG_INFO, fmt, ##__VA_ARGS__)
#define TREVALO_LOGE(fmt, ...) TREVALO_LOG(DLOG_ERROR, fmt, ##__VA_ARGS__)

#endif
