// bus_bench: the servers under test (the two echo servers and the service), each a process of
// its own on the private bus, with the bare GDBus client that drives it.
#ifndef BENCH_BUS_BENCH_SERVERS_H
#define BENCH_BUS_BENCH_SERVERS_H

#include <gio/gio.h>
#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "private_bus.h"
#include "resident_memory.h"
#include "statistics.h"

namespace bus_bench {

// One server process with its stderr in a file, as a journal would take it.
class ServerProcess {
  public:
    // Starts `command` (the program, then its arguments) as the framework's server `name` and
    // waits until the bus announces the name owned, on `watcher`, a connection to the bus.
    // Throws when that does not happen within 20 s.
    ServerProcess(GDBusConnection* watcher, const test_support::PrivateBus& bus,
                  const std::vector<std::string>& command, const std::string& name,
                  const std::string& log_path, const std::vector<std::string>& environment);
    ~ServerProcess();  // SIGTERM, SIGKILL if it is still there after 5 s
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // From starting the process to the bus announcing the name owned.
    double StartUpMs() const;
    // CPU time of all the process's threads so far, in seconds.
    double CpuSeconds() const;
    ResidentMemory Memory() const { return ReadResidentMemory(m_Process->Pid()); }

  private:
    std::unique_ptr<test_support::ServiceProcess> m_Process;
    Clock::duration m_StartUp{};
};

// One server under test: its process and the client talking to it.
struct Target {
    const char* label;  // also the first column of the samples file
    std::unique_ptr<test_support::RawClient> client;
    ServerProcess* process;
    const char* server_name;
};

}  // namespace bus_bench

#endif
