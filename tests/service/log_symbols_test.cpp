// The service logs through __dlog_print alone, the one function every platform log has: of the
// functions our platform log's library defines, the service's objects (its three units and the
// process entry) take no other.
#include <gmock/gmock.h>

#include <cstdio>
#include <set>
#include <string>

namespace {

// The symbol names `nm` lists with `options` for `files`, each line's last word.
std::set<std::string> Symbols(const std::string& options, const std::string& files) {
    std::set<std::string> names;
    FILE* listing = popen(("nm " + options + " " + files + " 2>/dev/null").c_str(), "r");
    if (listing == nullptr) return names;
    char line[4096];
    while (std::fgets(line, sizeof line, listing) != nullptr) {
        std::string text(line);
        while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
        if (text.empty() || text.back() == ':') continue;  // a member's heading
        names.insert(text.substr(text.find_last_of(' ') + 1));
    }
    EXPECT_EQ(pclose(listing), 0) << "nm " << options << " " << files;
    return names;
}

TEST(ServiceLogSymbols, OnlyDlogPrintComesFromThePlatformLog) {
    const std::set<std::string> log = Symbols("--defined-only --extern-only", PLATFORM_LOG_LIBRARY);
    ASSERT_EQ(log.count("__dlog_print"), 1u);
    std::set<std::string> taken;
    for (const std::string& name : Symbols("--undefined-only", SERVICE_OBJECTS)) {
        if (log.count(name) != 0) taken.insert(name);
    }
    EXPECT_THAT(taken, testing::ElementsAre("__dlog_print"));
}

}  // namespace
