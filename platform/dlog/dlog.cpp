#include "dlog.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <memory>

namespace {

char PriorityLetter(int prio) {
    static const char kLetters[] = "??VDIWEF";
    return (prio >= DLOG_VERBOSE && prio <= DLOG_FATAL) ? kLetters[prio] : '?';
}

// Loops only for the rare short write to a pipe; a line still leaves in one write(2) call when
// the kernel takes it whole, which it does for lines below PIPE_BUF and for regular files.
ssize_t WriteAll(const char* bytes, size_t length) {
    size_t done = 0;
    while (done < length) {
        ssize_t n = write(STDERR_FILENO, bytes + done, length - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        done += static_cast<size_t>(n);
    }
    return static_cast<ssize_t>(done);
}

}  // namespace

extern "C" int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...) {
    if (log_id < LOG_ID_MAIN || log_id >= LOG_ID_MAX || fmt == nullptr) return -1;
    if (tag == nullptr) tag = "";
    static const int pid = static_cast<int>(getpid());

    char line[1024];
    int prefix = std::snprintf(line, sizeof line, "%c/%s(%d): ", PriorityLetter(prio), tag, pid);
    if (prefix < 0) return -1;
    if (static_cast<size_t>(prefix) >= sizeof line) prefix = sizeof line - 1;

    va_list args;
    va_start(args, fmt);
    va_list retry;
    va_copy(retry, args);
    size_t room = sizeof line - static_cast<size_t>(prefix);
    int text = std::vsnprintf(line + prefix, room, fmt, args);
    va_end(args);
    if (text < 0) {
        va_end(retry);
        return -1;
    }
    if (static_cast<size_t>(text) < room) {
        va_end(retry);
        return static_cast<int>(WriteAll(line, static_cast<size_t>(prefix + text)));
    }

    // Longer than the stack buffer (a PMT log line never is; a client's request text can be):
    // format once more into a buffer of the exact size.
    size_t total = static_cast<size_t>(prefix) + static_cast<size_t>(text);
    std::unique_ptr<char[]> big(new char[total + 1]);
    std::copy(line, line + prefix, big.get());
    std::vsnprintf(big.get() + prefix, static_cast<size_t>(text) + 1, fmt, retry);
    va_end(retry);
    return static_cast<int>(WriteAll(big.get(), total));
}
