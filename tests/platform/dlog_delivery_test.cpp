// Where and when log lines leave: gathered while the main loop dispatches and written when it
// goes idle, at once with an error line, at exit and on a fatal signal; the minimum priority; one
// journal entry per line when standard error is the journal's stream.
#include <glib.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "dlog.h"
#include "dlog_environment.h"
#include "journal.h"
#include "log_capture.h"

namespace {

std::string Line(char letter, const std::string& text, const std::string& tag = "T") {
    return std::string(1, letter) + "/" + tag + "(" + std::to_string(getpid()) + "): " + text;
}

void Log(int prio, const std::string& text) {
    __dlog_print(LOG_ID_MAIN, prio, "T", "%s", text.c_str());
}

// Runs each step in its own iteration of the default main loop, then returns.
void RunInLoop(std::vector<std::function<void()>> steps) {
    struct Run {
        std::vector<std::function<void()>> steps;
        size_t next = 0;
        GMainLoop* loop = nullptr;
    } run{std::move(steps), 0, g_main_loop_new(nullptr, FALSE)};
    auto step = [](gpointer data) -> gboolean {
        auto* run = static_cast<Run*>(data);
        run->steps[run->next++]();
        return run->next < run->steps.size() ? G_SOURCE_CONTINUE
                                             : (g_main_loop_quit(run->loop), G_SOURCE_REMOVE);
    };
    g_idle_add(step, &run);
    g_main_loop_run(run.loop);
    g_main_loop_unref(run.loop);
}

}  // namespace

TEST(PlatformLogDelivery, WritesGatheredLinesWhenTheLoopGoesIdleAndAtOnceWithAnError) {
    test_support::LogCapture capture;
    std::vector<std::string> seen;
    RunInLoop({[&] {
                   Log(DLOG_INFO, "one\n");
                   Log(DLOG_WARN, "two\nlines\n");
                   seen.push_back(capture.Text());
                   Log(DLOG_ERROR, "three\n");
                   seen.push_back(capture.Text());
                   Log(DLOG_INFO, "four\n");
                   seen.push_back(capture.Text());
               },
               [&] { seen.push_back(capture.Text()); }});
    const std::string to_error =
        Line('I', "one\n") + Line('W', "two\nlines\n") + Line('E', "three\n");
    EXPECT_EQ(seen,
              (std::vector<std::string>{"", to_error, to_error, to_error + Line('I', "four\n")}));
}

TEST(PlatformLogDelivery, ManyGatheredLinesLeaveWholeAndInOrder) {
    test_support::LogCapture capture;
    std::string expected;
    RunInLoop({[&] {
                   // About 120 KiB: more than the gathering buffer holds.
                   for (int i = 0; i < 600; ++i) {
                       const std::string text =
                           "line " + std::to_string(i) + std::string(i % 400, 'x') + "\n";
                       Log(DLOG_INFO, text);
                       expected += Line('I', text);
                   }
               },
               [] {}});
    EXPECT_EQ(capture.Text(), expected);
}

TEST(PlatformLogDelivery, PendingLinesLeaveAtExitAndOnAFatalSignal) {
    EXPECT_EXIT(RunInLoop({[] {
                    Log(DLOG_INFO, "pending at exit\n");
                    std::exit(3);
                }}),
                testing::ExitedWithCode(3), "^I/T\\([0-9]+\\): pending at exit\n$");
    EXPECT_EXIT(RunInLoop({[] {
                    const rlimit no_core = {0, 0};
                    setrlimit(RLIMIT_CORE, &no_core);
                    Log(DLOG_INFO, "one\n");
                    Log(DLOG_INFO, "two\n");
                    std::abort();
                }}),
                // Under qemu-user, as a cross build's tests run, the emulator tells of the signal.
                testing::KilledBySignal(SIGABRT),
                "^I/T\\([0-9]+\\): one\nI/T\\([0-9]+\\): two\nF/DLOG\\([0-9]+\\): fatal signal 6 "
                "\\(SIGABRT\\)\n(qemu: uncaught target signal 6 [^\n]*\n)?$");
}

// Deeper and deeper until the stack runs out; `depth` is never reached.
int Recurse(unsigned long depth) {
    volatile char frame[1024];
    frame[0] = static_cast<char>(depth);
    if (depth == 0) return 0;
    return Recurse(depth - 1) + frame[0];
}

