// What is made from trevalo-cli's own --help: the bash completion (read from --help while
// What is made from trevalo-cli's own --help: the bash completion (read from --help while
// completing; the cases in tests/data/completions.json) and the manual pages (checked in, and
// made again here to compare). A change of the help's layout that breaks either shows here.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "child_process.h"
#include "test_data.h"

namespace {

using ::testing::HasSubstr;

std::string Shell(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return output;
    char buffer[4096];
    size_t count = 0;
    while ((count = fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, count);
    pclose(pipe);
    return output;
}

// What the completion offers for the words typed so far (the last one being completed), one
// per line, sorted.
std::string Completions(const std::string& typed) {
    const std::string script = std::string("source '") + TREVALO_COMPLETION_SCRIPT +
                               "'; COMP_WORDS=('" + TREVALO_CLI_BINARY + "' " + typed +
                               "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _trevalo_cli; "
                               "printf '%s\\n' \"${COMPREPLY[@]}\" | sort";
    setenv("TREVALO_COMPLETION_RUN", script.c_str(), 1);
    return Shell("bash -c \"$TREVALO_COMPLETION_RUN\"");
}

TEST(FromHelp, BashCompletionOffersTheCommandsOptionsAndWordsOfTheHelp) {
    const Json::Value golden =
        test_support::ReadJsonFile(test_support::GoldenPath("completions.json"));
    for (const Json::Value& entry : golden["cases"]) {
        const std::string typed = entry["typed"].asString();
        SCOPED_TRACE(typed);
        std::string offered;
        for (const Json::Value& word : entry["offered"]) offered += word.asString() + "\n";
        EXPECT_EQ(Completions(typed), offered);
    }
}

TEST(FromHelp, ManualPageHoldsEveryCommandAndRendersWithoutWarnings) {
    // The installed pages are the checked-in ones: they must be what the programs' --help makes.
    for (const std::string name : {"trevalo-cli.1", "trevalo_service.8"}) {
        EXPECT_EQ(Shell("cat '" TREVALO_MAN_PAGE_DIR "/" + name + "'"),
                  Shell("cat '" TREVALO_MAN_PAGE_SOURCE_DIR "/" + name + "'"))
            << name << ": cmake --build build --target update_man_pages";
    }
    const std::string page = std::string(TREVALO_MAN_PAGE_SOURCE_DIR) + "/trevalo-cli.1";
    const std::string warnings = Shell("groff -man -ww -z '" + page + "' 2>&1");
    EXPECT_EQ(warnings, "");
    const std::string text = Shell("MANWIDTH=200 man -l '" + page + "' 2>&1");
    for (const char* command :
         {"call", "catalogue", "pid", "time", "pmt", "programmes", "listen", "select"}) {
        const test_support::ChildResult help = test_support::RunCli({command, "--help"});
        const std::string usage = help.out.substr(0, help.out.find('\n'));
        EXPECT_THAT(
            text,
            HasSubstr("\n   " + usage.substr(usage.find("] " + std::string(command)) + 2) + "\n"));
    }
    EXPECT_THAT(text, HasSubstr("\nEXIT STATUS\n       0      done\n"));
}

}  // namespace
