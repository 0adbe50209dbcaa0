// The installed system-bus policy on a private bus that denies by default, as a system bus does:
// the service's own system user owns the name, no other user can (root included); a member of
// the client group calls every method; any other user reads the catalogue, introspects the
// object and hears the signals, and is refused requests.
#include <gmock/gmock.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <memory>

#include "child_process.h"
#include "installed_tree.h"
#include "test_data.h"
#include "trevalo/bus_contract.h"

namespace {

using ActivatingBus = test_support::PrivateBus;
using activation_test::kSystemBusDefaults;
using activation_test::SharedInstall;
using test_support::ChildOptions;
using test_support::ChildProcess;
using test_support::ChildResult;
using test_support::ReadText;
using ::testing::HasSubstr;
using trevalo_bus::kBusName;

constexpr const char kServiceUser[] = "trevalo_service";
constexpr const char kOtherUser[] = "nobody";
constexpr const char kClientGroup[] = "trevalo";
// A player's user admitted as the README says, with a sysusers.d "m" line.
constexpr const char kPlayerUser[] = "trevalo_test_player";

struct User {
    int uid = -1;
    int gid = -1;
};

User FindUser(const char* name) {
    const passwd* entry = getpwnam(name);
    return entry == nullptr
               ? User{}
               : User{static_cast<int>(entry->pw_uid), static_cast<int>(entry->pw_gid)};
}

uid_t OwnerOfProcess(pid_t pid) {
    struct stat status {};
    return stat(("/proc/" + std::to_string(pid)).c_str(), &status) == 0 ? status.st_uid : -1;
}

class SystemBusPolicy : public ::testing::Test {
  protected:
    void SetUp() override {
        if (getuid() != 0) {
            GTEST_SKIP() << "needs root: it creates the service's system user with "
                            "systemd-sysusers and runs the service and clients as other users";
        }
        ASSERT_TRUE(SharedInstall().Succeeded()) << SharedInstall().Log();
        // What installing the package does: create the user from the installed entry.
        const std::string sysusers = "systemd-sysusers '" + SharedInstall().Prefix() +
                                     "/lib/sysusers.d/trevalo_service.conf'";
        ASSERT_EQ(std::system(sysusers.c_str()), 0) << sysusers;
        const std::string player = SharedInstall().Prefix() + "/player.conf";
        std::ofstream(player) << "u " << kPlayerUser << " - \"trevalo_service test player\" - -\n"
                              << "m " << kPlayerUser << " " << kClientGroup << "\n";
        ASSERT_EQ(std::system(("systemd-sysusers '" + player + "'").c_str()), 0);
        m_Service = FindUser(kServiceUser);
        m_Other = FindUser(kOtherUser);
        m_Player = FindUser(kPlayerUser);
        const group* clients = getgrnam(kClientGroup);
        ASSERT_NE(clients, nullptr) << "systemd-sysusers made no group " << kClientGroup;
        m_Player.gid = static_cast<int>(clients->gr_gid);  // the child keeps no other groups
        ASSERT_GT(m_Service.uid, 0) << "systemd-sysusers made no user " << kServiceUser;
        ASSERT_GT(m_Other.uid, 0);
        ASSERT_GT(m_Player.uid, 0);
        // The bus reads the policy now that its users and group exist.
        m_Bus = std::make_unique<ActivatingBus>(
            kSystemBusDefaults +
            ("<includedir>" + SharedInstall().Prefix() + "/share/dbus-1/system.d</includedir>"));
        // The temporary directories are root's alone; the other users must reach the programs
        // and the bus socket.
        ASSERT_EQ(chmod(SharedInstall().Prefix().c_str(), 0755), 0);
        ASSERT_TRUE(m_Bus->Started()) << "the daemon refused the installed policy:\n"
                                      << m_Bus->Log();
        ASSERT_EQ(chmod(m_Bus->Directory().c_str(), 0755), 0);
    }

    ChildOptions As(const User& user, const std::string& program = "") const {
        ChildOptions options;
        options.program = program.empty() ? SharedInstall().Prefix() + "/bin/trevalo-cli" : program;
        options.environment = {"DBUS_SESSION_BUS_ADDRESS=" + m_Bus->Address()};
        options.uid = user.uid;
        options.gid = user.gid;
        return options;
    }
    std::string ServiceProgram() const {
        return SharedInstall().Prefix() + "/libexec/trevalo_service";
    }

    pid_t WaitForOwner() const {
        pid_t owner = -1;
        for (int i = 0; i < 500 && owner <= 0; ++i) {
            owner = m_Bus->OwnerPid(kBusName);
            if (owner <= 0) usleep(10000);
        }
        return owner;
    }

