// The broadcast captures, every programme: the PMT sections the extractor hands out equal those
// libdvbpsi gathers from the same packets. (Other packet sizes, garbage, cut packets and streams
// are the packet reader's tests.)
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "dvbpsi_reference.h"
#include "stream_builder.h"
#include "test_data.h"
#include "tsdemux/pmt_extractor.h"

namespace {

using ts_test::Bytes;
using ts_test::ReferenceProgramme;

struct Capture {
    std::string name;
    Bytes stream;
    std::vector<ReferenceProgramme> programmes;
};

const std::vector<Capture>& Captures() {
    static const std::vector<Capture> captures = [] {
        std::vector<Capture> all;
        const std::filesystem::path folder = std::filesystem::path(TREVALO_TESTDATA_DIR) / "ts";
        for (const auto& file : std::filesystem::directory_iterator(folder)) {
            if (file.path().extension() != ".ts") continue;
            Capture capture;
            capture.name = file.path().filename().string();
            capture.stream = test_support::ReadFile(file.path());
            capture.programmes = ts_test::ReadWithDvbpsi(capture.stream);
            all.push_back(std::move(capture));
        }
        return all;
    }();
    return captures;
}

std::vector<Bytes> Extract(const Bytes& stream, uint16_t program_number) {
    constexpr size_t piece = 4096;
    std::vector<Bytes> sections;
    tsdemux::PmtExtractor extractor(program_number, [&sections](const tsdemux::FoundPmt& pmt) {
        sections.push_back(pmt.section);
    });
    for (size_t at = 0; at < stream.size(); at += piece) {
        extractor.Feed(stream.data() + at, std::min(piece, stream.size() - at));
    }
    extractor.Finish();
    return sections;
}

TEST(CapturedStreams, EveryProgrammeGivesTheSectionsLibdvbpsiGathers) {
    ASSERT_GE(Captures().size(), 2u);
    size_t programmes = 0;
    for (const Capture& capture : Captures()) {
        SCOPED_TRACE(capture.name);
        ASSERT_FALSE(capture.programmes.empty());
        for (const ReferenceProgramme& programme : capture.programmes) {
            SCOPED_TRACE(programme.program_number);
            EXPECT_EQ(Extract(capture.stream, programme.program_number), programme.sections);
            if (!programme.sections.empty()) ++programmes;
        }
        // Asked for no programme, the extractor follows the first of the PAT.
        EXPECT_EQ(Extract(capture.stream, 0), capture.programmes.front().sections);
    }
    EXPECT_GE(programmes, 10u);  // the comparison covered real sections, not empty lists
}

}  // namespace
