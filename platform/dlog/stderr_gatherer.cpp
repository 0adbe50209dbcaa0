#include "stderr_gatherer.h"

#include <glib.h>
#include <pthread.h>
#include <signal.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace dlog {
namespace {

// Room for the lines of the largest request (49 lines of a PMT) several times over; when full,
// the pending lines leave with the line that did not fit.
constexpr size_t kCapacity = 32 * 1024;

char g_Pending[kCapacity];
// Whole lines end at g_Committed, which grows only once their bytes are in place; g_Written of
// them are already out. A fatal-signal handler reads both, so it never writes a torn line.
std::atomic<size_t> g_Committed{0};
std::atomic<size_t> g_Written{0};
// The thread running the default main loop. Only it gathers and writes the pending lines (and
// the exit flush), so no lock is needed; another thread's line is written at once on its own.
std::atomic<pthread_t> g_LoopThread{};
bool g_HooksInstalled = false;

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr const char* kFatalSignalNames[] = {"SIGSEGV", "SIGBUS", "SIGILL", "SIGFPE", "SIGABRT"};
struct sigaction g_PreviousActions[sizeof kFatalSignals / sizeof kFatalSignals[0]];

// The stack the fatal-signal handler runs on: after a stack overflow there is no room left on
// the thread's own. Its pages cost nothing until a signal touches them.
alignas(16) char g_SignalStack[64 * 1024];

GMainContext* DefaultContext() {
    static GMainContext* const context = g_main_context_default();
    return context;
}

void DropPending() {
    // g_Committed first: a signal between the two stores then finds nothing to write.
    g_Committed.store(0, std::memory_order_release);
    g_Written.store(0, std::memory_order_release);
}

// One write while the fd takes the line whole, as it does below PIPE_BUF and for regular files.
ssize_t WriteWhole(const char* line, size_t length) {
    size_t done = 0;
    while (done < length) {
        const ssize_t n = write(STDERR_FILENO, line + done, length - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return -1;
        done += static_cast<size_t>(n);
    }
    return static_cast<ssize_t>(length);
}

// The pending lines and then `line` (may be empty), in one writev while the fd takes it whole.
ssize_t WritePendingAnd(const char* line, size_t length) {
    const size_t committed = g_Committed.load(std::memory_order_relaxed);
    if (committed == 0) return WriteWhole(line, length);
    size_t written = g_Written.load(std::memory_order_relaxed);
    size_t line_done = 0;
    bool failed = false;
    while (written < committed || line_done < length) {
        iovec parts[2];
        int count = 0;
        if (written < committed) parts[count++] = {g_Pending + written, committed - written};
        if (line_done < length) {
            parts[count++] = {const_cast<char*>(line) + line_done, length - line_done};
        }
        ssize_t n = writev(STDERR_FILENO, parts, count);
        if (n < 0) {
            if (errno == EINTR) continue;
            failed = true;
            break;
        }
        size_t taken = static_cast<size_t>(n);
        const size_t from_pending = taken < committed - written ? taken : committed - written;
        written += from_pending;
        g_Written.store(written, std::memory_order_release);
        line_done += taken - from_pending;
    }
    DropPending();
    return failed ? -1 : static_cast<ssize_t>(length);
}

// Async-signal-safe: write(2) of what is committed and not yet out.
void WritePendingFromHandler() {
    const int saved_errno = errno;
    const size_t committed = g_Committed.load(std::memory_order_acquire);
    size_t written = g_Written.load(std::memory_order_acquire);
    while (written < committed) {
        ssize_t n = write(STDERR_FILENO, g_Pending + written, committed - written);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        written += static_cast<size_t>(n);
    }
    DropPending();
    errno = saved_errno;
}

// Async-signal-safe: the decimal digits of `number` at `out`; returns the end.
char* AppendNumber(char* out, long number) {
    char digits[24];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number > 0);
    while (count > 0) *out++ = digits[--count];
    return out;
}

// Async-signal-safe: "F/DLOG(<pid>): fatal signal <n> (<name>)", after the pending lines.
void WriteFatalLine(int signal, const char* name) {
    char line[96];
    char* end = line;
    for (const char* part = "F/DLOG("; *part != '\0';) *end++ = *part++;
    end = AppendNumber(end, static_cast<long>(getpid()));
    for (const char* part = "): fatal signal "; *part != '\0';) *end++ = *part++;
    end = AppendNumber(end, signal);
    *end++ = ' ';
    *end++ = '(';
    for (const char* part = name; *part != '\0';) *end++ = *part++;
    *end++ = ')';
    *end++ = '\n';
    const int saved_errno = errno;
    if (write(STDERR_FILENO, line, static_cast<size_t>(end - line)) < 0) {
        // Nothing more can be done from here.
    }
    errno = saved_errno;
}

void OnFatalSignal(int signal, siginfo_t* info, void*) {
    WritePendingFromHandler();
    for (size_t i = 0; i < sizeof kFatalSignals / sizeof kFatalSignals[0]; ++i) {
        if (kFatalSignals[i] != signal) continue;
        WriteFatalLine(signal, kFatalSignalNames[i]);
        sigaction(signal, &g_PreviousActions[i], nullptr);
    }
    // A fault (si_code > 0) happens again when this handler returns and meets the previous
    // disposition with its own context; a signal sent by kill, raise or abort is sent again.
    if (info == nullptr || info->si_code <= 0) raise(signal);
}

gboolean FlushBeforePoll(GSource*, gint* timeout) {
    *timeout = -1;
    g_LoopThread.store(pthread_self(), std::memory_order_relaxed);
    FlushStderr();
    return FALSE;
}

gboolean NeverDispatched(GSource*, GSourceFunc, gpointer) {
    return G_SOURCE_CONTINUE;
}

GSourceFuncs g_FlushSourceFuncs = {FlushBeforePoll, nullptr, NeverDispatched,
                                   nullptr,         nullptr, nullptr};

// Once, at the first gathered line: the flush before each poll, at exit and on a fatal signal.
void InstallHooks() {
    g_HooksInstalled = true;
    GSource* source = g_source_new(&g_FlushSourceFuncs, sizeof(GSource));
    g_source_set_name(source, "platform log flush");
    g_source_attach(source, DefaultContext());
    g_source_unref(source);
    atexit(FlushStderr);
    // On the loop's thread, whose lines are the pending ones; an alternate stack already set
    // there (a sanitizer's) serves as well.
    stack_t current = {};
    if (sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) != 0) {
        stack_t own = {};
        own.ss_sp = g_SignalStack;
        own.ss_size = sizeof g_SignalStack;
        sigaltstack(&own, nullptr);
    }
    struct sigaction action = {};
    action.sa_sigaction = OnFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (size_t i = 0; i < sizeof kFatalSignals / sizeof kFatalSignals[0]; ++i) {
        sigaction(kFatalSignals[i], &action, &g_PreviousActions[i]);
    }
}

}  // namespace

ssize_t WriteToStderr(const char* line, size_t length, bool urgent) {
    bool loop_thread = pthread_equal(g_LoopThread.load(std::memory_order_relaxed), pthread_self());
    // g_main_context_is_owner costs more than the rest of the gathering: asked only of a thread
    // not yet known to run the loop.
    if (!urgent && g_main_depth() > 0 &&
        (loop_thread || g_main_context_is_owner(DefaultContext()))) {
        if (!loop_thread) g_LoopThread.store(pthread_self(), std::memory_order_relaxed);
        if (!g_HooksInstalled) InstallHooks();
        const size_t committed = g_Committed.load(std::memory_order_relaxed);
        if (length <= kCapacity - committed) {
            std::memcpy(g_Pending + committed, line, length);
            g_Committed.store(committed + length, std::memory_order_release);
            return static_cast<ssize_t>(length);
        }
        loop_thread = true;
    }
    return loop_thread ? WritePendingAnd(line, length) : WriteWhole(line, length);
}

void FlushStderr() {
    if (g_Committed.load(std::memory_order_relaxed) != 0) WritePendingAnd(nullptr, 0);
}

}  // namespace dlog
