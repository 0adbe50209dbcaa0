// trevalo-cli on a real bus against hostile peers and a service that comes and goes: signals
// count only from the owner of the service's name, a malformed one is one line and skipped, and
// the commands that wait never start the service.
#include <gio/gio.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>

#include "child_process.h"
#include "private_bus.h"
#include "service_on_bus.h"
#include "stream_builder.h"

namespace {

using test_support::ChildOptions;
using test_support::ChildProcess;
using test_support::PrivateBus;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char kWaiting[] = "waiting for org.ondrel.TCServer.trevalo_service to appear on ";

long Lines(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

ChildOptions OnBus(const PrivateBus& bus) {
    ChildOptions options;
    options.environment = {"DBUS_SESSION_BUS_ADDRESS=" + bus.Address()};
    return options;
}

// A connection of the test's own, closed at the end.
struct Peer {
    explicit Peer(const PrivateBus& bus) : connection(test_support::ConnectToBus(bus.Address())) {}
    ~Peer() {
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
        g_object_unref(connection);
    }
    // Takes the service's name, as a service would.
    bool OwnServiceName() const {
        GVariant* result = g_dbus_connection_call_sync(
            connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", trevalo_bus::kBusName, 4u), G_VARIANT_TYPE("(u)"),
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        guint32 answer = 0;
        if (result != nullptr) g_variant_get(result, "(u)", &answer);
        if (result != nullptr) g_variant_unref(result);
        return answer == 1;  // the primary owner
    }
    // Emits a signal on the service's object, to everyone or to `destination` alone.
    void Emit(const char* interface, const char* name, GVariant* arguments,
              const std::string& destination = "",
              const char* path = trevalo_bus::kObjectPath) const {
        g_dbus_connection_emit_signal(connection,
                                      destination.empty() ? nullptr : destination.c_str(), path,
                                      interface, name, arguments, nullptr);
        test_support::RoundTrip(connection);
    }
    void EmitBody(const char* name, const char* body, const std::string& destination = "") const {
        Emit(trevalo_bus::kInterface, name,
             g_variant_new("(s@ay)", body,
                           g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, nullptr, 0, 1)),
             destination);
    }
    // The unique name of the connection process `pid` holds; empty when none.
    std::string UniqueNameOf(pid_t pid) const {
        GVariant* names = g_dbus_connection_call_sync(
            connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "ListNames", nullptr, G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
            nullptr);
        std::string found;
        GVariantIter* iterator = nullptr;
        const gchar* name = nullptr;
        g_variant_get(names, "(as)", &iterator);
        while (found.empty() && g_variant_iter_next(iterator, "&s", &name)) {
            if (name[0] != ':') continue;
            GVariant* owner = g_dbus_connection_call_sync(
                connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "GetConnectionUnixProcessID", g_variant_new("(s)", name), G_VARIANT_TYPE("(u)"),
                G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
            guint32 owner_pid = 0;
            if (owner != nullptr) g_variant_get(owner, "(u)", &owner_pid);
            if (owner != nullptr) g_variant_unref(owner);
            if (static_cast<pid_t>(owner_pid) == pid) found = name;
        }
        g_variant_iter_free(iterator);
        g_variant_unref(names);
        return found;
    }

    GDBusConnection* connection;
};

// A PropertiesChanged of the catalogue interface with a whole catalogue: programme 4242, one
// audio entry on PID 666.
GVariant* ForgedCatalogue() {
    const std::string text = std::string("('") + trevalo_bus::catalogue::kInterface +
                             "', {'ProgramNumber': <uint16 4242>, 'Video': <@aa{sv} []>, "
                             "'Audio': <[{'pid': <uint16 666>}]>, 'Subtitles': <@aa{sv} []>}, "
                             "@as [])";
    return g_variant_new_parsed(text.c_str());
}

// Any other connection may send signals with the service's path and interface, to everyone or to
// the client alone: none is printed, none ends a command; the service's own still are.
TEST_F(ServiceOnBus, SignalsOfAnyoneButTheServiceAreNotPrintedAndEndNothing) {
    ChildProcess watch({"watch", "--json"}, OnBus(*bus_));
    ChildProcess listen({"listen"}, OnBus(*bus_));
    ASSERT_TRUE(watch.WaitForErr("watching ")) << watch.Err();
    ASSERT_TRUE(listen.WaitForErr("listening ")) << listen.Err();
    const Peer forger(*bus_);
    for (const std::string& to :
         {std::string(), forger.UniqueNameOf(watch.Pid()), forger.UniqueNameOf(listen.Pid())}) {
        // The bus daemon's word that the forger owns the name now, posed.
        forger.Emit("org.freedesktop.DBus", "NameOwnerChanged",
                    g_variant_new("(sss)", trevalo_bus::kBusName, "",
                                  g_dbus_connection_get_unique_name(forger.connection)),
                    to, "/org/freedesktop/DBus");
        forger.Emit("org.freedesktop.DBus.Properties", "PropertiesChanged", ForgedCatalogue(), to);
        forger.EmitBody(trevalo_bus::kTrevaloSignal, R"({"forged":4242})", to);
        forger.EmitBody(trevalo_bus::kCatalogueChanged, "[]", to);
    }
    // Then the service's own, which arrive after the forged ones.
    Call(R"({"method":"SendPESDataWithFirstPTS","data":{"pts":1}})", {0x00});
    ASSERT_TRUE(listen.WaitForOut("TrevaloSignal {\"data\":{\"pts\":1}")) << listen.Out();
    Call(R"({"method":"SendPMTData","data":{"reset":true,"programNum":7}})",
         ts_test::MakePmtSection(7, 1, {{0x1B, 0x101}}));
    ASSERT_TRUE(watch.WaitForOut("\"programNum\":7")) << watch.Out();
    for (ChildProcess* command : {&watch, &listen}) {
        EXPECT_THAT(command->Out(), Not(HasSubstr("4242")));
        EXPECT_EQ(Lines(command->Err()), 1) << command->Err();
        command->Signal(SIGINT);
        EXPECT_EQ(command->Wait(), 0);
    }
}

// From the name's owner, a malformed signal is one line on stderr and skipped.
TEST(CliListening, SkipsAMalformedSignalOfTheOwnerWithOneLine) {
    PrivateBus bus;
    const Peer owner(bus);
    ASSERT_TRUE(owner.OwnServiceName());
    ChildProcess watch({"watch"}, OnBus(bus));
    ChildProcess listen({"listen", "--json"}, OnBus(bus));
    ASSERT_TRUE(watch.WaitForErr("watching CatalogueChanged from")) << watch.Err();
    ASSERT_TRUE(listen.WaitForErr("listening ")) << listen.Err();
    owner.EmitBody(trevalo_bus::kCatalogueChanged, "[]");
    owner.EmitBody(trevalo_bus::kCatalogueChanged, R"({"programNum":"seven"})");
    owner.EmitBody(trevalo_bus::kTrevaloSignal, "{not JSON");
    owner.Emit(trevalo_bus::kInterface, trevalo_bus::kTrevaloSignal, g_variant_new("(i)", 7));
    owner.EmitBody(trevalo_bus::kTrevaloSignal, R"({"after":1})");
    ASSERT_TRUE(listen.WaitForOut(R"("body":{"after":1})")) << listen.Out() << listen.Err();
    ASSERT_TRUE(watch.WaitForErr("\"seven\"")) << watch.Err();
    EXPECT_EQ(Lines(listen.Out()), 1) << listen.Out();
    const std::string listen_said = listen.Err();
    EXPECT_EQ(Lines(listen_said), 3) << listen_said;
    EXPECT_THAT(listen_said, HasSubstr("skipped TrevaloSignal: "));
    const std::string watch_said = watch.Err();
    EXPECT_THAT(watch_said, HasSubstr("trevalo-cli: watch: skipped a CatalogueChanged without a "
                                      "programme number: []\n"));
    EXPECT_EQ(Lines(watch_said), 3) << watch_said;
    for (ChildProcess* command : {&watch, &listen}) {
        command->Signal(SIGINT);
        EXPECT_EQ(command->Wait(), 0);
    }
}

// A recording of programme 7 whose PMT has `version`, written aside and renamed into place.
std::string WriteRecording(const PrivateBus& bus, uint8_t version = 1) {
    const std::string path = bus.Directory() + "/recording.ts";
    const ts_test::Bytes pat = ts_test::MakePatSection(1, 0, {{7, 0x100}});
    const ts_test::Bytes pmt = ts_test::MakePmtSection(7, version, {{0x1B, 0x101}});
    uint8_t pat_counter = 0;
    uint8_t pmt_counter = 0;
    std::vector<ts_test::Bytes> parts;
    for (int i = 0; i < 2; ++i) {
        parts.push_back(ts_test::Packetize(pat, 0, pat_counter));
        parts.push_back(ts_test::Packetize(pmt, 0x100, pmt_counter));
    }
    parts.push_back(ts_test::Packetize(pat, 0, pat_counter));
    const ts_test::Bytes stream = ts_test::Concat(parts);
    std::ofstream(path + ".new", std::ios::binary)
        .write(reinterpret_cast<const char*>(stream.data()),
               static_cast<std::streamsize>(stream.size()));
    EXPECT_EQ(rename((path + ".new").c_str(), path.c_str()), 0);
    return path;
}

// Nobody to start: the follower waits, saying so once, and fills the service once it is there.
TEST(CliFollowing, WaitsForAServiceNotThereYetAndFillsIt) {
    PrivateBus bus;
    ChildProcess follower({"pmt", WriteRecording(bus), "--follow"}, OnBus(bus));
    ASSERT_TRUE(follower.WaitForErr(kWaiting)) << follower.Err();
    test_support::ServiceProcess service(bus, TREVALO_SERVICE_BINARY);
    ASSERT_TRUE(follower.WaitForOut("PMT version 1")) << follower.Out() << follower.Err();
    EXPECT_THAT(follower.Out(), HasSubstr("catalogue rebuilt"));
    follower.Signal(SIGINT);
    EXPECT_EQ(follower.Wait(), 0);
    const std::string said = follower.Err();
    EXPECT_EQ(Lines(said), 1) << said;
    EXPECT_EQ(service.Stop(SIGTERM), 0);
}

// A bus that starts the service on a request: the follower's first request starts it; stopped,
// it stays stopped under the follower, a listener that heard it and a watcher and a listener
// that came later, until a request starts it again; the follower then fills the new instance.
TEST(CliFollowing, AStoppedServiceStaysStoppedUntilARequest) {
    test_support::TemporaryDirectory services("trevalo-services");
    std::ofstream(services.Path() + "/trevalo.service")
        << "[D-BUS Service]\nName=" << trevalo_bus::kBusName << "\nExec=" << TREVALO_SERVICE_BINARY
        << "\n";
    PrivateBus bus("<type>session</type><servicedir>" + services.Path() +
                   "</servicedir><policy context=\"default\"><allow send_destination=\"*\"/>"
                   "<allow receive_sender=\"*\"/>"
                   "<allow own=\"*\"/></policy>");
    ChildProcess follower({"pmt", WriteRecording(bus), "--follow"}, OnBus(bus));
    ASSERT_TRUE(follower.WaitForOut("PMT version 1")) << follower.Err() << bus.Log();
    ChildProcess listen({"listen"}, OnBus(bus));
    ASSERT_TRUE(listen.WaitForErr("listening ")) << listen.Err();
    ASSERT_TRUE(test_support::StopProcess(bus.OwnerPid(trevalo_bus::kBusName)));
    ASSERT_TRUE(follower.WaitForErr(kWaiting)) << follower.Err();
    ChildProcess later_watch({"watch"}, OnBus(bus));
    ChildProcess later_listen({"listen"}, OnBus(bus));
    ASSERT_TRUE(later_watch.WaitForErr(kWaiting)) << later_watch.Err();
    ASSERT_TRUE(later_listen.WaitForErr(kWaiting)) << later_listen.Err();
    // Several of their turns go by: nobody starts the service.
    usleep(1000 * 1000);
    EXPECT_EQ(bus.OwnerPid(trevalo_bus::kBusName), -1) << bus.Log();
    // Its first request started the service: no wait then, one now.
    const std::string said = follower.Err();
    EXPECT_EQ(said.find(kWaiting), said.rfind(kWaiting)) << said;

    const test_support::ChildResult asked = test_support::RunCli({"time", "get"}, OnBus(bus));
    EXPECT_EQ(asked.status, 0) << asked.err;
    ASSERT_TRUE(follower.WaitForOut("(no component changed)")) << follower.Out() << follower.Err();
    EXPECT_EQ(test_support::RunCli({"pid", "255"}, OnBus(bus)).out, "257\n");
    EXPECT_TRUE(later_watch.WaitForErr("watching ")) << later_watch.Err();
    EXPECT_TRUE(later_listen.WaitForErr("listening ")) << later_listen.Err();
    for (ChildProcess* command : {&follower, &listen, &later_watch, &later_listen}) {
        command->Signal(SIGINT);
        EXPECT_EQ(command->Wait(), 0);
    }
    EXPECT_TRUE(test_support::StopProcess(bus.OwnerPid(trevalo_bus::kBusName)));
}

// Output that cannot be written (a full disk) is one line and status 2, not a silent success.
TEST_F(ServiceOnBus, OutputThatCannotBeWrittenIs2WithOneLine) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"catalogue"}, {"--help"}, {"time", "get"}}) {
        SCOPED_TRACE(words.front());
        ChildOptions options = OnBus(*bus_);
        options.program = "/bin/sh";
        std::vector<std::string> arguments = {"-c", "exec \"$0\" \"$@\" >/dev/full",
                                              TREVALO_CLI_BINARY};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const test_support::ChildResult result = test_support::RunCli(arguments, options);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.err, ::testing::StartsWith("trevalo-cli: "));
        EXPECT_THAT(result.err, HasSubstr("cannot write to standard output: "));
        EXPECT_EQ(Lines(result.err), 1) << result.err;
    }
}

