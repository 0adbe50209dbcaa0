// Harness: the PMT sections captured from real broadcasts, read in place from
// tests/data/captures/pmt.
#ifndef TESTS_HARNESS_CAPTURED_SECTIONS_H
#define TESTS_HARNESS_CAPTURED_SECTIONS_H

#include <string>
#include <vector>

#include "files.h"

namespace pmt_test {

struct CapturedSection {
    std::string name;   // file name without ".sec"
    int programNumber;  // from the file name
    int version;        // from the file name
    test_support::Bytes bytes;
};

// Every *.sec file of the captures' pmt/ folder, sorted by name; empty if the folder is missing.
const std::vector<CapturedSection>& CapturedSections();
std::string CapturedSectionsFolder();

// The file name as a test name: letters, digits and '_'.
std::string TestName(const CapturedSection& section);

}  // namespace pmt_test

#endif
