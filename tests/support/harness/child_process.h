// Harness: a program run as a child process (the client, the service or an echo server on a
// private bus), its output kept in files, its environment free of any bus address but the one
// given.
#ifndef TESTS_HARNESS_CHILD_PROCESS_H
#define TESTS_HARNESS_CHILD_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "files.h"

namespace test_support {

// Every time-out of the harness (the defaults below included) goes through here: `timeout_ms`
// times TREVALO_TEST_TIMEOUT_SCALE (a number, default 1), for a machine slower than usual (a
// sanitizer build, emulation, other work beside the tests).
int Scaled(int timeout_ms);

struct ChildOptions {
    std::vector<std::string> environment;  // "NAME=value"
    std::string input;                     // written to its standard input through a pipe
    std::string program = TREVALO_CLI_BINARY;
    // Run as this user (uid and gid, no supplementary groups); -1 keeps ours. Takes root.
    int uid = -1;
    int gid = -1;
    // Standard error to this file, left in place at the end; empty: a file of its own.
    std::string err_path;
};

class ChildProcess {
  public:
    ChildProcess(const std::vector<std::string>& arguments, const ChildOptions& options = {});
    ~ChildProcess();  // SIGKILL if still running; so is a child whose test process ends
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // The exit status; -1 when it was killed by a signal or did not end within `timeout_ms`.
    int Wait(int timeout_ms = 30000);
    void Signal(int signal_number);
    bool Running();
    pid_t Pid() const { return m_Pid; }

    std::string Out() const;
    std::string Err() const;
    // Waits until stdout (or stderr) holds `text`; false after `timeout_ms`.
    bool WaitForOut(const std::string& text, int timeout_ms = 10000) const;
    bool WaitForErr(const std::string& text, int timeout_ms = 10000) const;

  private:
    TemporaryDirectory m_Directory{"trevalo-child"};
    std::string m_ErrPath;
    pid_t m_Pid = -1;
    int m_Status = -1;
};

struct ChildResult {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the client (or `options.program`) to the end.
ChildResult RunCli(const std::vector<std::string>& arguments, const ChildOptions& options = {});

}  // namespace test_support

#endif
