// Test support: the broadcast captures of tests/data/captures, the golden files of tests/data,
// and JSON text.
#ifndef TESTS_TEST_DATA_H
#define TESTS_TEST_DATA_H

#include <json/value.h>

#include <string>

#include "files.h"

namespace test_support {

// A file (or folder) of the captures ("pmt/x.sec"). Both throw, with one line naming the file,
// when it is missing or empty: the test fails there rather than on what the absence causes.
Bytes ReadTestData(const std::string& relative_path);
std::string TestDataPath(const std::string& relative_path);

// A file of tests/data.
std::string GoldenPath(const std::string& name);

Json::Value ParseJson(const std::string& text);     // null when it is not JSON
Json::Value ReadJsonFile(const std::string& path);  // throws when it is not JSON

// The PMT section a golden file describes: {"programme", "version", "pcr_pid" (each optional),
// "streams": [{"type", "pid", "descriptors": [form, ...]}]}, each descriptor in one of the forms
// ["identifier", tag], ["ca", system, pid], ["raw", tag, [bytes]], ["language", [[code, type]]],
// ["subtitling", [[code, type, composition, ancillary]]], ["teletext", [[code, type, magazine,
// page]]], ["ac3", tag, component_type], ["supplementary_audio", mix, classification, code].
Bytes SectionFromJson(const Json::Value& description);

// The section a golden entry sends: "capture" (a file of the captures) or "section" (as
// SectionFromJson reads it); then "renumbered" [programme, version] and "damaged" (the last byte
// of the CRC_32 flipped) if given.
Bytes SentSection(const Json::Value& send);

}  // namespace test_support

#endif