    std::unique_ptr<ActivatingBus> m_Bus;
    User m_Service;
    User m_Other;
    User m_Player;
};

TEST_F(SystemBusPolicy, NoUserButTheServicesOwnsTheName) {
    std::string error;
    EXPECT_FALSE(m_Bus->RequestName(kBusName, error));  // we are root
    EXPECT_THAT(error, HasSubstr("AccessDenied"));

    const ChildResult other = test_support::RunCli({}, As(m_Other, ServiceProgram()));
    EXPECT_EQ(other.status, 255);
    EXPECT_THAT(other.err,
                HasSubstr("cannot request " + std::string(kBusName) + ": Permission denied"));

    ChildProcess service({}, As(m_Service, ServiceProgram()));
    const pid_t owner = WaitForOwner();
    ASSERT_GT(owner, 0) << service.Err() << m_Bus->Log();
    EXPECT_EQ(OwnerOfProcess(owner), static_cast<uid_t>(m_Service.uid));
    service.Signal(SIGTERM);
    EXPECT_EQ(service.Wait(), 0) << service.Err();
}

TEST_F(SystemBusPolicy, AMemberCallsEveryMethodAnotherUserReadsIntrospectsAndHears) {
    ChildProcess service({}, As(m_Service, ServiceProgram()));
    ASSERT_GT(WaitForOwner(), 0) << service.Err() << m_Bus->Log();
    // Outside the group, trevalo-cli listen waits for the service by following its name's owner.
    ChildProcess cli_listener({"listen"}, As(m_Other));
    ASSERT_TRUE(cli_listener.WaitForErr("listening for TrevaloSignal")) << cli_listener.Err();
    ChildProcess listener({"monitor", "--address", m_Bus->Address(), "--dest", kBusName},
                          As(m_Other, "/usr/bin/gdbus"));
    ASSERT_TRUE(listener.WaitForOut("is owned by")) << listener.Out() << listener.Err();
    // gdbus monitor says that line before its match reaches the bus: the signals it hears from
    // a probe on are those of the calls below.
    bool heard = false;
    for (int probe = 0; !heard && probe < 50; ++probe) {
        test_support::RunCli({"call", "SendPESDataWithFirstPTS", "--data", R"({"probe":1})"},
                             As(m_Player));
        heard = listener.WaitForOut(R"({"data":{"probe":1})", 200);
    }
    ASSERT_TRUE(heard) << listener.Out();

    struct Call {
        const char* method;
        const char* data;
        std::string buffer;
        const char* answer;
    };
    const std::string section =
        ReadText(test_support::TestDataPath("pmt/test-020.p8803.v13.2.sec"));  // two audio tracks
    const Call calls[] = {
        {"SendPMTData", R"({"reset":true,"programNum":8803})", section, R"({"return_data":0})"},
        {"SizeOfAudio", nullptr, "", R"({"return_data":2})"},
        {"SizeOfVideo", nullptr, "", R"({"return_data":1})"},
        {"SizeOfSubtitle", nullptr, "", R"({"return_data":2})"},
        {"GetAudio", "0", "", R"("call_api_success":true)"},
        {"GetVideo", "0", "", R"("call_api_success":true)"},
        {"GetSubtitle", "0", "", R"("call_api_success":true)"},
        {"GetPID", "3", "", R"({"return_data":342})"},
        {"SaveCurrentVideoPlayingTime", nullptr, std::string("\x10\x27\0\0", 4),
         R"({"return_data":0})"},
        {"GetCurrentVideoPlayingTime", nullptr, "", R"({"return_data":0})"},
        {"SendPESDataWithFirstPTS", R"({"from":"a member"})", "", R"({"return_data":""})"},
    };
    for (const Call& call : calls) {
        SCOPED_TRACE(call.method);
        std::vector<std::string> arguments = {"call", call.method};
        if (call.data != nullptr) arguments.insert(arguments.end(), {"--data", call.data});
        ChildOptions options = As(m_Player);
        if (!call.buffer.empty()) {
            arguments.insert(arguments.end(), {"--buffer-file", "-"});
            options.input = call.buffer;
        }
        const ChildResult result = test_support::RunCli(arguments, options);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_THAT(result.out, HasSubstr(call.answer));
    }

    // Outside the group: the catalogue and the introspection data, but no request.
    const std::string object[] = {"--address=" + m_Bus->Address(), kBusName,
                                  trevalo_bus::kObjectPath};
    const struct {
        std::vector<std::string> arguments;
        const char* out;
    } reads[] = {
        {{"get-property", object[0], object[1], object[2], trevalo_bus::catalogue::kInterface,
          trevalo_bus::catalogue::kProgramNumber, trevalo_bus::catalogue::kPmtVersion},
         "q 8803\ni 13\n"},
        {{"call", object[0], object[1], object[2], trevalo_bus::catalogue::kInterface,
          trevalo_bus::catalogue::kGetPid, "y", "3"},
         "q 342\n"},
    };
    for (const auto& read : reads) {
        const ChildResult result =
            test_support::RunCli(read.arguments, As(m_Other, "/usr/bin/busctl"));
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, read.out);
    }
    const ChildResult refused = test_support::RunCli({"call", "SizeOfAudio"}, As(m_Other));
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("AccessDenied"));
    EXPECT_THAT(refused.err,
                HasSubstr("membership of group trevalo; anyone may read the catalogue"));

    const ChildResult introspected =
        test_support::RunCli({"introspect", "--address", m_Bus->Address(), "--dest", kBusName,
                              "--object-path", trevalo_bus::kObjectPath},
                             As(m_Other, "/usr/bin/gdbus"));
    EXPECT_EQ(introspected.status, 0) << introspected.err;
    EXPECT_THAT(introspected.out, HasSubstr(std::string("interface ") + trevalo_bus::kInterface));

    EXPECT_TRUE(listener.WaitForOut(R"(TrevaloSignal ('{"data":{"from":"a member"})"))
        << listener.Out();
    EXPECT_THAT(listener.Out(), HasSubstr(".PropertiesChanged ('" +
                                          std::string(trevalo_bus::catalogue::kInterface) +
                                          "', {'ProgramNumber': <uint16 8803>"));
    EXPECT_TRUE(cli_listener.WaitForOut(R"(TrevaloSignal {"data":{"from":"a member"})"))
        << cli_listener.Out();
    cli_listener.Signal(SIGTERM);
    listener.Signal(SIGTERM);
    service.Signal(SIGTERM);
    EXPECT_EQ(service.Wait(), 0) << service.Err();
}

}  // namespace
