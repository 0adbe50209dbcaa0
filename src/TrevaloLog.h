// The service's log lines: the platform log, main buffer, tag "TREVALO_SERVICE", each message
// behind the prefix "<file>: <function>(<line>) > [<function>:<line>] " and ended by a newline;
// <file> is the base name of the source file that holds the logging call.
#ifndef TREVALO_LOG_H
#define TREVALO_LOG_H

#include <cstdio>

#include "dlog.h"

#define TREVALO_LOG_TAG "TREVALO_SERVICE"

namespace trevalo_log {
// The base name of a source path, found at compile time when given __FILE__.
constexpr const char* BaseName(const char* path) {
    const char* base = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '/') base = p + 1;
    }
    return base;
}

// A logging call's site, its prefix formatted at its first line. The text is never freed: a
// call site lives as long as the process, and a line may be logged during exit.
inline dlog_site MakeSite(const char* file, const char* function, int line) {
    static const char kPrefix[] = "%s: %s(%d) > [%s:%d] ";
    const int length = std::snprintf(nullptr, 0, kPrefix, file, function, line, function, line);
    char* prefix = new char[static_cast<size_t>(length) + 1];
    std::snprintf(prefix, static_cast<size_t>(length) + 1, kPrefix, file, function, line, function,
                  line);
    return {file, function, line, prefix, static_cast<size_t>(length)};
}
}  // namespace trevalo_log

// The prefix is the same at every line of a call: formatted once per call site, it leaves each
// line only its message to format. ", ##__VA_ARGS__" (a GNU extension that both GCC and Clang
// accept) drops the comma when a message has no arguments.
#define TREVALO_LOG(prio, fmt, ...)                                                        \
    do {                                                                                   \
        static const dlog_site trevalo_log_site =                                          \
            trevalo_log::MakeSite(trevalo_log::BaseName(__FILE__), __func__, __LINE__);    \
        __dlog_print_site(LOG_ID_MAIN, prio, TREVALO_LOG_TAG, &trevalo_log_site, fmt "\n", \
                          ##__VA_ARGS__);                                                  \
    } while (false)

#define TREVALO_LOGI(fmt, ...) TREVALO_LOG(DLOG_INFO, fmt, ##__VA_ARGS__)
#define TREVALO_LOGE(fmt, ...) TREVALO_LOG(DLOG_ERROR, fmt, ##__VA_ARGS__)

#endif
