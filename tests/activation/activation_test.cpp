// The installed service started by the bus on the first client call: on a session bus, on a
// bus without a type whose daemon carries another bus's address, and on a system-like bus under
// the installed policy.
#include <gmock/gmock.h>
#include <signal.h>
#include <stdio.h>
#include <unistd.h>

#include "child_process.h"
#include "installed_tree.h"
#include "trevalo/bus_contract.h"

namespace {

using ActivatingBus = test_support::PrivateBus;
using activation_test::RunsProgram;
using activation_test::SharedInstall;
using test_support::ChildResult;
using ::testing::HasSubstr;
using trevalo_bus::kBusName;

constexpr const char kPermissivePolicy[] =
    "<policy context=\"default\"><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
    "<allow own=\"*\"/></policy>";

// A permissive bus that knows the installed session service files.
std::string SessionBusConfig(bool typed) {
    return std::string(typed ? "<type>session</type>" : "") + "<servicedir>" +
           SharedInstall().Prefix() + "/share/dbus-1/services</servicedir>" + kPermissivePolicy;
}

ChildResult InstalledCli(const ActivatingBus& bus, const std::vector<std::string>& arguments) {
    test_support::ChildOptions options;
    options.program = SharedInstall().Prefix() + "/bin/trevalo-cli";
    std::vector<std::string> words = {"--bus", bus.Address()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return test_support::RunCli(words, options);
}

// The first call starts the installed service, which then owns the name and keeps serving.
void ExpectActivationOn(const ActivatingBus& bus) {
    ASSERT_TRUE(bus.Started()) << bus.Log();
    EXPECT_EQ(bus.OwnerPid(kBusName), -1);

    const ChildResult first = InstalledCli(bus, {"call", "SizeOfAudio"});
    EXPECT_EQ(first.status, 0) << first.err << bus.Log();
    EXPECT_EQ(first.out, "{\"return_data\":0}\n");

    const pid_t owner = bus.OwnerPid(kBusName);
    ASSERT_GT(owner, 0) << bus.Log();
    EXPECT_TRUE(RunsProgram(owner, SharedInstall().Prefix() + "/libexec/trevalo_service"));

    const ChildResult second = InstalledCli(bus, {"time", "save", "1234"});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(bus.OwnerPid(kBusName), owner);  // the same process, not a second start
    EXPECT_TRUE(test_support::StopProcess(owner));
}

class Activation : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(SharedInstall().Succeeded()) << SharedInstall().Log(); }
};

TEST_F(Activation, FirstCallStartsTheServiceOnASessionBus) {
    ActivatingBus bus(SessionBusConfig(true));
    ExpectActivationOn(bus);
}

TEST_F(Activation, TheServiceJoinsTheBusThatStartedItWhateverTheDaemonInherited) {
    // A bus without <type>session</type> gives its children only DBUS_STARTER_ADDRESS, and this
    // daemon's own DBUS_SESSION_BUS_ADDRESS leads nowhere: the child must not use it.
    ActivatingBus bus(SessionBusConfig(false),
                      {"DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/session-bus"});
    ExpectActivationOn(bus);
}

// The element of `interface` in introspection data; empty when there is none.
std::string InterfaceElement(const std::string& xml, const std::string& interface) {
    const size_t start = xml.find("<interface name=\"" + interface + "\">");
    const size_t end = xml.find("</interface>", start);
    return start == std::string::npos || end == std::string::npos ? std::string()
                                                                  : xml.substr(start, end - start);
}

TEST_F(Activation, TheInstalledInterfaceDescriptionsAreWhatTheServiceIntrospects) {
    ActivatingBus bus(SessionBusConfig(true));
    GDBusConnection* connection = test_support::ConnectToBus(bus.Address());
    ASSERT_NE(connection, nullptr) << bus.Log();
    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_sync(connection, kBusName, trevalo_bus::kObjectPath,
                                                  "org.freedesktop.DBus.Introspectable",
                                                  "Introspect", nullptr, G_VARIANT_TYPE("(s)"),
                                                  G_DBUS_CALL_FLAGS_NONE, 30000, nullptr, &error);
    ASSERT_NE(reply, nullptr) << error->message << bus.Log();
    const gchar* introspected = nullptr;
    g_variant_get(reply, "(&s)", &introspected);
    for (const std::string interface :
         {trevalo_bus::catalogue::kInterface, trevalo_bus::kInterface}) {
        SCOPED_TRACE(interface);
        const std::string installed = test_support::ReadText(
            SharedInstall().Prefix() + "/share/dbus-1/interfaces/" + interface + ".xml");
        EXPECT_NE(InterfaceElement(installed, interface), "");
        EXPECT_EQ(InterfaceElement(installed, interface),
                  InterfaceElement(introspected, interface));
    }
    g_variant_unref(reply);
    g_object_unref(connection);
    EXPECT_TRUE(test_support::StopProcess(bus.OwnerPid(kBusName)));
}

// Where a dbus-daemon built for `prefix` reads `what`: dbus-1's pkg-config directories with its
// prefix moved there. Empty without pkg-config or dbus-1.
std::string DbusDirectoryFor(const std::string& prefix, const std::string& variable) {
    const std::string command = "pkg-config --define-variable=prefix='" + prefix +
                                "' --variable=" + variable + " dbus-1 2>/dev/null";
    std::string directory;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char line[4096];
        if (fgets(line, sizeof line, pipe) != nullptr) directory = line;
        pclose(pipe);
    }
    while (!directory.empty() && directory.back() == '\n') directory.pop_back();
    return directory;
}

TEST_F(Activation, ASystemBusReadingOnlyItsStandardDirectoriesStartsTheServiceUnderItsPolicy) {
    // A system bus built for the install prefix: deny by default, as the system bus is, and
    // only the standard service and policy directories of that prefix.
    const std::string services =
        DbusDirectoryFor(SharedInstall().Prefix(), "system_bus_services_dir");
    const std::string data = DbusDirectoryFor(SharedInstall().Prefix(), "datadir");
    if (services.empty() || data.empty()) GTEST_SKIP() << "pkg-config knows no dbus-1";
    ActivatingBus bus(std::string(activation_test::kSystemBusDefaults) + "<servicedir>" + services +
                      "</servicedir><includedir>" + data + "/dbus-1/system.d</includedir>");
    ASSERT_TRUE(bus.Started()) << "the daemon refused the installed policy:\n" << bus.Log();
    std::string error;
    EXPECT_FALSE(bus.RequestName(test_support::BusNameOf("another_service"), error));
    EXPECT_THAT(error, HasSubstr("AccessDenied"));
    // The bus finds and starts the installed service, as its own user (root): only systemd or the
    // launch helper switch to the file's User=, and the policy refuses anyone else the name.
    const ChildResult refused = InstalledCli(bus, {"call", "SizeOfAudio"});
    EXPECT_NE(refused.status, 0);
    EXPECT_THAT(bus.Log(), HasSubstr("AccessDenied")) << refused.err;
}

}  // namespace
