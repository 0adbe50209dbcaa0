// trevalo-cli against the real service on a private bus: the table of a programme sent, lookups,
// the playing time, signals, and following a stream as it changes.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <sstream>

#include "child_process.h"
#include "pmt_section_builder.h"
#include "service_on_bus.h"
#include "stream_builder.h"

namespace {

using test_support::ChildProcess;
using test_support::ChildResult;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

std::string MultiProgramme() {
    return test_support::TestDataPath("ts/multi-programme-ac3-subtitles.ts");
}

class CliWithService : public ServiceOnBus {
  protected:
    test_support::ChildOptions Options(const std::string& input = "") const {
        test_support::ChildOptions options;
        options.environment = {"DBUS_SESSION_BUS_ADDRESS=" + bus_->Address()};
        options.input = input;
        return options;
    }
    ChildResult Cli(const std::vector<std::string>& arguments, const std::string& input = "") {
        return test_support::RunCli(arguments, Options(input));
    }

    std::string WriteFile(const std::string& name, const ts_test::Bytes& bytes) {
        const std::string path = bus_->Directory() + "/" + name;
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        return path;
    }

    // The catalogue read over a bare connection, in the shape of "catalogue --json".
    Json::Value CatalogueSeenDirectly() {
        Json::Value document(Json::objectValue);
        const std::pair<const char*, const char*> kinds[] = {
            {"video", "Video"}, {"audio", "Audio"}, {"subtitle", "Subtitle"}};
        for (const auto& [key, method] : kinds) {
            Json::Value& list = document[key] = Json::Value(Json::arrayValue);
            const test_support::Reply size =
                client_->Request(std::string(R"({"method":"SizeOf)") + method + "\"}");
            const unsigned count = test_support::ParseJson(size.body)["return_data"].asUInt();
            for (unsigned i = 0; i < count; ++i) {
                const test_support::Reply entry =
                    client_->Request(std::string(R"({"method":"Get)") + method + R"(","data":)" +
                                     std::to_string(i) + "}");
                list.append(test_support::ParseJson(
                    test_support::ParseJson(entry.body)["return_data"].asString()));
            }
        }
        return document;
    }
};

// A stream of programme 7 whose PMT goes from `first` to `second`: six packets of each, the
// PAT and the PMT twice, then the PAT twice more.
ts_test::Bytes ChangingStream(const ts_test::Bytes& first, const ts_test::Bytes& second) {
    uint8_t pat_counter = 0;
    uint8_t pmt_counter = 0;
    const ts_test::Bytes pat = ts_test::MakePatSection(1, 0, {{7, 0x100}});
    std::vector<ts_test::Bytes> parts;
    for (const ts_test::Bytes* pmt : {&first, &second}) {
        for (int i = 0; i < 2; ++i) {
            parts.push_back(ts_test::Packetize(pat, 0, pat_counter));
            parts.push_back(ts_test::Packetize(*pmt, 0x100, pmt_counter));
        }
        parts.push_back(ts_test::Packetize(pat, 0, pat_counter));
        parts.push_back(ts_test::Packetize(pat, 0, pat_counter));
    }
    return ts_test::Concat(parts);
}

// Programme 8803 of the capture, as the catalogue interface tells it (with what each track is for)
// and as a service without it does.
const char kTableWithRoles[] =
    "KIND      #  PID           TAG  ENCODING  LANG  ROLE                FLAGS\n"
    "video     0  310 (0x0136)  0    AVC (1)   -     -\n"
    "audio     0  321 (0x0141)  1    AC-3 (0)  fra   main, multichannel\n"
    "audio     1  322 (0x0142)  2    AC-3 (0)  eng   main, stereo\n"
    "subtitle  0  342 (0x0156)  3    -         fra   -\n"
    "subtitle  1  343 (0x0157)  4    -         fra   hard of hearing\n";
const char kTableWithoutRoles[] =
    "KIND      #  PID           TAG  ENCODING  LANG  FLAGS\n"
    "video     0  310 (0x0136)  0    AVC (1)   -\n"
    "audio     0  321 (0x0141)  1    AC-3 (0)  fra\n"
    "audio     1  322 (0x0142)  2    AC-3 (0)  eng\n"
    "subtitle  0  342 (0x0156)  3    -         fra\n"
    "subtitle  1  343 (0x0157)  4    -         fra\n";

TEST_F(CliWithService, PrintsTheTableOfAKnownProgrammeAndLooksUpItsTags) {
    const ChildResult sent = Cli({"pmt", MultiProgramme(), "--program", "8803"});
    ASSERT_EQ(sent.status, 0) << sent.err;
    const std::string table = kTableWithRoles;
    EXPECT_EQ(sent.out,
              "programme 8803: PMT version 13 on PID 300 (0x012C), 96 bytes: catalogue rebuilt\n" +
                  table);
    EXPECT_EQ(Cli({"catalogue"}).out, table);
    const ChildResult json = Cli({"pmt", MultiProgramme(), "--program", "8803", "--json"});
    EXPECT_EQ(json.status, 0) << json.err;
    Json::Value expected = test_support::ParseJson(
        R"({"program_num":8803,"pmt_pid":300,"version":13,"section_bytes":96,"answer":0})");
    expected["catalogue"] = CatalogueSeenDirectly();
    EXPECT_EQ(test_support::ParseJson(json.out), expected) << json.out;

    for (const auto& [tag, pid] : {std::pair<const char*, const char*>{"0", "310\n"},
                                   {"1", "321\n"},
                                   {"0x3", "342\n"},
                                   {"4", "343\n"}}) {
        const ChildResult found = Cli({"pid", tag});
        EXPECT_EQ(found.status, 0) << tag;
        EXPECT_EQ(found.out, pid) << tag;
    }
    const ChildResult missing = Cli({"pid", "255"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, "");
    EXPECT_EQ(missing.err, "trevalo-cli: pid: no component carries tag 255\n");
}

TEST_F(CliWithService, SavesAndReadsThePlayingTime) {
    const ChildResult saved = Cli({"time", "save", "5000"});
    EXPECT_EQ(saved.status, 0) << saved.err;
    EXPECT_EQ(saved.out, "");
    const ChildResult read = Cli({"time", "get"});
    ASSERT_EQ(read.status, 0) << read.err;
    const unsigned long now = std::stoul(read.out);
    EXPECT_GE(now, 5000u);
    EXPECT_LT(now, 5000u + 60000u);
}

TEST(CliListen, WaitsForTheServiceSayingSoOnceThenPrintsItsSignals) {
    test_support::PrivateBus bus;
    test_support::ChildOptions options;
    options.environment = {"DBUS_SESSION_BUS_ADDRESS=" + bus.Address()};
    ChildProcess listener({"listen"}, options);
    ChildProcess json({"listen", "--json"}, options);
    const std::string waiting =
        "trevalo-cli: listen: waiting for org.ondrel.TCServer.trevalo_service to appear";
    ASSERT_TRUE(listener.WaitForErr(waiting)) << listener.Err();

    test_support::ServiceProcess service(bus, TREVALO_SERVICE_BINARY);
    ASSERT_TRUE(listener.WaitForErr("listening for TrevaloSignal")) << listener.Err();
    ASSERT_TRUE(json.WaitForErr("listening for TrevaloSignal")) << json.Err();
    test_support::RawClient client(bus);
    client.Request(R"({"method":"SendPESDataWithFirstPTS","data":{"pts":900000}})",
                   {0x00, 0x01, 0xBD});
    EXPECT_TRUE(listener.WaitForOut(
        "TrevaloSignal {\"data\":{\"pts\":900000},\"method\":\"SendPESDataWithFirstPTS\"} "
        "buffer (3 bytes): 00 01 bd\n"))
        << listener.Out();
    EXPECT_TRUE(json.WaitForOut(
        R"({"body":{"data":{"pts":900000},"method":"SendPESDataWithFirstPTS"},"buffer":"0001bd",)"
        R"("signal":"TrevaloSignal"})"
        "\n"))
        << json.Out();
    listener.Signal(SIGINT);
    EXPECT_EQ(listener.Wait(), 0);
    const std::string said = listener.Err();
    EXPECT_EQ(said.find(waiting), said.rfind(waiting)) << said;
    EXPECT_EQ(service.Stop(SIGTERM), 0);
}

// What watch, watch --json, catalogue and catalogue --json print, the service's log while pmt
// ran, and its log after that.
struct Printed {
    std::string watch_table, watch_json, table, json, pmt_log, log;
};

// The same catalogue from the catalogue interface (no request after the PMT's) and from a
// service without it or "GetCatalogue" (the per-entry queries): the same text from every command,
// but for the ROLE column, which only the interface can fill.
TEST_F(CliWithService, PrintsTheSameWithTheCatalogueInterfaceAsWithoutIt) {
    const auto print = [&](const std::string& watching) {
        ChildProcess table({"watch"}, Options());
        ChildProcess json({"watch", "--json"}, Options());
        for (ChildProcess* watcher : {&table, &json}) {
            EXPECT_TRUE(watcher->WaitForErr("watching " + watching + " from")) << watcher->Err();
        }
        const size_t before_pmt = service_->Log().size();
        EXPECT_EQ(Cli({"pmt", MultiProgramme(), "--program", "8803"}).status, 0);
        const size_t after_pmt = service_->Log().size();
        EXPECT_TRUE(json.WaitForOut("\n")) << json.Out();
        EXPECT_TRUE(table.WaitForOut("programme 8803: 1 video, 2 audio, 2 subtitle\n"))
            << table.Out();
        EXPECT_TRUE(table.WaitForOut("\n\n")) << table.Out();
        for (ChildProcess* watcher : {&table, &json}) {
            watcher->Signal(SIGINT);
            EXPECT_EQ(watcher->Wait(), 0);
        }
        const std::string pmt_log = service_->Log().substr(before_pmt, after_pmt - before_pmt);
        return Printed{table.Out(),
                       json.Out(),
                       Cli({"catalogue"}).out,
                       Cli({"catalogue", "--json"}).out,
                       pmt_log,
                       service_->Log().substr(after_pmt)};
    };
    const Printed typed = print(trevalo_bus::catalogue::kInterface);
    // pmt's one request is the section: the catalogue comes from the interface.
    EXPECT_THAT(typed.pmt_log, HasSubstr("\"method\":\"SendPMTData\""));
    EXPECT_THAT(typed.pmt_log, Not(HasSubstr("\"method\":\"SizeOf")));
    EXPECT_THAT(typed.pmt_log, Not(HasSubstr("\"method\":\"GetCatalogue\"")));
    EXPECT_THAT(typed.log, Not(HasSubstr("IfMessageReceived")));
    Json::Value expected = CatalogueSeenDirectly();
    EXPECT_EQ(test_support::ParseJson(typed.json), expected);
    expected["programNum"] = 8803;
    EXPECT_EQ(test_support::ParseJson(typed.watch_json), expected) << typed.watch_json;

    ASSERT_EQ(service_->Stop(SIGTERM), 0);
    service_ =
        std::make_unique<test_support::ServiceProcess>(*bus_, SERVICE_BEFORE_CATALOGUE_BINARY);
    ASSERT_TRUE(service_->WaitForName(trevalo_bus::kBusName)) << service_->Log();
    const Printed older = print(trevalo_bus::kCatalogueChanged);
    EXPECT_THAT(older.log, HasSubstr("] There is no matched method\n"));
    EXPECT_THAT(older.log, HasSubstr("\"method\":\"SizeOfAudio"));
    // The same but for the roles, which only the interface tells.
    EXPECT_THAT(typed.watch_table, EndsWith(std::string("\n") + kTableWithRoles + "\n"));
    EXPECT_THAT(older.watch_table, EndsWith(std::string("\n") + kTableWithoutRoles + "\n"));
    EXPECT_EQ(typed.table, kTableWithRoles);
    EXPECT_EQ(older.table, kTableWithoutRoles);
    EXPECT_EQ(typed.watch_json, older.watch_json);
    EXPECT_EQ(typed.json, older.json);
}

// What each new version changed, as a recording being written grows.
// watch prints a catalogue each time it or its programme changed, from the interface's changed
// values or on CatalogueChanged alike: not for a section resent, nor for a new version alone.
TEST_F(CliWithService, WatchPrintsEachChangedCatalogueOnce) {
    const test_support::Bytes ac3 = test_support::ReadTestData("pmt/test-020.p8803.v13.2.sec");
    const struct {
        int program;
        test_support::Bytes section;
        bool printed;  // awaited before the next: announcements close together print as one
    } sends[] = {
        {8803, ac3, true},
        {8803, ac3, false},
        {8803, pmt_test::Renumbered(ac3, 8803, 14), false},
        {8805, pmt_test::Renumbered(ac3, 8805, 14), true},
        {4006, test_support::ReadTestData("pmt/test-012.p4006.v2.0.sec"), true},
    };
    const auto watch = [&](const std::string& watching) {
        ChildProcess watcher({"watch", "--json"}, Options());
        EXPECT_TRUE(watcher.WaitForErr("watching " + watching + " from")) << watcher.Err();
        for (const auto& send : sends) {
            const std::string program = std::to_string(send.program);
            Call(R"({"method":"SendPMTData","data":{"reset":false,"programNum":)" + program + "}}",
                 send.section);
            if (send.printed) {
                EXPECT_TRUE(watcher.WaitForOut("\"programNum\":" + program)) << watcher.Out();
            }
        }
        watcher.Signal(SIGINT);
        EXPECT_EQ(watcher.Wait(), 0);
        std::vector<Json::Value> lines;
        std::istringstream out(watcher.Out());
        for (std::string line; std::getline(out, line);) {
            lines.push_back(test_support::ParseJson(line));
        }
        return lines;
    };
    const std::vector<Json::Value> typed = watch(trevalo_bus::catalogue::kInterface);
    ASSERT_EQ(typed.size(), 3u);
    EXPECT_EQ(typed[0]["programNum"], 8803);
    EXPECT_EQ(typed[1]["programNum"], 8805);
    EXPECT_EQ(typed[2]["programNum"], 4006);
    Json::Value renumbered = typed[1];
    renumbered["programNum"] = 8803;
    EXPECT_EQ(renumbered, typed[0]);  // the lists the signal left out, as they were

    ASSERT_EQ(service_->Stop(SIGTERM), 0);
    service_ =
        std::make_unique<test_support::ServiceProcess>(*bus_, SERVICE_BEFORE_CATALOGUE_BINARY);
    ASSERT_TRUE(service_->WaitForName(trevalo_bus::kBusName)) << service_->Log();
    client_ = std::make_unique<test_support::RawClient>(*bus_);
    EXPECT_EQ(watch(trevalo_bus::kCatalogueChanged), typed);
}

TEST_F(CliWithService, FollowsAGrowingRecordingUntilInterrupted) {
    const ts_test::Bytes v1 = ts_test::MakePmtSection(7, 1, {{0x1B, 0x101}});
    const ts_test::Bytes v2 = ts_test::MakePmtSection(7, 2, {{0x02, 0x111}});
    const ts_test::Bytes stream = ChangingStream(v1, v2);
    // A recording being written: the packets of version 1 first, the rest some time later.
    const size_t half = stream.size() / 2;
    const std::string path =
        WriteFile("recording.ts", ts_test::Bytes(stream.begin(), stream.begin() + half));

    ChildProcess follower({"pmt", path, "--follow"}, Options());
    ASSERT_TRUE(follower.WaitForOut("PMT version 1")) << follower.Err();
    {
        std::ofstream append(path, std::ios::binary | std::ios::app);
        append.write(reinterpret_cast<const char*>(stream.data() + half),
                     static_cast<std::streamsize>(stream.size() - half));
    }
    ASSERT_TRUE(follower.WaitForOut("PMT version 2")) << follower.Out() << follower.Err();
    EXPECT_TRUE(follower.WaitForOut("+ video  0  273 (0x0111)")) << follower.Out();
    EXPECT_THAT(follower.Out(), HasSubstr("- video  0  257 (0x0101)"));
    EXPECT_EQ(Cli({"pid", "255"}).out, "273\n");  // the service holds version 2

    // Rewritten from the start, shorter: read again, its PMT sent.
    const ts_test::Bytes v3 = ts_test::MakePmtSection(7, 3, {{0x1B, 0x121}});
    const std::string rewritten = WriteFile("recording.ts.new", ChangingStream(v3, v3));
    ASSERT_EQ(truncate(path.c_str(), 0), 0);
    ASSERT_TRUE(follower.WaitForErr("was rewritten: reading it from the start")) << follower.Err();
    std::ofstream(path, std::ios::binary | std::ios::app)
        << std::ifstream(rewritten, std::ios::binary).rdbuf();
    EXPECT_TRUE(follower.WaitForOut("+ video  0  289 (0x0121)")) << follower.Out();
    follower.Signal(SIGINT);
    EXPECT_EQ(follower.Wait(), 0);
}

// The service restarted under a follower: the new instance gets the current PMT with reset,
// though the stream holds no new version.
TEST_F(CliWithService, RefillsARestartedServiceWhileFollowing) {
    const ts_test::Bytes v1 = ts_test::MakePmtSection(7, 1, {{0x1B, 0x101}});
    const std::string path = WriteFile("recording.ts", ChangingStream(v1, v1));
    ChildProcess follower({"pmt", path, "--follow"}, Options());
    ASSERT_TRUE(follower.WaitForOut("PMT version 1")) << follower.Err();
    ASSERT_EQ(service_->Stop(SIGTERM), 0);
    ASSERT_TRUE(follower.WaitForErr("left the bus or was restarted")) << follower.Err();
    StartService();
    ASSERT_TRUE(follower.WaitForOut("(no component changed)")) << follower.Out();
    EXPECT_EQ(Cli({"pid", "255"}).out, "257\n");
    EXPECT_THAT(service_->Log(), HasSubstr("reset parser"));
    follower.Signal(SIGINT);
    EXPECT_EQ(follower.Wait(), 0);
}

// Whoever listens learns that the bus is gone: one line, status 2.
TEST_F(CliWithService, ListenersEndWith2WhenTheBusGoes) {
    std::vector<std::unique_ptr<ChildProcess>> listeners;
    for (const char* command : {"watch", "listen"}) {
        listeners.push_back(std::make_unique<ChildProcess>(
            std::vector<std::string>{command, "--bus", bus_->Address()},
            test_support::ChildOptions()));
        ASSERT_TRUE(listeners.back()->WaitForErr("ing ")) << command;
    }
    // And a follower of a recording, which notices when it next asks who owns the name.
    const ts_test::Bytes v1 = ts_test::MakePmtSection(7, 1, {{0x1B, 0x101}});
    ChildProcess follower({"pmt", WriteFile("recording.ts", ChangingStream(v1, v1)), "--follow"},
                          Options());
    ASSERT_TRUE(follower.WaitForOut("PMT version 1")) << follower.Err();
    bus_->Kill();
    for (const auto& listener : listeners) {
        EXPECT_EQ(listener->Wait(), 2);
        EXPECT_THAT(listener->Err(), HasSubstr("\ntrevalo-cli: "));
        EXPECT_THAT(listener->Err(), EndsWith(": lost the connection to the bus at " +
                                              bus_->Address() + ": Connection reset by peer\n"));
    }
    EXPECT_EQ(follower.Wait(), 2);
    const std::string said = follower.Err();
    EXPECT_THAT(said, StartsWith("trevalo-cli: pmt: lost the connection to the session bus at " +
                                 bus_->Address() + ": "));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_EQ(service_->Wait(), 1);  // the service goes as well
    service_.reset();
}

// A hung service holds no command longer than --timeout.
TEST_F(CliWithService, AStoppedServiceEndsACommandAfterTheTimeout) {
    service_->Signal(SIGSTOP);
    const auto started = std::chrono::steady_clock::now();
    const ChildResult result = Cli({"--timeout", "0.5", "catalogue"});
    const auto took = std::chrono::steady_clock::now() - started;
    service_->Signal(SIGCONT);
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, StartsWith("trevalo-cli: catalogue: no answer from "));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_LT(took, std::chrono::milliseconds(test_support::Scaled(5000)));
}

TEST_F(CliWithService, FailureAnswersAre1AndSayWhy) {
    std::string text;
    while (text.size() < 50000) text += "This is a text file, not a transport stream. ";
    const std::string notes = WriteFile("notes.txt", ts_test::Bytes(text.begin(), text.end()));
    // Random bytes, one in 32 a sync byte; the capture cut inside the packet of 8803's PMT.
    const std::string noise = WriteFile("noise.ts", ts_test::Garbage(256 * 1024, 7));
    ts_test::Bytes capture = test_support::ReadFile(MultiProgramme());
    capture.resize(9 * 188 + 100);
    const std::string cut = WriteFile("cut.ts", capture);
    // Programme 7, then a PAT without it.
    uint8_t pat_counter = 0;
    uint8_t pmt_counter = 0;
    const std::string vanishing = WriteFile(
        "vanishing.ts",
        ts_test::Concat(
            {ts_test::Packetize(ts_test::MakePatSection(1, 0, {{7, 0x100}}), 0, pat_counter),
             ts_test::Packetize(ts_test::MakePmtSection(7, 1, {{0x1B, 0x101}}), 0x100, pmt_counter),
             ts_test::Packetize(ts_test::MakePatSection(1, 1, {{8, 0x100}}), 0, pat_counter),
             ts_test::Packetize(ts_test::MakePatSection(1, 1, {{8, 0x100}}), 0, pat_counter),
             ts_test::Packetize(ts_test::MakePatSection(1, 1, {{8, 0x100}}), 0, pat_counter)}));
    const std::pair<std::vector<std::string>, std::string> unusable[] = {
        {{"pmt", notes}, "no transport-stream packets in " + notes},
        {{"pmt", noise}, "no PAT in 262144 bytes of " + noise},  // sync bytes by chance
        {{"pmt", cut, "--program", "8803"},
         "no valid PMT of programme 8803 on PID 300 (0x012C) in " + cut},
        {{"pmt", vanishing, "--follow"}, "programme 7 is not in the PAT (programmes: 8) any more"},
    };
    ChildResult result;
    for (const auto& [arguments, reason] : unusable) {
        result = Cli(arguments);
        EXPECT_EQ(result.status, 1) << arguments[1];
        EXPECT_EQ(result.err, "trevalo-cli: pmt: " + reason + "\n");
    }

    uint8_t counter = 0;
    const std::string pat_only = WriteFile(
        "pat-only.ts", ts_test::Packetize(ts_test::MakePatSection(1, 0, {{7, 0x100}}), 0, counter));
    result = Cli({"pmt", pat_only});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "trevalo-cli: pmt: no valid PMT of programme 7 on PID 256 (0x0100) in " +
                              pat_only + "\n");

