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
    size_t captures = 0;
    size_t programmes = 0;
    for (const auto& file : std::filesystem::directory_iterator(test_support::TestDataPath("ts"))) {
        if (file.path().extension() != ".ts") continue;
        SCOPED_TRACE(file.path().filename().string());
        ++captures;
        const Bytes stream = test_support::ReadFile(file.path());
        const std::vector<ReferenceProgramme> reference = ts_test::ReadWithDvbpsi(stream);
        ASSERT_FALSE(reference.empty());
        for (const ReferenceProgramme& programme : reference) {
            SCOPED_TRACE(programme.program_number);
            EXPECT_EQ(Extract(stream, programme.program_number), programme.sections);
            if (!programme.sections.empty()) ++programmes;
        }
        // Asked for no programme, the extractor follows the first of the PAT.
        EXPECT_EQ(Extract(stream, 0), reference.front().sections);
    }
    EXPECT_GE(captures, 2u);
    EXPECT_GE(programmes, 10u);  // the comparison covered real sections, not empty lists
}

}  // namespace
