// Following a programme's PMT through hand-built streams: the PAT's choice of PID, versions,
// CRC failures, programmes sharing a PID, PAT changes.
#include "tsdemux/pmt_extractor.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "stream_builder.h"

namespace {

using ts_test::Bytes;
using ts_test::MakePatSection;
using ts_test::MakePmtSection;
using ts_test::Packetize;

class Extractor : public ::testing::Test {
  protected:
    void Pat(uint8_t version, const std::vector<std::pair<uint16_t, uint16_t>>& programmes) {
        Add(Packetize(MakePatSection(1, version, programmes), 0, pat_counter_));
    }
    void Section(const Bytes& section, uint16_t pid) {
        Add(Packetize(section, pid, pmt_counters_[pid]));
    }
    void Add(const Bytes& bytes) { stream_.insert(stream_.end(), bytes.begin(), bytes.end()); }

    // The sections handed out, in order; found_ holds the rest of what came with them.
    std::vector<Bytes> Run(uint16_t program_number) {
        std::vector<Bytes> sections;
        extractor_ = std::make_unique<tsdemux::PmtExtractor>(
            program_number, [this, &sections](const tsdemux::FoundPmt& pmt) {
                found_.push_back(pmt);
                sections.push_back(pmt.section);
            });
        extractor_->Feed(stream_.data(), stream_.size());
        extractor_->Finish();
        return sections;
    }

    Bytes stream_;
    std::vector<tsdemux::FoundPmt> found_;
    uint8_t pat_counter_ = 0;
    std::map<uint16_t, uint8_t> pmt_counters_;
    std::unique_ptr<tsdemux::PmtExtractor> extractor_;
};

TEST_F(Extractor, HandsOutEachNewVersionOnceAndNothingWithABadCrc) {
    const Bytes v1 = MakePmtSection(7, 1, {{0x1B, 0x101}});
    const Bytes v2 = MakePmtSection(7, 2, {{0x1B, 0x101}, {0x03, 0x102}});
    Bytes v3_damaged = MakePmtSection(7, 3, {{0x1B, 0x101}});
    v3_damaged[v3_damaged.size() - 6] ^= 0x01;
    Pat(0, {{7, 0x100}});
    const std::vector<const Bytes*> order = {&v1, &v1, &v2, &v2, &v3_damaged, &v2};
    for (const Bytes* section : order) Section(*section, 0x100);

    ASSERT_EQ(Run(7), (std::vector<Bytes>{v1, v2}));
    EXPECT_EQ(found_[0].version, 1);
    EXPECT_EQ(found_[0].pid, 0x100);
    EXPECT_EQ(found_[0].program_number, 7);
    EXPECT_EQ(extractor_->BadCrcSections(), 1u);
}

TEST_F(Extractor, IgnoresPmtPacketsBeforeThePatAndPmtsNotYetApplicable) {
    const Bytes early = MakePmtSection(7, 1, {{0x1B, 0x101}});
    const Bytes next = MakePmtSection(7, 2, {{0x02, 0x101}}, /*current_next=*/false);
    const Bytes current = MakePmtSection(7, 3, {{0x1B, 0x101}});
    Section(early, 0x100);
    Pat(0, {{7, 0x100}});
    Section(next, 0x100);
    Section(current, 0x100);
    EXPECT_EQ(Run(7), std::vector<Bytes>{current});
}

TEST_F(Extractor, PicksItsProgrammeAmongThoseSharingAPid) {
    const Bytes other = MakePmtSection(8, 0, {{0x1B, 0x201}});
    const Bytes mine = MakePmtSection(9, 0, {{0x1B, 0x301}});
    Pat(0, {{8, 0x100}, {9, 0x100}});
    Section(other, 0x100);
    Section(mine, 0x100);
    EXPECT_EQ(Run(9), std::vector<Bytes>{mine});
}

TEST_F(Extractor, TakesTheFirstProgrammeOfThePatWhenNoneIsAsked) {
    Pat(0, {{0, 0x010}, {12, 0x120}, {11, 0x110}});  // programme 0 names the network PID
    const Bytes twelve = MakePmtSection(12, 0, {});
    Section(MakePmtSection(11, 0, {}), 0x110);
    Section(twelve, 0x120);
    EXPECT_EQ(Run(0), std::vector<Bytes>{twelve});
    EXPECT_EQ(extractor_->ProgramNumber(), 12);
}

TEST_F(Extractor, FollowsThePmtToTheNewPidOfAChangedPat) {
    const Bytes before = MakePmtSection(5, 0, {{0x1B, 0x101}});
    const Bytes after = MakePmtSection(5, 1, {{0x1B, 0x101}, {0x0F, 0x102}});
    Pat(0, {{5, 0x100}});
    Section(before, 0x100);
    Pat(1, {{5, 0x200}});
    Section(MakePmtSection(5, 9, {}), 0x100);  // the old PID is no longer read
    Section(after, 0x200);
    ASSERT_EQ(Run(5), (std::vector<Bytes>{before, after}));
    EXPECT_EQ(found_[1].pid, 0x200);
}

TEST_F(Extractor, WaitsForEverySectionOfAMultiSectionPat) {
    // The first part already names programme 2; its PMT counts only once the PAT is whole.
    Bytes first = MakePatSection(1, 0, {{2, 0x200}});
    Bytes second = MakePatSection(1, 0, {{1, 0x100}});
    // Renumber: section 0 of 1 and section 1 of 1, with fresh CRCs.
    first[7] = 1;
    second[6] = 1;
    second[7] = 1;
    pmt_test::RestampCrc(first);
    pmt_test::RestampCrc(second);
    Add(Packetize(first, 0, pat_counter_));
    Section(MakePmtSection(2, 0, {}), 0x200);  // before the PAT is whole: not yet looked for
    Add(Packetize(second, 0, pat_counter_));
    const Bytes pmt = MakePmtSection(2, 1, {});
    Section(pmt, 0x200);
    EXPECT_EQ(Run(2), std::vector<Bytes>{pmt});
    EXPECT_EQ(extractor_->Programmes().size(), 2u);
}

}  // namespace
