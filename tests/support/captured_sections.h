// Test support: the PMT sections captured from real broadcasts, read in place from the shared
// test data.
#ifndef TESTS_SECTIONPARSER_CAPTURED_SECTIONS_H
#define TESTS_SECTIONPARSER_CAPTURED_SECTIONS_H

#include <string>
#include <vector>

namespace pmt_test {

struct CapturedSection {
    std::string name;   // file name without ".sec"
    int programNumber;  // from the file name
    int version;        // from the file name
    std::vector<unsigned char> bytes;
};

// Every *.sec file of the shared pmt/ folder, sorted by name; empty if the folder is missing.
const std::vector<CapturedSection>& CapturedSections();

// File names usable as gtest parameter names.
std::string TestName(const CapturedSection& section);

}  // namespace pmt_test

#endif
