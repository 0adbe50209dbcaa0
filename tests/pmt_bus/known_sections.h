// The captured PMT sections of the shared test data, each with the catalogue a client must read
// back after sending it, worked out from the section bytes (ISO/IEC 13818-1 PMT syntax, ETSI
// EN 300 468 descriptors).
#ifndef TESTS_PMT_BUS_KNOWN_SECTIONS_H
#define TESTS_PMT_BUS_KNOWN_SECTIONS_H

#include <ostream>
#include <string>
#include <vector>

#include "catalogue.h"

namespace pmt_bus {

struct Expectation {
    Catalogue catalogue;
    // "GetPID" answers: every component tag in the catalogue, 255, and tags nothing carries.
    std::vector<PidByTag> pids;
};

struct KnownSection {
    std::string file;  // in the pmt folder of the shared test data
    int programme;
    Expectation expected;  // with the receiver's current audio known, no audio description
};

// Every captured section.
const std::vector<KnownSection>& KnownSections();
const KnownSection& Known(const std::string& file);

// What changes for sections with audio when the receiver cannot tell its current audio: audio
// records of AC-3 and Enhanced AC-3 descriptors in private streams are not made, and audio of
// the audio stream types keeps no language.
struct Variant {
    std::string file;
    Expectation expected;
};
const std::vector<Variant>& WithoutCurrentAudio();

// ... and when the current audio is an audio-description (or spoken-subtitles) track.
const std::vector<Variant>& WithAudioDescription();

// A section's file name as a test name: "test-020.p8803.v13.2.sec" gives "test_020_p8803_v13_2".
std::string TestNameOf(const std::string& file);

// Test parameters print as their file name.
void PrintTo(const KnownSection& section, std::ostream* out);
void PrintTo(const Variant& variant, std::ostream* out);

// The section bytes, read from the shared test data.
std::vector<unsigned char> SectionBytes(const std::string& file);

}  // namespace pmt_bus

#endif
