#include "captured_sections.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace pmt_test {

namespace {

// The number after `marker` (".p" or ".v") in a file name, -1 when there is none.
int NumberAfter(const std::string& name, const std::string& marker) {
    size_t position = name.find(marker);
    while (position != std::string::npos) {
        const size_t digits = position + marker.size();
        size_t end = digits;
        while (end < name.size() && std::isdigit(static_cast<unsigned char>(name[end]))) ++end;
        if (end > digits) return std::stoi(name.substr(digits, end - digits));
        position = name.find(marker, position + 1);
    }
    return -1;
}

std::vector<CapturedSection> LoadCapturedSections() {
    namespace fs = std::filesystem;
    std::vector<CapturedSection> sections;
    const fs::path folder = CapturedSectionsFolder();
    std::error_code error;
    if (!fs::is_directory(folder, error)) return sections;
    // <capture>.p<program_number>.v<version>.<n>.sec
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() != ".sec") continue;
        CapturedSection section;
        section.name = entry.path().stem().string();
        section.programNumber = NumberAfter(section.name, ".p");
        section.version = NumberAfter(section.name, ".v");
        section.bytes = test_support::ReadFile(entry.path().string());
        sections.push_back(std::move(section));
    }
    std::sort(sections.begin(), sections.end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    return sections;
}

}  // namespace

std::string CapturedSectionsFolder() {
    return std::string(TREVALO_TESTDATA_DIR) + "/pmt";
}

const std::vector<CapturedSection>& CapturedSections() {
    static const std::vector<CapturedSection> sections = LoadCapturedSections();
    return sections;
}

std::string TestName(const CapturedSection& section) {
    return test_support::TestNameOf(section.name + ".sec");
}

}  // namespace pmt_test
