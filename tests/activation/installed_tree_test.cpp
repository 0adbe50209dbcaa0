// What `cmake --install` puts under the prefix, and how the activation files name it.
#include "installed_tree.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>

namespace {

using activation_test::kBusName;
using activation_test::SharedInstall;
using test_support::ReadText;
using ::testing::HasSubstr;
using ::testing::Not;

bool IsExecutable(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           (status.st_mode & S_IXUSR) != 0;
}

class Installed : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(SharedInstall().Succeeded()) << SharedInstall().Log(); }
    std::string At(const std::string& relative) const {
        return SharedInstall().Prefix() + "/" + relative;
    }
    std::string Service() const { return At("libexec/trevalo_service"); }
};

TEST_F(Installed, PutsTheProgramsTheirManualPagesAndTheCompletionUnderThePrefix) {
    EXPECT_TRUE(IsExecutable(Service()));
    EXPECT_TRUE(IsExecutable(At("bin/trevalo-cli")));
    EXPECT_THAT(ReadText(At("share/man/man1/trevalo-cli.1")), HasSubstr("\n.SH COMMANDS\n"));
    EXPECT_THAT(ReadText(At("share/man/man8/trevalo_service.8")), HasSubstr("\n.SH ENVIRONMENT\n"));
    EXPECT_THAT(ReadText(At("share/bash-completion/completions/trevalo-cli")),
                HasSubstr("\ncomplete -o bashdefault -o default -F _trevalo_cli trevalo-cli\n"));
}

TEST_F(Installed, BusServiceFilesStartTheInstalledBinaryOrTheUnit) {
    const std::string session =
        ReadText(At("share/dbus-1/services/" + std::string(kBusName) + ".service"));
    EXPECT_THAT(session, HasSubstr("\n[D-BUS Service]\nName=" + std::string(kBusName) + "\n"));
    EXPECT_THAT(session, HasSubstr("\nExec=/bin/sh -c "));
    EXPECT_THAT(session, HasSubstr(" exec \"" + Service() + "\"'\n"));
    // The unit by its alias, which `systemctl disable` removes.
    EXPECT_THAT(session,
                HasSubstr("\nSystemdService=dbus-" + std::string(kBusName) + ".service\n"));

    const std::string system =
        ReadText(At("share/dbus-1/system-services/" + std::string(kBusName) + ".service"));
    EXPECT_THAT(system, HasSubstr("\nName=" + std::string(kBusName) + "\n"));
    EXPECT_THAT(system, HasSubstr("\nUser=trevalo_service\n"));
    EXPECT_THAT(system, HasSubstr(" exec \"" + Service() + "\"'\n"));
    EXPECT_THAT(system, HasSubstr("\nSystemdService=dbus-" + std::string(kBusName) + ".service\n"));
}

TEST_F(Installed, SystemdUnitsWaitForTheBusNameAndAreAliasedForTheBus) {
    for (const char* kind : {"system", "user"}) {
        SCOPED_TRACE(kind);
        const std::string unit =
            ReadText(At(std::string("lib/systemd/") + kind + "/trevalo_service.service"));
        EXPECT_THAT(unit, HasSubstr("\nType=dbus\n"));
        EXPECT_THAT(unit, HasSubstr("\nBusName=" + std::string(kBusName) + "\n"));
        EXPECT_THAT(unit, HasSubstr("\nExecStart=" + Service() + "\n"));
        EXPECT_THAT(unit, HasSubstr("\nRestart=on-failure\n"));
        EXPECT_THAT(unit, HasSubstr("\nDocumentation=man:trevalo_service(8) man:trevalo-cli(1)\n"));
        EXPECT_THAT(unit,
                    HasSubstr("\n[Install]\nAlias=dbus-" + std::string(kBusName) + ".service\n"));
    }
    // The service finds the system bus itself when no session bus is named.
    EXPECT_THAT(ReadText(At("lib/systemd/system/trevalo_service.service")),
                Not(HasSubstr("DBUS_SESSION_BUS_ADDRESS")));
}

// systemd's own measure of what the installed system unit leaves open; systemd-analyze comes
// with the systemd package, which scripts/setup.sh installs.
TEST_F(Installed, SystemUnitExposureIsAtMostOne) {
    const std::string command = "systemd-analyze security --offline=yes '" +
                                At("lib/systemd/system/trevalo_service.service") + "' 2>&1";
    std::string report;
    FILE* output = popen(command.c_str(), "r");
    ASSERT_NE(output, nullptr);
    char chunk[4096];
    for (size_t n; (n = fread(chunk, 1, sizeof chunk, output)) > 0;) report.append(chunk, n);
    const int status = pclose(output);
    ASSERT_NE(status, -1);
    ASSERT_NE(WEXITSTATUS(status), 127) << "no systemd-analyze: run scripts/setup.sh\n" << report;

    const std::string label = "Overall exposure level for trevalo_service.service: ";
    const size_t at = report.find(label);
    ASSERT_NE(at, std::string::npos) << report;
    const double exposure = std::strtod(report.c_str() + at + label.size(), nullptr);
    EXPECT_LE(exposure, 1.0) << report;
}

}  // namespace
