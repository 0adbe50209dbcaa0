// Every input the fuzzer has ever crashed on, replayed through the same run as the fuzz target
// (files in regressions/), and the run itself over inputs that must pass.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "captured_sections.h"
#include "pmt_section_builder.h"
#include "sectionparser_exercise.h"
#include "test_data.h"

using namespace pmt_test;

namespace {

std::vector<std::string> RegressionInputs() {
    namespace fs = std::filesystem;
    std::vector<std::string> paths;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(SECTIONPARSER_REGRESSIONS_DIR, error)) {
        if (entry.path().extension() == ".bin") paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

void Exercise(const Bytes& input) {
    fuzz::ExerciseSectionParser(input.data(), input.size());
}

TEST(FuzzRegressions, EveryKeptCrashInputRunsClean) {
    for (const auto& path : RegressionInputs()) {
        SCOPED_TRACE(path);
        Exercise(test_support::ReadFile(path));
    }
}

TEST(FuzzRegressions, CapturedSectionsRunClean) {
    for (const auto& captured : CapturedSections()) Exercise(captured.bytes);
}

TEST(FuzzRegressions, EdgeInputsRunClean) {
    Exercise({});
    Exercise({0x02});
    Exercise({0x02, 0xB0, 0x00});
    Exercise({0x02, 0xBF, 0xFF});
    Exercise(Bytes(2048, 0x02));
    Exercise(Bytes(2048, 0xFF));
    // Two sections back to back, the second on another programme.
    Bytes two = PmtBuilder().ProgramNumber(1).Stream(0x06, 0x100, {StreamIdentifier(7)}).Build();
    const Bytes second = PmtBuilder().ProgramNumber(2).Stream(0x02, 0x200).Build();
    two.insert(two.end(), second.begin(), second.end());
    Exercise(two);
}

}  // namespace