    result = Cli({"pmt", MultiProgramme(), "--program", "999"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("trevalo-cli: pmt: programme 999 is not in the PAT "
                                       "(programmes: 8801, 8802, 8803,"));

    // A PMT whose CRC holds but whose program_info_length runs past its end: the service says no
    // and keeps the catalogue it had.
    ASSERT_EQ(Cli({"pmt", MultiProgramme(), "--program", "8803"}).status, 0);
    ts_test::Bytes overrun = ts_test::MakePmtSection(7, 0, {{0x1B, 0x101}});
    pmt_test::SetLengthField(overrun, pmt_test::kProgramInfoLengthOffset, 0x3FF);
    pmt_test::RestampCrc(overrun);
    counter = 0;
    pmt_counter = 0;
    const std::string refused = WriteFile(
        "refused.ts", ts_test::Concat({ts_test::Packetize(
                                           ts_test::MakePatSection(1, 0, {{7, 0x100}}), 0, counter),
                                       ts_test::Packetize(overrun, 0x100, pmt_counter)}));
    result = Cli({"pmt", refused});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("trevalo-cli: pmt: the service refused the programme 7: "
                                       "PMT version 0 on PID 256 (0x0100)"));
    EXPECT_EQ(Cli({"pid", "1"}).out, "321\n");
}

}  // namespace