// Both programs say their version; the service starts on no argument it does not know.
TEST(Programs, AnswerVersionAndTheServiceRefusesOtherArguments) {
    for (const char* program : {TREVALO_CLI_BINARY, TREVALO_SERVICE_BINARY}) {
        ChildOptions options;
        options.program = program;
        const test_support::ChildResult version = test_support::RunCli({"--version"}, options);
        EXPECT_EQ(version.status, 0);
        EXPECT_THAT(version.out, ::testing::MatchesRegex("trevalo[-_a-z]+ [0-9.]+\n"));
    }
    ChildOptions service;
    service.program = TREVALO_SERVICE_BINARY;
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--frob"}, {"--help", "now"}, {"serve"}}) {
        const test_support::ChildResult refused = test_support::RunCli(arguments, service);
        EXPECT_EQ(refused.status, 2);
        EXPECT_THAT(refused.err, ::testing::StartsWith("trevalo_service: unexpected argument '"));
        EXPECT_EQ(Lines(refused.err), 1) << refused.err;
    }
}

// A followed recording deleted is said once; one renamed over it is read from the start.
TEST_F(ServiceOnBus, AFollowerSaysWhenItsRecordingGoesAndReadsTheOneInItsPlace) {
    const std::string path = WriteRecording(*bus_, 1);
    ChildProcess follower({"pmt", path, "--follow"}, OnBus(*bus_));
    ASSERT_TRUE(follower.WaitForOut("PMT version 1")) << follower.Err();
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_TRUE(follower.WaitForErr("recording.ts was deleted: waiting")) << follower.Err();
    WriteRecording(*bus_, 2);
    ASSERT_TRUE(follower.WaitForErr("was replaced: reading the new file from the start"))
        << follower.Err();
    EXPECT_TRUE(follower.WaitForOut("PMT version 2")) << follower.Out();
    follower.Signal(SIGINT);
    EXPECT_EQ(follower.Wait(), 0);
    EXPECT_EQ(Lines(follower.Err()), 2) << follower.Err();
}

