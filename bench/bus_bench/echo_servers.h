// bus_bench: the yardsticks, two servers with the service's interface that answer Request(s ay)
// with its own arguments. Each runs as this program again, on the bus of
// DBUS_SESSION_BUS_ADDRESS, under the name and path the framework would give server `name`,
// until SIGTERM or SIGINT.
#ifndef BENCH_BUS_BENCH_ECHO_SERVERS_H
#define BENCH_BUS_BENCH_ECHO_SERVERS_H

#include <string>

namespace bus_bench {

// A bare GDBus server: what a plain GLib server does.
int RunGDBusEchoServer(const std::string& name);

// An sd-bus server, its connection driven from a GLib main loop by one source (the fd with the
// events sd-bus asks for, its timeout, processing until idle). Written apart from the framework,
// as the best a server on this bus can do.
int RunSdBusEchoServer(const std::string& name);

}  // namespace bus_bench

#endif
