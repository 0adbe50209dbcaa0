// The service's log lines: the platform log, main buffer, tag "TREVALO_SERVICE", each message
// behind the prefix "<file>: <function>(<line>) > [<function>:<line>] " and ended by a newline;
// <file> is the base name of the source file that holds the logging call.
#ifndef TREVALO_LOG_H
#define TREVALO_LOG_H

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
}  // namespace trevalo_log

// ", ##__VA_ARGS__" (a GNU extension that both GCC and Clang accept) drops the comma when a
// message has no arguments; C++17 has no standard way to do that, and formatting the prefix
// separately would format every line twice.
#define TREVALO_LOG(prio, fmt, ...)                                                       \
    __dlog_print(LOG_ID_MAIN, prio, TREVALO_LOG_TAG, "%s: %s(%d) > [%s:%d] " fmt "\n",    \
                 trevalo_log::BaseName(__FILE__), __func__, __LINE__, __func__, __LINE__, \
                 ##__VA_ARGS__)

#define TREVALO_LOGI(fmt, ...) TREVALO_LOG(DLOG_INFO, fmt, ##__VA_ARGS__)
#define TREVALO_LOGE(fmt, ...) TREVALO_LOG(DLOG_ERROR, fmt, ##__VA_ARGS__)

#endif
