// The service on the bus against the bus itself: a private dbus-daemon, two echo servers with the
// service's interface (this program again: a bare GDBus server with --echo-server, what a plain
// GLib server does; an sd-bus server in a GLib loop with --sd-echo-server, the best a server on
// this bus can do), and the real service, all driven by the same bare GDBus client, request by
// request in turn. Prints throughput and latency per scenario with the ratios of the service to
// each echo server, resident memory and start-up time.
//
//   bus_bench [--rounds N] [--per-client N] [--only SCENARIO] [--samples FILE] [--keep]
//             [--service PATH] [--wrap "COMMAND ..."] [--wrap-echo "COMMAND ..."]
//
//   --rounds       passes over each scenario's requests, in units of a few hundred (default 20)
//   --per-client   requests of each of the 8 concurrent clients (default 10000)
//   --only         one scenario after the start-up measurements: queries, pmt, channel,
//                  catalogue (the whole catalogue per channel change, classic way against
//                  GetCatalogue, and a listener of CatalogueChanged) or load
//   --samples      the file for every latency sample of the channel-change scenario
//                  (tab-separated: target, burst, method, microseconds), for plot_latency.sh
//   --keep         leaves the bus directory, with the service's log, in /tmp
//   --service      another build of the service (default: the one built beside this program)
//   --wrap         runs the service under another program, a profiler for instance:
//                  --wrap "valgrind --tool=callgrind"; --wrap-echo does so for the echo servers
#include <dirent.h>
#include <fcntl.h>
#include <gio/gio.h>
#include <glib-unix.h>
#include <json/reader.h>
#include <json/writer.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "resident_memory.h"

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<unsigned char>;

constexpr const char kInterface[] = "org.ondrel.TCServer";
constexpr const char kServiceName[] = "trevalo_service";
constexpr const char kEchoName[] = "bus_bench_echo";
constexpr const char kSdEchoName[] = "bus_bench_sd_echo";

constexpr const char kIntrospection[] =
    "<node>"
    "  <interface name='org.ondrel.TCServer'>"
    "    <method name='Request'>"
    "      <arg type='s' name='body' direction='in'/>"
    "      <arg type='ay' name='buffer' direction='in'/>"
    "      <arg type='s' name='body' direction='out'/>"
    "      <arg type='ay' name='buffer' direction='out'/>"
    "    </method>"
    "  </interface>"
    "</node>";

std::string WellKnownName(const std::string& server) {
    return std::string(kInterface) + "." + server;
}

std::string ObjectPath(const std::string& server) {
    return "/org/ondrel/TCServer/" + server;
}

double Microseconds(Clock::duration d) {
    return std::chrono::duration<double, std::micro>(d).count();
}

GDBusConnection* Connect(const std::string& address) {
    GError* error = nullptr;
    GDBusConnection* bus = g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (bus == nullptr) {
        const std::string why = error->message;
        g_error_free(error);
        throw std::runtime_error("cannot connect to " + address + ": " + why);
    }
    return bus;
}

// ---------------------------------------------------------------------------------------------
// The echo server: a bare GDBus server answering Request(s ay) with its own arguments.

void EchoRequest(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                 GVariant* parameters, GDBusMethodInvocation* invocation, gpointer) {
    g_dbus_method_invocation_return_value(invocation, parameters);
}

