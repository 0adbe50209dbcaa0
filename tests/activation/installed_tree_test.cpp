// What `cmake --install` puts under the prefix, and how the activation files name it.
#include "installed_tree.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "test_data.h"

namespace {

using activation_test::SharedInstall;
using test_support::ReadText;
using ::testing::HasSubstr;
using ::testing::Not;

class Installed : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(SharedInstall().Succeeded()) << SharedInstall().Log(); }
    std::string At(const std::string& relative) const {
        return SharedInstall().Prefix() + "/" + relative;
    }
};

// The activation files and units (which the activation tests run), the manual pages and the
// completion, against tests/data/installed_files.json.
TEST_F(Installed, FilesHoldTheirLines) {
    const Json::Value files =
        test_support::ReadJsonFile(test_support::GoldenPath("installed_files.json"));
    const auto placed = [](std::string text) {
        const std::string placeholder = "@PREFIX@";
        const size_t at = text.find(placeholder);
        if (at != std::string::npos) text.replace(at, placeholder.size(), SharedInstall().Prefix());
        return text;
    };
    for (const std::string& file : files.getMemberNames()) {
        if (!files[file].isObject()) continue;
        SCOPED_TRACE(file);
        const std::string text = "\n" + ReadText(At(file));
        for (const Json::Value& line : files[file]["holds"]) {
            EXPECT_THAT(text, HasSubstr("\n" + placed(line.asString()) + "\n"));
        }
        for (const Json::Value& part : files[file]["holds_text"]) {
            EXPECT_THAT(text, HasSubstr(placed(part.asString())));
        }
        for (const Json::Value& part : files[file]["lacks_text"]) {
            EXPECT_THAT(text, Not(HasSubstr(part.asString())));
        }
    }
}

// What a shell command prints on stdout and stderr; `status` its exit status, -1 when it did not
// run.
std::string ShellOutput(const std::string& command, int& status) {
    std::string printed;
    status = -1;
    FILE* output = popen((command + " 2>&1").c_str(), "r");
    if (output == nullptr) return printed;
    char chunk[4096];
    for (size_t n; (n = fread(chunk, 1, sizeof chunk, output)) > 0;) printed.append(chunk, n);
    const int ended = pclose(output);
    if (ended != -1 && WIFEXITED(ended)) status = WEXITSTATUS(ended);
    return printed;
}

// systemd's own measure of what the installed system unit leaves open; systemd-analyze comes
// with the systemd package, which scripts/setup.sh installs.
TEST_F(Installed, SystemUnitExposureIsAtMostOne) {
    int status = 0;
    const std::string report =
        ShellOutput("systemd-analyze security --offline=yes '" +
                        At("lib/systemd/system/trevalo_service.service") + "'",
                    status);
    ASSERT_NE(status, -1);
    ASSERT_NE(status, 127) << "no systemd-analyze: run scripts/setup.sh\n" << report;

    const std::string label = "Overall exposure level for trevalo_service.service: ";
    const size_t at = report.find(label);
    ASSERT_NE(at, std::string::npos) << report;
    const double exposure = std::strtod(report.c_str() + at + label.size(), nullptr);
    EXPECT_LE(exposure, 1.0) << report;
}

// A cross build's pkg-config puts the sysroot before every path it gives: the directories the
// files go to must stay the target's own.
TEST(InstallDirectories, AreTheTargetsWhateverSysrootPkgConfigIsGiven) {
    const std::string script = "/tmp/trevalo-directories-" + std::to_string(getpid()) + ".cmake";
    std::ofstream(script) << "set(PKG_CONFIG_EXECUTABLE pkg-config)\n"
                             "include(" TREVALO_SOURCE_DIR
                             "/packaging/system_directories.cmake)\n"
                             "foreach(kind SESSION_SERVICES SYSTEM_SERVICES POLICY SYSTEM_UNITS "
                             "USER_UNITS SYSUSERS)\n"
                             "  message(\"${kind} ${TREVALO_${kind}_RELATIVE}\")\n"
                             "endforeach()\n";
    int status = 0;
    const std::string plain =
        ShellOutput(std::string("'") + TREVALO_CMAKE + "' -P " + script, status);
    EXPECT_EQ(status, 0) << plain;
    EXPECT_THAT(plain, HasSubstr("SYSTEM_UNITS lib/systemd/system\n"));
    EXPECT_EQ(ShellOutput("PKG_CONFIG_SYSROOT_DIR=/opt/target-root '" + std::string(TREVALO_CMAKE) +
                              "' -P " + script,
                          status),
              plain);
    std::remove(script.c_str());
}

}  // namespace