// After a stack overflow the handler runs on a stack of its own: the pending lines and the fatal
// line are written. Killed by the signal, or, under AddressSanitizer, ended by its report.
TEST(PlatformLogDelivery, PendingLinesLeaveOnAStackOverflow) {
    EXPECT_EXIT(
        RunInLoop({[] {
            const rlimit no_core = {0, 0};
            setrlimit(RLIMIT_CORE, &no_core);
            Log(DLOG_INFO, "before the overflow\n");
            volatile unsigned long deep = ~0ul;
            Recurse(deep);
        }}),
        [](int status) {
            return (WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV) ||
                   (WIFEXITED(status) && WEXITSTATUS(status) != 0);
        },
        "^I/T\\([0-9]+\\): before the overflow\nF/DLOG\\([0-9]+\\): fatal signal 11 "
        "\\(SIGSEGV\\)\n");
}

TEST(PlatformLogDelivery, MinimumPriorityDropsLinesBelowIt) {
    const struct {
        const char* value;
        const char* written;  // the priority letters of the lines kept
    } cases[] = {{"W", "WEF"},   {"error", "EF"}, {"4", "IWEF"},    {"Fatal", "F"},
                 {"silent", ""}, {"", "DIWEF"},   {"loud", "DIWEF"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        test_support::LogCapture capture;
        setenv("DLOG_MIN_PRIORITY", c.value, 1);
        dlog::ReadEnvironment();
        std::string expected =
            std::string(c.value) != "loud"
                ? ""
                : Line('W',
                       "DLOG_MIN_PRIORITY=\"loud\" is not a priority (V D I W E F S, verbose "
                       "... silent, or 0-8): every line is written\n",
                       "DLOG");
        for (int prio = DLOG_DEBUG; prio <= DLOG_FATAL; ++prio) {
            const char letter = "DIWEF"[prio - DLOG_DEBUG];
            const std::string line =
                std::string(c.written).find(letter) != std::string::npos ? Line(letter, "x\n") : "";
            EXPECT_EQ(__dlog_print(LOG_ID_MAIN, prio, "T", "x\n"), static_cast<int>(line.size()));
            expected += line;
        }
        EXPECT_EQ(capture.Text(), expected);
    }
    unsetenv("DLOG_MIN_PRIORITY");
    dlog::ReadEnvironment();
}

namespace {

std::vector<std::vector<std::string>> g_Entries;
int g_JournalResult = 0;

int RecordEntry(const struct iovec* fields, int count) {
    std::vector<std::string> entry;
    for (int i = 0; i < count; ++i) {
        entry.emplace_back(static_cast<const char*>(fields[i].iov_base), fields[i].iov_len);
    }
    g_Entries.push_back(entry);
    return g_JournalResult;
}

}  // namespace

TEST(PlatformLogDelivery, OneJournalEntryPerLineWhenStderrIsTheJournalsStream) {
    test_support::LogCapture capture;
    struct stat status;
    ASSERT_EQ(fstat(STDERR_FILENO, &status), 0);
    const std::string stream = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    dlog::SetJournalSend(RecordEntry);
    const std::string pid = std::to_string(getpid());

    setenv("JOURNAL_STREAM", (stream + "1").c_str(), 1);  // another file: stderr as usual
    dlog::ReadEnvironment();
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "T", "not the journal\n");
    EXPECT_TRUE(g_Entries.empty());
    EXPECT_EQ(capture.Text(), Line('I', "not the journal\n"));

    capture.Clear();
    setenv("JOURNAL_STREAM", stream.c_str(), 1);
    dlog::ReadEnvironment();
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "TAG", "%s: %s(%d) > [%s:%d] %s\n", "file.cpp", "Func",
                 12, "Func", 12, "first\n  second");
    __dlog_print(LOG_ID_MAIN, DLOG_DEBUG, "TAG", "no source %d", 7);
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "TAG", "%s: %s(%d) > %s %d\n", "site.cpp", "Site", 34,
                 "short prefix", 3);
    EXPECT_EQ(
        g_Entries,
        (std::vector<std::vector<std::string>>{
            {"MESSAGE=E/TAG(" + pid + "): file.cpp: Func(12) > [Func:12] first\n  second",
             "PRIORITY=3", "SYSLOG_IDENTIFIER=TAG", "CODE_FILE=file.cpp", "CODE_LINE=12",
             "CODE_FUNC=Func"},
            {"MESSAGE=D/TAG(" + pid + "): no source 7", "PRIORITY=7", "SYSLOG_IDENTIFIER=TAG"},
            {"MESSAGE=W/TAG(" + pid + "): site.cpp: Site(34) > short prefix 3", "PRIORITY=4",
             "SYSLOG_IDENTIFIER=TAG", "CODE_FILE=site.cpp", "CODE_LINE=34", "CODE_FUNC=Site"}}));
    EXPECT_EQ(capture.Text(), "");

    g_JournalResult = -1;  // the journal refuses: the line goes to stderr
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "T", "refused\n");
    EXPECT_EQ(capture.Text(), Line('W', "refused\n"));

    unsetenv("JOURNAL_STREAM");
    dlog::SetJournalSend(nullptr);
    dlog::ReadEnvironment();
}