gboolean QuitLoop(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

int RunEchoServer(const std::string& name) {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address == nullptr) return 2;
    GDBusConnection* bus = Connect(address);
    g_dbus_connection_set_exit_on_close(bus, TRUE);
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kIntrospection, nullptr);
    const GDBusInterfaceVTable vtable = {EchoRequest, nullptr, nullptr, {nullptr}};
    GError* error = nullptr;
    const guint registration = g_dbus_connection_register_object(
        bus, ObjectPath(name).c_str(), node->interfaces[0], &vtable, nullptr, nullptr, &error);
    if (registration == 0) {
        std::fprintf(stderr, "echo: cannot export: %s\n", error->message);
        return 1;
    }
    // DBUS_NAME_FLAG_DO_NOT_QUEUE, as the framework asks.
    GVariant* result = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", WellKnownName(name).c_str(), 4u), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (result == nullptr) {
        std::fprintf(stderr, "echo: cannot request the name: %s\n", error->message);
        return 1;
    }
    g_variant_unref(result);
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    g_unix_signal_add(SIGTERM, QuitLoop, loop);
    g_unix_signal_add(SIGINT, QuitLoop, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    g_dbus_connection_unregister_object(bus, registration);
    g_dbus_connection_set_exit_on_close(bus, FALSE);
    g_dbus_connection_close_sync(bus, nullptr, nullptr);
    g_object_unref(bus);
    g_dbus_node_info_unref(node);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// The sd-bus echo server: the same echo on sd-bus, its connection driven from a GLib main loop by
// one source (the fd with the events sd-bus asks for, its timeout, processing until idle). Written
// here, apart from the framework, as the best a server on this bus can do.

int SdEchoRequest(sd_bus_message* call, void*, sd_bus_error*) {
    const char* text = nullptr;
    const void* bytes = nullptr;
    size_t length = 0;
    int result = sd_bus_message_read_basic(call, 's', &text);
    if (result >= 0) result = sd_bus_message_read_array(call, 'y', &bytes, &length);
    if (result < 0) return result;
    sd_bus_message* reply = nullptr;
    result = sd_bus_message_new_method_return(call, &reply);
    if (result < 0) return result;
    result = sd_bus_message_append_basic(reply, 's', text);
    if (result >= 0) result = sd_bus_message_append_array(reply, 'y', bytes, length);
    if (result >= 0) result = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return result;
}

const sd_bus_vtable kSdEchoVTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Request", "say", "say", SdEchoRequest, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

struct SdBusSource {
    GSource base;
    sd_bus* bus;
    GPollFD poll_fd;
};

bool SdBusDue(sd_bus* bus, gint* wait_ms) {
    uint64_t until = 0;
    if (sd_bus_get_timeout(bus, &until) < 0) return true;
    if (until == UINT64_MAX) return false;
    const uint64_t now = static_cast<uint64_t>(g_get_monotonic_time());
    if (until <= now) return true;
    if (wait_ms != nullptr) *wait_ms = static_cast<gint>((until - now + 999) / 1000);
    return false;
}

gboolean SdBusPrepare(GSource* source, gint* wait_ms) {
    auto* self = reinterpret_cast<SdBusSource*>(source);
    const int events = sd_bus_get_events(self->bus);
    if (events < 0) return TRUE;
    self->poll_fd.events = static_cast<gushort>(events);
    *wait_ms = -1;
    if (!SdBusDue(self->bus, wait_ms)) return FALSE;
    *wait_ms = 0;
    return TRUE;
}

gboolean SdBusCheck(GSource* source) {
    auto* self = reinterpret_cast<SdBusSource*>(source);
    return (self->poll_fd.revents & (self->poll_fd.events | G_IO_HUP | G_IO_ERR)) != 0 ||
           SdBusDue(self->bus, nullptr);
}

gboolean SdBusDispatch(GSource* source, GSourceFunc, gpointer) {
    auto* self = reinterpret_cast<SdBusSource*>(source);
    int result = 0;
    do {
        result = sd_bus_process(self->bus, nullptr);
    } while (result > 0);
    if (result >= 0) result = sd_bus_flush(self->bus);
    if (result < 0) std::exit(1);  // the bus is gone
    return G_SOURCE_CONTINUE;
}

GSourceFuncs kSdBusSourceFuncs = {SdBusPrepare, SdBusCheck, SdBusDispatch,
                                  nullptr,      nullptr,    nullptr};

int RunSdBusEchoServer(const std::string& name) {
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) return 2;
    sd_bus_slot* object = nullptr;
    if (sd_bus_add_object_vtable(bus, &object, ObjectPath(name).c_str(), kInterface, kSdEchoVTable,
                                 nullptr) < 0 ||
        sd_bus_request_name(bus, WellKnownName(name).c_str(), 0) < 0) {
        std::fprintf(stderr, "sd-bus echo: cannot export or take the name\n");
        return 1;
    }
    GSource* source = g_source_new(&kSdBusSourceFuncs, sizeof(SdBusSource));
    auto* self = reinterpret_cast<SdBusSource*>(source);
    self->bus = bus;
    self->poll_fd = {sd_bus_get_fd(bus), G_IO_IN, 0};
    g_source_add_poll(source, &self->poll_fd);
    g_source_attach(source, nullptr);
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    g_unix_signal_add(SIGTERM, QuitLoop, loop);
    g_unix_signal_add(SIGINT, QuitLoop, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    g_source_destroy(source);
    g_source_unref(source);
    sd_bus_slot_unref(object);
    sd_bus_flush_close_unref(bus);
    return 0;
}

// ---------------------------------------------------------------------------------------------
// Processes: the bus daemon and the servers.

class TempDirectory {
  public:
    TempDirectory() {
        char pattern[] = "/tmp/bus-bench-XXXXXX";
        if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp failed");
        m_Path = pattern;
    }
    ~TempDirectory() {
        if (m_Keep) return;
        const std::string remove = "rm -rf '" + m_Path + "'";
        if (std::system(remove.c_str()) != 0) {
            // A leftover directory in /tmp harms nothing.
        }
    }
    const std::string& Path() const { return m_Path; }
    void Keep() { m_Keep = true; }

  private:
    std::string m_Path;
    bool m_Keep = false;
};

void Terminate(pid_t pid) {
    if (pid <= 0) return;
    kill(pid, SIGTERM);
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    int status = 0;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (Clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

class BusDaemon {
  public:
    explicit BusDaemon(const std::string& directory) {
        const std::string config = directory + "/bus.conf";
        std::ofstream(config) << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus "
                                 "Configuration 1.0//EN\"\n"
                                 " \"http://www.freedesktop.org/standards/dbus/1.0/"
                                 "busconfig.dtd\">\n"
                                 "<busconfig><type>session</type><listen>unix:dir="
                              << directory
                              << "</listen><auth>EXTERNAL</auth>"
                                 "<policy context=\"default\"><allow send_destination=\"*\" "
                                 "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                                 "<allow own=\"*\"/></policy></busconfig>\n";
        int address_pipe[2];
        if (pipe(address_pipe) != 0) throw std::runtime_error("pipe failed");
        m_Pid = fork();
        if (m_Pid == 0) {
            dup2(address_pipe[1], STDOUT_FILENO);
            const int log = open((directory + "/bus.log").c_str(), O_WRONLY | O_CREAT, 0644);
            dup2(log, STDERR_FILENO);
            close(log);
            close(address_pipe[0]);
            close(address_pipe[1]);
            const std::string option = "--config-file=" + config;
            execlp("dbus-daemon", "dbus-daemon", option.c_str(), "--nofork", "--nopidfile",
                   "--print-address=1", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(address_pipe[1]);
        char c;
        while (read(address_pipe[0], &c, 1) == 1 && c != '\n') m_Address.push_back(c);
        close(address_pipe[0]);
        if (m_Address.empty()) throw std::runtime_error("dbus-daemon did not start");
    }
    ~BusDaemon() { Terminate(m_Pid); }
    const std::string& Address() const { return m_Address; }

  private:
    pid_t m_Pid = -1;
    std::string m_Address;
};

// Waits for a name to get an owner by listening to NameOwnerChanged, so the moment is the one at
// which the daemon announced it, not the next turn of a polling loop.
class NameWatch {
  public:
    NameWatch(GDBusConnection* bus, const std::string& name) : m_Bus(bus) {
        m_Context = g_main_context_new();
        g_main_context_push_thread_default(m_Context);
        m_Subscription = g_dbus_connection_signal_subscribe(
            bus, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
            "/org/freedesktop/DBus", name.c_str(), G_DBUS_SIGNAL_FLAGS_NONE, &NameWatch::OnChange,
            this, nullptr);
        g_main_context_pop_thread_default(m_Context);
        // The match rule reaches the daemon before anything this process sends afterwards.
        GVariant* result = g_dbus_connection_call_sync(
            bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
            nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        if (result != nullptr) g_variant_unref(result);
    }
    ~NameWatch() {
        g_dbus_connection_signal_unsubscribe(m_Bus, m_Subscription);
        while (g_main_context_iteration(m_Context, FALSE)) {
        }
        g_main_context_unref(m_Context);
    }
    // The moment the name was owned; false after `timeout`.
    bool Wait(Clock::time_point& when, std::chrono::milliseconds timeout) {
        const auto deadline = Clock::now() + timeout;
        while (!m_Owned && Clock::now() < deadline) {
            if (!g_main_context_iteration(m_Context, FALSE)) {
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
        }
        when = m_When;
        return m_Owned;
    }

  private:
    static void OnChange(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                         GVariant* parameters, gpointer self) {
        auto* watch = static_cast<NameWatch*>(self);
        const gchar* new_owner = nullptr;
        g_variant_get(parameters, "(&s&s&s)", nullptr, nullptr, &new_owner);
        if (new_owner != nullptr && *new_owner != '\0' && !watch->m_Owned) {
            watch->m_Owned = true;
            watch->m_When = Clock::now();
        }
    }

    GDBusConnection* m_Bus;
    GMainContext* m_Context = nullptr;
    guint m_Subscription = 0;
    bool m_Owned = false;
    Clock::time_point m_When;
};

// One server process with its stderr in a file, as a journal would take it.
class ServerProcess {
  public:
    ServerProcess(GDBusConnection* watcher, const std::string& bus_address,
                  const std::vector<std::string>& argv, const std::string& name,
                  const std::string& log_path, const std::vector<std::string>& environment) {
        NameWatch watch(watcher, WellKnownName(name));
        const auto started = Clock::now();
        m_Pid = fork();
        if (m_Pid == 0) {
            const int log = open(log_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(log, STDERR_FILENO);
            close(log);
            setenv("DBUS_SESSION_BUS_ADDRESS", bus_address.c_str(), 1);
            for (const std::string& setting : environment) {
                const auto equals = setting.find('=');
                setenv(setting.substr(0, equals).c_str(), setting.substr(equals + 1).c_str(), 1);
            }
            std::vector<char*> args;
            for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
            args.push_back(nullptr);
            execv(args[0], args.data());
            _exit(127);
        }
        Clock::time_point owned;
        if (!watch.Wait(owned, std::chrono::seconds(20))) {
            Terminate(m_Pid);
            throw std::runtime_error(argv[0] + " did not take " + WellKnownName(name));
        }
        m_StartUp = owned - started;
    }
    ~ServerProcess() { Terminate(m_Pid); }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    pid_t Pid() const { return m_Pid; }
    double StartUpMs() const {
        return std::chrono::duration<double, std::milli>(m_StartUp).count();
    }
    // CPU time of all the process's threads so far, in seconds, from /proc (schedstat: ns).
    double CpuSeconds() const {
        const std::string tasks = "/proc/" + std::to_string(m_Pid) + "/task";
        double total = 0;
        DIR* dir = opendir(tasks.c_str());
        if (dir == nullptr) return 0;
        while (dirent* entry = readdir(dir)) {
            if (entry->d_name[0] == '.') continue;
            std::ifstream stat(tasks + "/" + entry->d_name + "/schedstat");
            unsigned long long ns = 0;
            if (stat >> ns) total += ns / 1e9;
        }
        closedir(dir);
        return total;
    }
    ResidentMemory Memory() const { return ReadResidentMemory(m_Pid); }

  private:
    pid_t m_Pid = -1;
    Clock::duration m_StartUp{};
};

// ---------------------------------------------------------------------------------------------
// The client: one bare GDBus connection, synchronous calls, the same for both servers.

struct Request {
    std::string method;  // for the samples file
    std::string body;
    Bytes buffer;
};

class Client {
  public:
    Client(const std::string& address, const std::string& server)
        : m_Bus(Connect(address)),
          m_BusName(WellKnownName(server)),
          m_ObjectPath(ObjectPath(server)) {}
    ~Client() {
        g_dbus_connection_close_sync(m_Bus, nullptr, nullptr);
        g_object_unref(m_Bus);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // One Request; false on a D-Bus error or a time-out. `body` receives the reply body.
    bool Call(const Request& request, std::string* body = nullptr) {
        GVariant* children[] = {
            g_variant_new_string(request.body.c_str()),
            g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, request.buffer.data(),
                                      request.buffer.size(), 1)};
        GError* error = nullptr;
        GVariant* answer = g_dbus_connection_call_sync(
            m_Bus, m_BusName.c_str(), m_ObjectPath.c_str(), kInterface, "Request",
            g_variant_new_tuple(children, 2), G_VARIANT_TYPE("(say)"), G_DBUS_CALL_FLAGS_NONE,
            30000, nullptr, &error);
        if (answer == nullptr) {
            g_error_free(error);
            return false;
        }
        if (body != nullptr) {
            const gchar* text = nullptr;
            g_variant_get(answer, "(&s@ay)", &text, nullptr);
            *body = text;
        }
        g_variant_unref(answer);
        return true;
    }

  private:
    GDBusConnection* m_Bus;
    std::string m_BusName;
    std::string m_ObjectPath;
};

// ---------------------------------------------------------------------------------------------
// The requests.

struct Section {
    std::string file;
    int program_number = 0;
    Bytes bytes;
};

std::vector<Section> ReadSections(const std::string& directory) {
    std::vector<Section> sections;
    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr) throw std::runtime_error("cannot read " + directory);
    while (dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.size() < 5 || name.compare(name.size() - 4, 4, ".sec") != 0) continue;
        // The programme number is in the name: "<capture>.p<N>.v<version>.sec".
        const auto p = name.rfind(".p", name.rfind(".v"));
        if (p == std::string::npos) continue;
        Section section;
        section.file = name;
        section.program_number = std::atoi(name.c_str() + p + 2);
        std::ifstream in(directory + "/" + name, std::ios::binary);
        section.bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        sections.push_back(std::move(section));
    }
    closedir(dir);
    std::sort(sections.begin(), sections.end(),
              [](const Section& a, const Section& b) { return a.file < b.file; });
    if (sections.empty()) throw std::runtime_error("no sections in " + directory);
    return sections;
}

Request Query(const std::string& method) {
    return {method, "{\"method\":\"" + method + "\"}", {}};
}

Request Query(const std::string& method, int data) {
    return {method, "{\"method\":\"" + method + "\",\"data\":" + std::to_string(data) + "}", {}};
}

Request SendPmt(const Section& section, bool reset) {
    return {"SendPMTData",
            std::string("{\"method\":\"SendPMTData\",\"data\":{\"reset\":") +
                (reset ? "true" : "false") +
                ",\"programNum\":" + std::to_string(section.program_number) + "}}",
            section.bytes};
}

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    reader->parse(text.data(), text.data() + text.size(), &value, &errors);
    return value;
}

Json::Value ReturnData(Client& client, const Request& request) {
    std::string body;
    if (!client.Call(request, &body)) throw std::runtime_error(request.body + " failed");
    return ParseJson(body)["return_data"];
}

// The burst of a channel change to `section`, as the service's own answers shape it: the PMT
// with reset, the three sizes, every entry, and GetPID for every component tag of the entries.
std::vector<Request> ChannelChange(Client& service, const Section& section) {
    std::vector<Request> burst{SendPmt(section, true)};
    if (ReturnData(service, burst.front()).asInt() != 0) {
        throw std::runtime_error(section.file + " is not accepted by the service");
    }
    std::set<int> tags;
    for (const char* kind : {"Audio", "Video", "Subtitle"}) {
        const Request size = Query(std::string("SizeOf") + kind);
        burst.push_back(size);
        const int entries = ReturnData(service, size).asInt();
        for (int index = 0; index < entries; ++index) {
            const Request entry = Query(std::string("Get") + kind, index);
            burst.push_back(entry);
            tags.insert(ParseJson(ReturnData(service, entry).asString())["comp_tag"].asInt());
        }
    }
    for (int tag : tags) burst.push_back(Query("GetPID", tag));
    return burst;
}

// ---------------------------------------------------------------------------------------------
// Measuring.

struct Series {
    std::vector<double> latency_us;
    double seconds = 0;
    double server_cpu = 0;  // seconds of CPU the server spent meanwhile
    size_t failures = 0;

    double Rate() const { return seconds > 0 ? latency_us.size() / seconds : 0; }
    double CpuPerRequestUs() const {
        return latency_us.empty() ? 0 : server_cpu * 1e6 / latency_us.size();
    }
    // The mean latency with the slowest 1 % set aside: on a shared machine a few stalls of
    // milliseconds (the process waiting for a CPU) otherwise decide a ratio of means.
    double TrimmedMeanUs() const {
        if (latency_us.empty()) return 0;
        std::vector<double> sorted = latency_us;
        std::sort(sorted.begin(), sorted.end());
        const size_t kept = sorted.size() - sorted.size() / 100;
        double sum = 0;
        for (size_t i = 0; i < kept; ++i) sum += sorted[i];
        return sum / kept;
    }
    double Percentile(double p) const {
        if (latency_us.empty()) return 0;
        std::vector<double> sorted = latency_us;
        const size_t at = std::min(sorted.size() - 1, static_cast<size_t>(p * sorted.size()));
        std::nth_element(sorted.begin(), sorted.begin() + at, sorted.end());
        return sorted[at];
    }
};

// One server under test: its process and the client talking to it.
struct Target {
    const char* label;  // also the first column of the samples file
    std::unique_ptr<Client> client;
    ServerProcess* process;
    const char* server_name;
};

// Runs `script` `repeat` times against the target, adding to `series`.
void RunScript(Client& client, const ServerProcess& server, const std::vector<Request>& script,
               int repeat, Series& series) {
    const double cpu = server.CpuSeconds();
    const auto start = Clock::now();
    for (int r = 0; r < repeat; ++r) {
        for (const Request& request : script) {
            const auto before = Clock::now();
            if (!client.Call(request)) ++series.failures;
            series.latency_us.push_back(Microseconds(Clock::now() - before));
        }
    }
    series.seconds += std::chrono::duration<double>(Clock::now() - start).count();
    series.server_cpu += server.CpuSeconds() - cpu;
}

// A scenario's series, one per target, in the order of the targets (the service last).
struct Outcome {
    std::string scenario;
    std::vector<Series> series;
};

// The median over the requests of echo latency / service latency, each request taken by both
// back to back: a stall of the machine lands on one of the two calls of a pair, and the median
// leaves it out. Only for series filled request by request in turn (Alternate).
double PairedMedianRatio(const Series& echo, const Series& service) {
    const size_t pairs = std::min(echo.latency_us.size(), service.latency_us.size());
    if (pairs == 0) return 0;
    std::vector<double> ratios(pairs);
    for (size_t i = 0; i < pairs; ++i) ratios[i] = echo.latency_us[i] / service.latency_us[i];
    std::nth_element(ratios.begin(), ratios.begin() + pairs / 2, ratios.end());
    return ratios[pairs / 2];
}

void PrintHeader() {
    std::printf("%-16s %-11s %9s %10s %9s %9s %12s %7s\n", "scenario", "target", "requests",
                "req/s", "p50 us", "p99 us", "cpu us/req", "lost");
}

// `paired`: the series were filled request by request in turn, so the paired median means
// something.
void PrintOutcome(const Outcome& outcome, const std::vector<Target>& targets, bool paired = true) {
    for (size_t t = 0; t < targets.size(); ++t) {
        const Series& series = outcome.series[t];
        std::printf("%-16s %-11s %9zu %10.0f %9.1f %9.1f %12.1f %7zu\n", outcome.scenario.c_str(),
                    targets[t].label, series.latency_us.size(), series.Rate(),
                    series.Percentile(0.50), series.Percentile(0.99), series.CpuPerRequestUs(),
                    series.failures);
    }
    const Series& service = outcome.series.back();
    for (size_t t = 0; t + 1 < targets.size(); ++t) {
        const Series& echo = outcome.series[t];
        std::printf(
            "%-16s service/%-11s throughput %.3f (%.3f without the slowest 1 %%, %.3f paired "
            "median), p50 %.2fx, p99 %.2fx, server cpu %.2fx\n",
            outcome.scenario.c_str(), targets[t].label, service.Rate() / echo.Rate(),
            echo.TrimmedMeanUs() / service.TrimmedMeanUs(),
            paired ? PairedMedianRatio(echo, service) : 0.0,
            service.Percentile(0.5) / echo.Percentile(0.5),
            service.Percentile(0.99) / echo.Percentile(0.99),
            service.CpuPerRequestUs() / echo.CpuPerRequestUs());
    }
    std::printf("\n");
    std::fflush(stdout);
}

// Called for every timed request: target index, round, pass within the round, request index
// within the script, microseconds.
using OnSample = std::function<void(size_t, int, int, size_t, double)>;

// Request by request, in turn: each request of the script goes to every target, one after the
// other, the order rotating with every request, so that all meet the same moments of a busy
// machine. `rounds` times `repeat` passes over the script. A target's throughput is its requests
// over the time its own calls took; its CPU time is read from /proc around the whole.
Outcome Alternate(const std::string& scenario, std::vector<Target>& targets,
                  const std::vector<Request>& script, int rounds, int repeat,
                  const OnSample& on_sample) {
    Outcome outcome{scenario, std::vector<Series>(targets.size())};
    // One untimed pass each, so that none pays for first-time work in the timed rounds.
    for (Target& target : targets) {
        Series warm;
        RunScript(*target.client, *target.process, script, 1, warm);
    }
    std::vector<double> cpu_before;
    for (const Target& target : targets) cpu_before.push_back(target.process->CpuSeconds());
    size_t turn = 0;
    for (int round = 0; round < rounds; ++round) {
        for (int r = 0; r < repeat; ++r) {
            for (size_t i = 0; i < script.size(); ++i, ++turn) {
                for (size_t k = 0; k < targets.size(); ++k) {
                    const size_t t = (turn + k) % targets.size();
                    Series& series = outcome.series[t];
                    const auto before = Clock::now();
                    const bool ok = targets[t].client->Call(script[i]);
                    const double us = Microseconds(Clock::now() - before);
                    if (!ok) ++series.failures;
                    series.latency_us.push_back(us);
                    series.seconds += us / 1e6;
                    if (on_sample) on_sample(t, round, r, i, us);
                }
            }
        }
    }
    for (size_t t = 0; t < targets.size(); ++t) {
        outcome.series[t].server_cpu = targets[t].process->CpuSeconds() - cpu_before[t];
    }
    return outcome;
}

// 8 clients at once, each its own connection and thread, `per_client` mixed requests each.
struct LoadResult {
    size_t sent = 0;
    size_t received = 0;
    size_t right = 0;
    double seconds = 0;
    Series series;
};

LoadResult Load(const std::string& address, const std::string& server, const ServerProcess& process,
                const std::vector<Request>& mix, const std::vector<std::string>& expected,
                int clients, int per_client) {
    std::vector<LoadResult> parts(clients);
    std::vector<std::thread> threads;
    std::atomic<int> ready{0};
    std::atomic<bool> go{false};
    for (int c = 0; c < clients; ++c) {
        threads.emplace_back([&, c] {
            Client client(address, server);
            LoadResult& part = parts[c];
            part.series.latency_us.reserve(per_client);
            ++ready;
            while (!go) std::this_thread::yield();
            std::string body;
            for (int i = 0; i < per_client; ++i) {
                // Each client starts elsewhere in the mix, so the servers see them interleaved.
                const size_t k = (static_cast<size_t>(i) + c * 3) % mix.size();
                const auto before = Clock::now();
                ++part.sent;
                const bool ok = client.Call(mix[k], &body);
                part.series.latency_us.push_back(Microseconds(Clock::now() - before));
                if (!ok) continue;
                ++part.received;
                if (body == expected[k]) ++part.right;
            }
        });
    }
    while (ready < clients) std::this_thread::yield();
    const double cpu = process.CpuSeconds();
    const auto start = Clock::now();
    go = true;
    for (auto& thread : threads) thread.join();
    LoadResult total;
    total.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    total.series.server_cpu = process.CpuSeconds() - cpu;
    for (const LoadResult& part : parts) {
        total.sent += part.sent;
        total.received += part.received;
        total.right += part.right;
        total.series.latency_us.insert(total.series.latency_us.end(),
                                       part.series.latency_us.begin(),
                                       part.series.latency_us.end());
    }
    total.series.seconds = total.seconds;
    total.series.failures = total.sent - total.received;
    return total;
}

void Add(LoadResult& total, const LoadResult& part) {
    total.sent += part.sent;
    total.received += part.received;
    total.right += part.right;
    total.seconds += part.seconds;
    total.series.latency_us.insert(total.series.latency_us.end(), part.series.latency_us.begin(),
                                   part.series.latency_us.end());
    total.series.seconds += part.series.seconds;
    total.series.server_cpu += part.series.server_cpu;
    total.series.failures += part.series.failures;
}

std::string ReadLink(const char* path) {
    char buffer[4096];
    const ssize_t n = readlink(path, buffer, sizeof buffer - 1);
    if (n <= 0) throw std::runtime_error("cannot read /proc/self/exe");
    return std::string(buffer, static_cast<size_t>(n));
}

std::string FindInPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream directories(path != nullptr ? path : "/usr/bin:/bin");
    for (std::string directory; std::getline(directories, directory, ':');) {
        const std::string candidate = directory + "/" + program;
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return program;
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

long FileSize(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    return file ? static_cast<long>(file.tellg()) : -1;
}

// ---------------------------------------------------------------------------------------------
// Channel change, the whole catalogue in hand: the classic way (the three sizes, every entry by
// index, GetPID for every tag) against "GetCatalogue", each timed from sending the PMT to
// holding the whole catalogue; and a listener that reads the catalogue when "CatalogueChanged"
// arrives, timed from the moment "SendPMTData" was answered.

// The catalogue as {"video": [...], "audio": [...], "subtitle": [...]}, plus "pids" by tag for
// the classic way; counts the requests it took in `requests`.
Json::Value CatalogueTheClassicWay(Client& service, size_t& requests) {
    Json::Value catalogue(Json::objectValue);
    std::set<int> tags;
    for (const auto& [list, kind] : {std::pair<const char*, const char*>{"video", "Video"},
                                     {"audio", "Audio"},
                                     {"subtitle", "Subtitle"}}) {
        Json::Value& entries = catalogue[list] = Json::Value(Json::arrayValue);
        const int size = ReturnData(service, Query(std::string("SizeOf") + kind)).asInt();
        ++requests;
        for (int index = 0; index < size; ++index) {
            const Json::Value text = ReturnData(service, Query(std::string("Get") + kind, index));
            ++requests;
            tags.insert(entries.append(ParseJson(text.asString()))["comp_tag"].asInt());
        }
    }
    Json::Value& pids = catalogue["pids"] = Json::Value(Json::objectValue);
    for (int tag : tags) {
        pids[std::to_string(tag)] = ReturnData(service, Query("GetPID", tag));
        ++requests;
    }
    return catalogue;
}

Json::Value CatalogueInOneCall(Client& service) {
    return ReturnData(service, Query("GetCatalogue"));
}

void ChangeChannel(Client& service, const Section& section) {
    if (ReturnData(service, SendPmt(section, true)).asInt() != 0) {
        throw std::runtime_error(section.file + " is not accepted by the service");
    }
}

// A second client on a thread of its own: reads the whole catalogue whenever the service
// announces one, and notes when it holds it.
class CatalogueListener {
  public:
    explicit CatalogueListener(const std::string& address) : m_Context(g_main_context_new()) {
        std::promise<void> subscribed;
        m_Thread = std::thread([this, address, &subscribed] {
            g_main_context_push_thread_default(m_Context);
            Client service(address, kServiceName);
            GDBusConnection* bus = Connect(address);
            const guint subscription = g_dbus_connection_signal_subscribe(
                bus, WellKnownName(kServiceName).c_str(), kInterface, "CatalogueChanged",
                ObjectPath(kServiceName).c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                &CatalogueListener::OnSignal, this, nullptr);
            // The match rule reaches the daemon before anything this connection sends later.
            GVariant* id = g_dbus_connection_call_sync(
                bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
            if (id != nullptr) g_variant_unref(id);
            m_Service = &service;
            subscribed.set_value();
            while (!m_Stop) g_main_context_iteration(m_Context, TRUE);
            g_dbus_connection_signal_unsubscribe(bus, subscription);
            g_dbus_connection_close_sync(bus, nullptr, nullptr);
            g_object_unref(bus);
            while (g_main_context_iteration(m_Context, FALSE)) {
            }
            g_main_context_pop_thread_default(m_Context);
        });
        subscribed.get_future().wait();
    }
    ~CatalogueListener() {
        m_Stop = true;
        g_main_context_wakeup(m_Context);
        m_Thread.join();
        g_main_context_unref(m_Context);
    }

    // The moment the listener held the catalogue of the `count`-th announcement (from 1).
    Clock::time_point WaitForCatalogue(size_t count) {
        std::unique_lock<std::mutex> lock(m_Mutex);
        if (!m_Changed.wait_for(lock, std::chrono::seconds(10),
                                [&] { return m_Held.size() >= count || m_Failed; })) {
            throw std::runtime_error("no CatalogueChanged from the service");
        }
        if (m_Failed) throw std::runtime_error("the listener could not read the catalogue");
        return m_Held[count - 1];
    }

  private:
    static void OnSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                         GVariant*, gpointer self) {
        auto* listener = static_cast<CatalogueListener*>(self);
        bool held_it = true;
        try {
            held_it = CatalogueInOneCall(*listener->m_Service).isObject();
        } catch (const std::exception&) {
            held_it = false;
        }
        const Clock::time_point held = Clock::now();
        std::lock_guard<std::mutex> lock(listener->m_Mutex);
        listener->m_Held.push_back(held);
        listener->m_Failed = listener->m_Failed || !held_it;
        listener->m_Changed.notify_one();
    }

    GMainContext* m_Context;
    std::thread m_Thread;
    std::atomic<bool> m_Stop{false};
    Client* m_Service = nullptr;
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::vector<Clock::time_point> m_Held;
    bool m_Failed = false;
};

void PrintLatencies(const char* label, const Series& series, const char* extra) {
    double sum = 0;
    for (double us : series.latency_us) sum += us;
    std::printf("  %-34s %7.1f us mean %7.1f p50 %7.1f p99%s\n", label,
                sum / series.latency_us.size(), series.Percentile(0.50), series.Percentile(0.99),
                extra);
}

double Mean(const std::vector<double>& values) {
    double sum = 0;
    for (double value : values) sum += value;
    return values.empty() ? 0 : sum / values.size();
}

void RunWholeCatalogueScenario(const std::string& address, const std::vector<Section>& sections,
                               int rounds) {
    Client service(address, kServiceName);
    // Both ways must hold the same catalogue; the classic way takes this many requests.
    size_t classic_requests = 0;
    for (const Section& section : sections) {
        ChangeChannel(service, section);
        ++classic_requests;
        const Json::Value classic = CatalogueTheClassicWay(service, classic_requests);
        Json::Value whole = CatalogueInOneCall(service);
        for (const char* list : {"video", "audio", "subtitle"}) {
            if (whole[list] != classic[list]) {
                throw std::runtime_error(section.file + ": GetCatalogue differs from the " + list +
                                         " entries read one by one");
            }
        }
    }
    std::vector<Series> classic(sections.size()), whole(sections.size());
    for (int round = 0; round < rounds * 5; ++round) {
        for (size_t s = 0; s < sections.size(); ++s) {
            for (int which = 0; which < 2; ++which) {
                const bool classic_turn = (which == 0) == ((round + s) % 2 == 0);
                const auto start = Clock::now();
                ChangeChannel(service, sections[s]);
                size_t ignored = 0;
                const Json::Value held = classic_turn ? CatalogueTheClassicWay(service, ignored)
                                                      : CatalogueInOneCall(service);
                (classic_turn ? classic : whole)[s].latency_us.push_back(
                    Microseconds(Clock::now() - start));
                if (!held.isObject()) throw std::runtime_error("no catalogue");
            }
        }
    }
    Series classic_all, whole_all;
    std::vector<double> ratios;
    for (size_t s = 0; s < sections.size(); ++s) {
        ratios.push_back(classic[s].TrimmedMeanUs() / whole[s].TrimmedMeanUs());
        for (Series* pair : {&classic[s], &whole[s]}) {
            Series& all = pair == &classic[s] ? classic_all : whole_all;
            all.latency_us.insert(all.latency_us.end(), pair->latency_us.begin(),
                                  pair->latency_us.end());
        }
    }
    std::printf(
        "whole catalogue per channel change, from sending the PMT to holding it "
        "(%zu sections, %zu changes each way):\n",
        sections.size(), classic_all.latency_us.size());
    char requests[64];
    std::snprintf(requests, sizeof requests, "  (%.2f requests)",
                  static_cast<double>(classic_requests) / sections.size());
    PrintLatencies("classic: sizes, entries, GetPID", classic_all, requests);
    PrintLatencies("new: GetCatalogue", whole_all, "  (2 requests)");
    std::printf(
        "  new faster by %.2fx on the mean of all changes (%.2fx without the slowest "
        "1 %%); per section %.2fx on average, from %.2fx to %.2fx\n",
        Mean(classic_all.latency_us) / Mean(whole_all.latency_us),
        classic_all.TrimmedMeanUs() / whole_all.TrimmedMeanUs(), Mean(ratios),
        *std::min_element(ratios.begin(), ratios.end()),
        *std::max_element(ratios.begin(), ratios.end()));

    // The listener: from "SendPMTData" answered here to the catalogue held there.
    Series announced;
    {
        CatalogueListener listener(address);
        size_t changes = 0;
        for (int round = 0; round < rounds; ++round) {
            for (const Section& section : sections) {
                ChangeChannel(service, section);
                const auto answered = Clock::now();
                announced.latency_us.push_back(
                    Microseconds(listener.WaitForCatalogue(++changes) - answered));
            }
        }
    }
    PrintLatencies("listener, answer to catalogue held", announced, "");
    std::printf("\n");
}

struct Options {
    int rounds = 20;
    int per_client = 10000;
    std::string samples = "bus_bench_channel_change.tsv";
    bool keep = false;
    std::vector<std::string> wrap;       // before the service's command line
    std::vector<std::string> wrap_echo;  // before each echo server's
    std::string only;                    // one scenario: queries, pmt, channel, catalogue or load
    std::string service = TREVALO_SERVICE_BINARY;
};

// What the scenarios share: the bus, the targets (the GDBus echo, the sd-bus echo, the service,
// in that order) and the captured sections.
struct Bench {
    const Options& options;
    std::string bus_address;
    std::vector<Target> targets;
    std::vector<Section> sections;
    const Section* largest = nullptr;
    int audio_tag = 0;  // the component tag of the first audio entry of the largest section

    Target& Service() { return targets.back(); }
};

// SizeOfAudio, GetAudio 0 and GetPID of the first audio tag, over the largest section's catalogue.
Outcome RunQueries(Bench& bench) {
    const std::vector<Request> queries{Query("SizeOfAudio"), Query("GetAudio", 0),
                                       Query("GetPID", bench.audio_tag)};
    return Alternate("queries", bench.targets, queries, bench.options.rounds, 200, nullptr);
}

// SendPMTData of the largest section, without reset, the same each time.
Outcome RunSendPmt(Bench& bench) {
    return Alternate("SendPMTData", bench.targets, {SendPmt(*bench.largest, false)},
                     bench.options.rounds, 300, nullptr);
}

// Every captured section in turn, each as a channel change shaped by the service's own answers;
// every latency goes to the samples file.
Outcome RunChannelChange(Bench& bench) {
    std::vector<std::vector<Request>> bursts;
    for (const Section& section : bench.sections) {
        bursts.push_back(ChannelChange(*bench.Service().client, section));
    }
    std::vector<Request> script;
    std::vector<size_t> burst_of;  // request index -> burst index within one cycle
    for (size_t b = 0; b < bursts.size(); ++b) {
        for (const Request& request : bursts[b]) {
            script.push_back(request);
            burst_of.push_back(b);
        }
    }
    std::ofstream samples(bench.options.samples);
    samples << "target\tburst\tmethod\tlatency_us\n";
    constexpr int kCycles = 2;
    Outcome outcome =
        Alternate("channel change", bench.targets, script, bench.options.rounds, kCycles,
                  [&](size_t target, int round, int r, size_t i, double us) {
                      const size_t burst =
                          (static_cast<size_t>(round) * kCycles + r) * bursts.size() + burst_of[i];
                      samples << bench.targets[target].label << '\t' << burst << '\t'
                              << script[i].method << '\t' << us << '\n';
                  });
    std::printf("channel change: %zu requests per cycle; samples in %s\n", script.size(),
                bench.options.samples.c_str());
    return outcome;
}

// 8 clients at once, in ten slices, the targets in turn; every reply is checked.
struct LoadOutcome {
    std::vector<LoadResult> results;  // per target
    bool all_right = true;
};

LoadOutcome RunLoad(Bench& bench) {
    const Section& largest = *bench.largest;
    const std::vector<Request> mix{SendPmt(largest, false), Query("SizeOfAudio"),
                                   Query("GetAudio", 0),    Query("GetPID", bench.audio_tag),
                                   Query("SizeOfVideo"),    Query("GetVideo", 0),
                                   Query("SizeOfSubtitle"), Query("GetPID", 255)};
    // The echo servers answer the request body; the service, what it answers the request alone.
    std::vector<std::vector<std::string>> expected(bench.targets.size());
    ReturnData(*bench.Service().client, SendPmt(largest, true));
    for (const Request& request : mix) {
        std::string body;
        bench.Service().client->Call(request, &body);
        for (size_t t = 0; t < bench.targets.size(); ++t) {
            expected[t].push_back(t + 1 == bench.targets.size() ? body : request.body);
        }
    }
    constexpr int kClients = 8;
    constexpr int kSlices = 10;
    LoadOutcome outcome;
    outcome.results.resize(bench.targets.size());
    const int per_client = bench.options.per_client;
    for (int slice = 0; slice < kSlices; ++slice) {
        const int count = per_client / kSlices + (slice < per_client % kSlices ? 1 : 0);
        if (count == 0) continue;
        for (size_t k = 0; k < bench.targets.size(); ++k) {
            const size_t t = (slice + k) % bench.targets.size();
            const Target& target = bench.targets[t];
            Add(outcome.results[t], Load(bench.bus_address, target.server_name, *target.process,
                                         mix, expected[t], kClients, count));
        }
    }
    Outcome printed{"8 clients", {}};
    for (size_t t = 0; t < bench.targets.size(); ++t) {
        const LoadResult& result = outcome.results[t];
        printed.series.push_back(result.series);
        std::printf("load: %-11s sent %zu, received %zu, right %zu\n", bench.targets[t].label,
                    result.sent, result.received, result.right);
        outcome.all_right =
            outcome.all_right && result.received == result.sent && result.right == result.sent;
    }
    PrintOutcome(printed, bench.targets, false);  // concurrent clients: no pairs
    return outcome;
}

// One memory figure of every server at idle (and before and after the load when it ran), then
// the service's figure over each other server's.
void PrintMemoryTable(const char* name, const std::vector<const char*>& labels,
                      const std::vector<ResidentMemory>& idle,
                      const std::vector<ResidentMemory>& before,
                      const std::vector<ResidentMemory>& after, long ResidentMemory::*field) {
    const bool loaded = !before.empty();
    std::printf("resident memory (%s, KiB)  idle%s\n", name,
                loaded ? "  before-load  after-load  growth-over-load" : "");
    for (size_t k = 0; k < labels.size(); ++k) {
        std::printf("  %-24s %7ld", labels[k], idle[k].*field);
        if (loaded) {
            std::printf(" %12ld %11ld %17ld", before[k].*field, after[k].*field,
                        after[k].*field - before[k].*field);
        }
        std::printf("\n");
    }
    for (size_t k = 0; k + 1 < labels.size(); ++k) {
        std::printf("  service/%-15s %7.2f", labels[k],
                    static_cast<double>(idle.back().*field) / idle[k].*field);
        if (loaded) {
            std::printf(" %12.2f %11.2f",
                        static_cast<double>(before.back().*field) / before[k].*field,
                        static_cast<double>(after.back().*field) / after[k].*field);
        }
        std::printf("\n");
    }
}

int RunBenchmark(const Options& options) {
    TempDirectory directory;
    if (options.keep) directory.Keep();
    BusDaemon daemon(directory.Path());
    const std::string self = ReadLink("/proc/self/exe");
    const std::string state_path = directory.Path() + "/platform-state.json";
    // A receiver's platform state: the service stats it on every read of it.
    std::ofstream(state_path) << "{ \"system_info\": { \"709\": 200 },\n"
                                 "  \"tv_service\": { \"tv_mode\": 1, \"service_id\": 4660 } }\n";
    // Dated back: the run measures the steady state, not the seconds after a change of the
    // platform, when every read of the state compares the file's content.
    const timespec past[2] = {{time(nullptr) - 60, 0}, {time(nullptr) - 60, 0}};
    utimensat(AT_FDCWD, state_path.c_str(), past, 0);
    const std::vector<std::string> environment{"PLATFORM_SIM_STATE=" + state_path};

    struct Server {
        const char* label;
        const char* name;
        std::vector<std::string> argv;
    };
    std::vector<Server> servers{{"gdbus-echo", kEchoName, options.wrap_echo},
                                {"sdbus-echo", kSdEchoName, options.wrap_echo},
                                {"service", kServiceName, options.wrap}};
    servers[0].argv.insert(servers[0].argv.end(), {self, "--echo-server", kEchoName});
    servers[1].argv.insert(servers[1].argv.end(), {self, "--sd-echo-server", kSdEchoName});
    servers[2].argv.push_back(options.service);
    const std::string service_log = directory.Path() + "/service.log";

    GDBusConnection* watcher = Connect(daemon.Address());

    // Start-up: exec to name owned, the servers in turn, the median of several starts of each.
    constexpr int kStarts = 7;
    std::vector<std::vector<double>> starts(servers.size());
    for (int i = 0; i < kStarts; ++i) {
        for (size_t k = 0; k < servers.size(); ++k) {
            const Server& server = servers[(i + k) % servers.size()];
            ServerProcess process(watcher, daemon.Address(), server.argv, server.name,
                                  directory.Path() + "/start.log", environment);
            starts[(i + k) % servers.size()].push_back(process.StartUpMs());
        }
    }

    std::vector<std::unique_ptr<ServerProcess>> processes;
    for (const Server& server : servers) {
        const bool is_service = &server == &servers.back();
        processes.push_back(std::make_unique<ServerProcess>(
            watcher, daemon.Address(), server.argv, server.name,
            is_service ? service_log : directory.Path() + "/" + server.label + ".log",
            environment));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::vector<ResidentMemory> idle;
    for (const auto& process : processes) idle.push_back(process->Memory());

    Bench bench{options, daemon.Address(), {}, {}, nullptr, 0};
    for (size_t k = 0; k < servers.size(); ++k) {
        bench.targets.push_back({servers[k].label,
                                 std::make_unique<Client>(daemon.Address(), servers[k].name),
                                 processes[k].get(), servers[k].name});
    }
    bench.sections = ReadSections(std::string(TREVALO_TESTDATA_DIR) + "/pmt");
    bench.largest = &*std::max_element(
        bench.sections.begin(), bench.sections.end(),
        [](const Section& a, const Section& b) { return a.bytes.size() < b.bytes.size(); });
    if (ReturnData(*bench.Service().client, SendPmt(*bench.largest, true)).asInt() != 0) {
        throw std::runtime_error(bench.largest->file + " is not accepted");
    }
    bench.audio_tag =
        ParseJson(ReturnData(*bench.Service().client, Query("GetAudio", 0)).asString())["comp_tag"]
            .asInt();

    std::printf("bus_bench: %zu sections, the largest %s (%zu bytes), %d rounds\n\n",
                bench.sections.size(), bench.largest->file.c_str(), bench.largest->bytes.size(),
                options.rounds);
    PrintHeader();
    const auto wanted = [&](const char* scenario) {
        return options.only.empty() || options.only == scenario;
    };
    if (wanted("queries")) PrintOutcome(RunQueries(bench), bench.targets);
    if (wanted("pmt")) PrintOutcome(RunSendPmt(bench), bench.targets);
    if (wanted("channel")) PrintOutcome(RunChannelChange(bench), bench.targets);
    if (wanted("catalogue")) {
        RunWholeCatalogueScenario(bench.bus_address, bench.sections, bench.options.rounds);
    }
    bool all_right = true;
    std::vector<ResidentMemory> before, after;
    if (wanted("load")) {
        for (const auto& process : processes) before.push_back(process->Memory());
        all_right = RunLoad(bench).all_right;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        for (const auto& process : processes) after.push_back(process->Memory());
    }
    // VmRSS counts the shared library pages every process on the box shares; RssAnon is the
    // server's own memory.
    std::vector<const char*> labels;
    for (const Server& server : servers) labels.push_back(server.label);
    for (long ResidentMemory::*field :
         {&ResidentMemory::vm_rss_kib, &ResidentMemory::rss_anon_kib}) {
        PrintMemoryTable(field == &ResidentMemory::vm_rss_kib ? "VmRSS" : "RssAnon", labels, idle,
                         before, after, field);
    }
    std::printf("\nstart-up, exec to name owned (median of %d):", kStarts);
    for (size_t k = 0; k < servers.size(); ++k) {
        std::printf(" %s %.1f ms%s", servers[k].label, Median(starts[k]),
                    k + 1 < servers.size() ? "," : "\n");
    }
    for (size_t k = 0; k + 1 < servers.size(); ++k) {
        std::printf("  ratio service/%s %.2f\n", servers[k].label,
                    Median(starts.back()) / Median(starts[k]));
    }
    std::printf("service log: %ld bytes\n", FileSize(service_log));
    if (options.keep) std::printf("logs kept in %s\n", directory.Path().c_str());

    bench.targets.clear();
    g_dbus_connection_close_sync(watcher, nullptr, nullptr);
    g_object_unref(watcher);
    return all_right ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 3 && std::strcmp(argv[1], "--echo-server") == 0) {
            return RunEchoServer(argv[2]);
        }
        if (argc == 3 && std::strcmp(argv[1], "--sd-echo-server") == 0) {
            return RunSdBusEchoServer(argv[2]);
        }
        Options options;
        for (int i = 1; i < argc; ++i) {
            const std::string arg = argv[i];
            if (arg == "--rounds" && i + 1 < argc) {
                options.rounds = std::max(1, std::atoi(argv[++i]));
            } else if (arg == "--per-client" && i + 1 < argc) {
                options.per_client = std::max(1, std::atoi(argv[++i]));
            } else if (arg == "--samples" && i + 1 < argc) {
                options.samples = argv[++i];
            } else if (arg == "--service" && i + 1 < argc) {
                options.service = argv[++i];
            } else if (arg == "--only" && i + 1 < argc) {
                options.only = argv[++i];
            } else if (arg == "--keep") {
                options.keep = true;
            } else if ((arg == "--wrap" || arg == "--wrap-echo") && i + 1 < argc) {
                std::vector<std::string>& wrap = arg == "--wrap" ? options.wrap : options.wrap_echo;
                std::istringstream words(argv[++i]);
                for (std::string word; words >> word;) wrap.push_back(word);
                // execv needs a path: look the wrapper up as a shell would.
                if (!wrap.empty() && wrap[0].find('/') == std::string::npos) {
                    wrap[0] = FindInPath(wrap[0]);
                }
            } else {
                std::fprintf(stderr,
                             "usage: %s [--rounds N] [--per-client N] [--samples FILE] [--keep] "
                             "[--wrap \"COMMAND ...\"] [--wrap-echo \"COMMAND ...\"] "
                             "[--only queries|pmt|channel|catalogue|load] [--service PATH]\n",
                             argv[0]);
                return 2;
            }
        }
        signal(SIGPIPE, SIG_IGN);
        return RunBenchmark(options);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bus_bench: %s\n", failure.what());
        return 1;
    }
}