// Inputs that never end: Ctrl-C before any byte ends a follower with 0 and no word, and a device
// that shows no PAT is said once, by pmt and by programmes.
TEST_F(ServiceOnBus, InputsThatNeverEndAreInterruptedWith0AndTheirMissingPatSaid) {
    const std::string fifo = bus_->Directory() + "/tuner";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    ChildOptions quiet = OnBus(*bus_);
    quiet.program = "/bin/sh";
    // Opened for reading and writing: no end of input ever comes. The line on stderr says the
    // client runs and waits.
    ChildProcess follower(
        {"-c", "echo started >&2; exec \"$0\" pmt - --follow 0<>\"$1\"", TREVALO_CLI_BINARY, fifo},
        quiet);
    ASSERT_TRUE(follower.WaitForErr("started\n"));
    // Its connection on the bus shows it has come as far as waiting for input.
    const Peer observer(*bus_);
    const int turns = test_support::Scaled(10000) / 10;
    for (int turn = 0; observer.UniqueNameOf(follower.Pid()).empty() && turn < turns; ++turn) {
        usleep(10 * 1000);
    }
    follower.Signal(SIGINT);
    EXPECT_EQ(follower.Wait(), 0);
    EXPECT_EQ(follower.Err(), "started\n");

    ChildOptions impatient = OnBus(*bus_);
    impatient.environment.push_back("TREVALO_CLI_PAT_PATIENCE_MS=100");
    for (const char* command : {"pmt", "programmes"}) {
        ChildProcess reader({command, "/dev/urandom"}, impatient);
        EXPECT_TRUE(reader.WaitForErr("; still reading (Ctrl-C stops)\n")) << reader.Err();
        reader.Signal(SIGKILL);
        reader.Wait();
        EXPECT_EQ(Lines(reader.Err()), 1) << reader.Err();
        EXPECT_EQ(reader.Err().rfind(
                      std::string("trevalo-cli: ") + command + ": no PAT in the first ", 0),
                  0u)
            << reader.Err();
    }
}

}  // namespace
