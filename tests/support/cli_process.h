// Test support: trevalo-cli run as a child process, its output kept in files, its environment
// free of any bus address but the one a test gives it.
#ifndef TESTS_CLI_CLI_PROCESS_H
#define TESTS_CLI_CLI_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace cli_test {

struct CliOptions {
    std::vector<std::string> environment;  // "NAME=value"
    std::string input;                     // written to its standard input through a pipe
    std::string program = TREVALO_CLI_BINARY;
    // Run as this user (uid and gid, no supplementary groups); -1 keeps ours. Takes root.
    int uid = -1;
    int gid = -1;
};

class CliProcess {
  public:
    CliProcess(const std::vector<std::string>& arguments, const CliOptions& options = {});
    ~CliProcess();  // SIGKILL if still running
    CliProcess(const CliProcess&) = delete;
    CliProcess& operator=(const CliProcess&) = delete;

    // The exit status; -1 when it was killed by a signal or did not end within `timeout_ms`.
    int Wait(int timeout_ms = 30000);
    void Signal(int signal_number);

    std::string Out() const;
    std::string Err() const;
    // Waits until stdout (or stderr) holds `text`; false after `timeout_ms`.
    bool WaitForOut(const std::string& text, int timeout_ms = 10000) const;
    bool WaitForErr(const std::string& text, int timeout_ms = 10000) const;

  private:
    std::string m_Directory;
    pid_t m_Pid = -1;
    int m_Status = -1;
};

struct CliResult {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs to the end.
CliResult RunCli(const std::vector<std::string>& arguments, const CliOptions& options = {});

}  // namespace cli_test

#endif
