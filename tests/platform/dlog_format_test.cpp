// Log lines: the header, and the text exactly as snprintf formats it, whatever the conversions.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "dlog.h"
#include "log_capture.h"

namespace {

std::string Snprintf(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
std::string Snprintf(const char* fmt, ...) {
    char text[16384];  // room for the longest line below
    va_list args;
    va_start(args, fmt);
    const int length = std::vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    return std::string(text, std::min(static_cast<size_t>(length), sizeof text - 1));
}

std::string Header(char priority, const char* tag) {
    return std::string(1, priority) + "/" + tag + "(" + std::to_string(getpid()) + "): ";
}

// Logs with `fmt` and the arguments, and checks the line against snprintf's text.
#define EXPECT_LINE(prio, letter, fmt, ...)                                              \
    do {                                                                                 \
        test_support::LogCapture capture;                                                \
        const int written = __dlog_print(LOG_ID_MAIN, prio, "TAG", fmt, __VA_ARGS__);    \
        const std::string expected = Header(letter, "TAG") + Snprintf(fmt, __VA_ARGS__); \
        EXPECT_EQ(capture.Text(), expected);                                             \
        EXPECT_EQ(written, static_cast<int>(expected.size()));                           \
    } while (0)

}  // namespace

TEST(PlatformLog, FormatsEveryConversionAsTheCLibraryDoes) {
    EXPECT_LINE(DLOG_INFO, 'I', "%d %d %d %i\n", 0, -1, INT_MIN, INT_MAX);
    EXPECT_LINE(DLOG_INFO, 'I', "%u %x %x\n", 4294967295u, 0xDEADBEEFu, 0u);
    EXPECT_LINE(DLOG_ERROR, 'E', "%ld %lu %lld %llu\n", LONG_MIN, ULONG_MAX, LLONG_MIN, ULLONG_MAX);
    EXPECT_LINE(DLOG_WARN, 'W', "%zu %c%c %s|%s %%\n", size_t{42}, 'o', 'k', "text", "");
    EXPECT_LINE(DLOG_INFO, 'I', "[rsp:%p] [%p]\n", static_cast<void*>(&errno),
                static_cast<void*>(nullptr));
    EXPECT_LINE(DLOG_DEBUG, 'D', "%s: %s(%d) > [%s:%d] %s\n", "file.cpp", "Function", 12,
                "Function", 12, "message");
    // Unusual conversions go to the C library; long lines are written whole.
    EXPECT_LINE(DLOG_INFO, 'I', "%5d|%-3s|%.2f|%08x|%+d\n", 42, "a", 3.14159, 255u, 7);
    EXPECT_LINE(DLOG_FATAL, 'F', "%lx %hhu %zd\n", 0xABCDEFul, static_cast<unsigned char>(200),
                static_cast<ssize_t>(-5));
    const std::string long_text(5000, 'x');
    EXPECT_LINE(DLOG_INFO, 'I', "start %s end %d\n", long_text.c_str(), 5);
    EXPECT_LINE(DLOG_INFO, 'I', "%.3f then %s\n", 1.5, long_text.c_str());
}

// The platform's prefix is formatted once per call site and kept: a kept prefix serves only lines
// of its own five arguments, though a compiler merges equal formats and a caller may reuse a
// buffer.
TEST(PlatformLog, KeepsEachCallSitesPrefixForThatSiteAlone) {
    static const char kFormat[] = "%s: %s(%d) > [%s:%d] %s %d\n";
    char file[] = "first.cpp";
    for (int round = 0; round < 2; ++round) {  // formatted, then kept
        EXPECT_LINE(DLOG_INFO, 'I', kFormat, file, "Func", 10, "Func", 10, "text", round);
        EXPECT_LINE(DLOG_INFO, 'I', kFormat, file, "Func", 11, "Func", 11, "text", round);
        EXPECT_LINE(DLOG_INFO, 'I', kFormat, file, "Func", 10, "Other", 12, "text", round);
        EXPECT_LINE(DLOG_INFO, 'I', kFormat, file, "Other", 10, "Func", 10, "text", round);
    }
    std::memcpy(file, "other.cpp", sizeof file);
    EXPECT_LINE(DLOG_ERROR, 'E', kFormat, file, "Func", 10, "Func", 10, "text", 2);
    test_support::LogCapture capture;
    const char* volatile none = nullptr;  // a null the compiler cannot see
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "TAG", kFormat, none, "Func", 13, "Func", 13, "text", 3);
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "TAG", kFormat, file, none, 14, none, 14, "text", 4);
    EXPECT_EQ(capture.Text(), Header('E', "TAG") + "(null): Func(13) > [Func:13] text 3\n" +
                                  Header('E', "TAG") +
                                  "other.cpp: (null)(14) > [(null):14] text 4\n");
}

TEST(PlatformLog, PriorityLettersAndBadArguments) {
    const char letters[] = "VDIWEF";
    for (int prio = DLOG_VERBOSE; prio <= DLOG_FATAL; ++prio) {
        EXPECT_LINE(prio, letters[prio - DLOG_VERBOSE], "%s\n", "x");
    }
    test_support::LogCapture capture;
    EXPECT_LT(__dlog_print(LOG_ID_MAX, DLOG_INFO, "TAG", "x\n"), 0);
    EXPECT_LT(__dlog_print(LOG_ID_MAIN, DLOG_INFO, "TAG", nullptr), 0);
    EXPECT_EQ(capture.Text(), "");
}
