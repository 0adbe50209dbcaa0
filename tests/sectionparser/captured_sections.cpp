#include "captured_sections.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>

namespace pmt_test {

std::vector<unsigned char> ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

namespace {

std::vector<CapturedSection> LoadCapturedSections() {
    namespace fs = std::filesystem;
    std::vector<CapturedSection> sections;
    const fs::path folder = fs::path(TREVALO_TESTDATA_DIR) / "pmt";
    std::error_code error;
    if (!fs::is_directory(folder, error)) return sections;
    // <capture>.p<program_number>.v<version>.<n>.sec
    const std::regex pattern(R"(.*\.p(\d+)\.v(\d+)\.\d+)");
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() != ".sec") continue;
        CapturedSection section;
        section.name = entry.path().stem().string();
        std::smatch match;
        section.programNumber = -1;
        section.version = -1;
        if (std::regex_match(section.name, match, pattern)) {
            section.programNumber = std::stoi(match[1]);
            section.version = std::stoi(match[2]);
        }
        section.bytes = ReadFile(entry.path().string());
        sections.push_back(std::move(section));
    }
    std::sort(sections.begin(), sections.end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    return sections;
}

}  // namespace

const std::vector<CapturedSection>& CapturedSections() {
    static const std::vector<CapturedSection> sections = LoadCapturedSections();
    return sections;
}

std::string TestName(const CapturedSection& section) {
    std::string name = section.name;
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
}

}  // namespace pmt_test
