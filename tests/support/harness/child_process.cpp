#include "child_process.h"

#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "files.h"

extern char** environ;

namespace test_support {
namespace {

using Clock = std::chrono::steady_clock;

bool WaitForText(const std::string& path, const std::string& text, int timeout_ms) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(Scaled(timeout_ms));
    while (ReadText(path).find(text) == std::string::npos) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

}  // namespace

int Scaled(int timeout_ms) {
    static const double scale = [] {
        const char* text = std::getenv("TREVALO_TEST_TIMEOUT_SCALE");
        const double value = text != nullptr ? std::strtod(text, nullptr) : 1.0;
        return value > 0 ? value : 1.0;
    }();
    return timeout_ms < 0 ? timeout_ms : static_cast<int>(timeout_ms * scale);
}

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const ChildOptions& options)
    : m_ErrPath(options.err_path.empty() ? m_Directory.Path() + "/err" : options.err_path) {
    int input[2];
    if (pipe(input) != 0) throw std::runtime_error("pipe failed");

    std::vector<std::string> argv_text = {options.program};
    argv_text.insert(argv_text.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : argv_text) argv.push_back(word.data());
    argv.push_back(nullptr);
    // Everything the child needs is made here: between fork and exec, other threads' locks
    // (malloc, the environment) may be held by nobody who will ever release them.
    std::vector<std::string> environment_text;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string setting = *entry;
        const std::string name = setting.substr(0, setting.find('='));
        bool replaced = name == "DBUS_SESSION_BUS_ADDRESS";
        for (const std::string& given : options.environment) {
            replaced = replaced || given.substr(0, given.find('=')) == name;
        }
        if (!replaced) environment_text.push_back(setting);
    }
    environment_text.insert(environment_text.end(), options.environment.begin(),
                            options.environment.end());
    std::vector<char*> envp;
    for (std::string& setting : environment_text) envp.push_back(setting.data());
    envp.push_back(nullptr);
    const int out = open((m_Directory.Path() + "/out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err = open(m_ErrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);

    const pid_t parent = getpid();
    m_Pid = fork();
    if (m_Pid == 0) {
        dup2(input[0], STDIN_FILENO);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        close(input[0]);
        close(input[1]);
        close(out);
        close(err);
        if (options.uid >= 0 &&
            (setgroups(0, nullptr) != 0 || setgid(static_cast<gid_t>(options.gid)) != 0 ||
             setuid(static_cast<uid_t>(options.uid)) != 0)) {
            _exit(126);
        }
        // Whatever ends the test (a crash, a time-out's SIGKILL) ends the child too; set after
        // the change of user, which clears it.
        if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent) _exit(125);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(out);
    close(err);
    close(input[0]);
    // The child reads while we write, so a pipe's worth at a time is no limit.
    signal(SIGPIPE, SIG_IGN);
    size_t written = 0;
    while (written < options.input.size()) {
        const ssize_t n =
            write(input[1], options.input.data() + written, options.input.size() - written);
        if (n <= 0) break;  // the child stopped reading
        written += static_cast<size_t>(n);
    }
    close(input[1]);
}

ChildProcess::~ChildProcess() {
    if (m_Pid > 0) {
        kill(m_Pid, SIGKILL);
        int status = 0;
        waitpid(m_Pid, &status, 0);
    }
}

bool ChildProcess::Running() {
    int status = 0;
    if (m_Pid <= 0 || waitpid(m_Pid, &status, WNOHANG) != m_Pid) return m_Pid > 0;
    m_Pid = -1;
    m_Status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return false;
}

int ChildProcess::Wait(int timeout_ms) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(Scaled(timeout_ms));
    while (Running()) {
        if (Clock::now() > deadline) return -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return m_Status;
}

void ChildProcess::Signal(int signal_number) {
    if (m_Pid > 0) kill(m_Pid, signal_number);
}

std::string ChildProcess::Out() const {
    return ReadText(m_Directory.Path() + "/out");
}

std::string ChildProcess::Err() const {
    return ReadText(m_ErrPath);
}

bool ChildProcess::WaitForOut(const std::string& text, int timeout_ms) const {
    return WaitForText(m_Directory.Path() + "/out", text, timeout_ms);
}

bool ChildProcess::WaitForErr(const std::string& text, int timeout_ms) const {
    return WaitForText(m_ErrPath, text, timeout_ms);
}

ChildResult RunCli(const std::vector<std::string>& arguments, const ChildOptions& options) {
    ChildProcess process(arguments, options);
    ChildResult result;
    result.status = process.Wait();
    result.out = process.Out();
    result.err = process.Err();
    return result;
}

}  // namespace test_support
