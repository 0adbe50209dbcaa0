// Sections one after another: what replaces the catalogue, what leaves it as it was, what
// "reset" does and does not do, and which programme a "programNum" names.
#include <gmock/gmock.h>

#include "pmt_bus_fixture.h"
#include "section_bytes.h"

using pmt_bus::Bytes;
using pmt_bus::Known;
using pmt_bus::KnownSection;
using pmt_bus::SectionBytes;

namespace {

const KnownSection& Ac3WithTags() {
    return Known("test-020.p8803.v13.2.sec");
}
const KnownSection& Eac3WithTags() {
    return Known("test-059.2.p1045.v1.0.sec");
}
const KnownSection& Teletext() {
    return Known("test-108.p3401.v3.0.sec");
}
const KnownSection& Scrambled() {
    return Known("test-018.p1.v4.0.sec");
}
const KnownSection& NothingCatalogued() {
    return Known("test-011.p8899.v0.9.sec");
}

std::string PmtBody(const std::string& data) {
    return R"({"method":"SendPMTData","data":)" + data + "}";
}

}  // namespace

using PmtSequence = PmtOnBus;

TEST_F(PmtSequence, EachValidSectionReplacesTheWholeCatalogue) {
    for (bool reset : {true, false}) {
        SCOPED_TRACE(reset ? "reset true" : "reset false");
        ASSERT_EQ(SendPmt(SectionBytes(Ac3WithTags().file), Ac3WithTags().programme, reset), "0");
        ExpectCatalogue(Ac3WithTags().expected);
        ASSERT_EQ(SendPmt(SectionBytes(Teletext().file), Teletext().programme, reset), "0");
        // Nothing of the first section is left: its component tags find nothing any more.
        ExpectCatalogue(Teletext().expected);
        EXPECT_THAT(pmt_bus::ReadPids(*pipeline_, {0, 1, 3, 4}),
                    ::testing::ElementsAre(pmt_bus::PidByTag{0, 0}, pmt_bus::PidByTag{1, 0},
                                           pmt_bus::PidByTag{3, 0}, pmt_bus::PidByTag{4, 0}));
        // A valid section without catalogued streams leaves three empty lists.
        ASSERT_EQ(
            SendPmt(SectionBytes(NothingCatalogued().file), NothingCatalogued().programme, reset),
            "0");
        ExpectCatalogue(NothingCatalogued().expected);
        // The same section twice gives the same catalogue, not twice its records.
        ASSERT_EQ(SendPmt(SectionBytes(Eac3WithTags().file), Eac3WithTags().programme, reset), "0");
        ASSERT_EQ(SendPmt(SectionBytes(Eac3WithTags().file), Eac3WithTags().programme, reset), "0");
        ExpectCatalogue(Eac3WithTags().expected);
    }
}

TEST_F(PmtSequence, ARefusedSectionKeepsThePreviousCatalogue) {
    const KnownSection& good = Ac3WithTags();
    const Bytes bytes = SectionBytes(good.file);
    Bytes bad_crc = bytes;
    bad_crc.back() ^= 0x01;
    Bytes not_a_pmt = bytes;  // the same bytes under the table_id of a PAT, CRC made right
    not_a_pmt[0] = 0x00;
    pmt_bus::FixCrc(not_a_pmt);
    ASSERT_TRUE(pmt_bus::CrcHolds(bytes));

    const struct {
        const char* what;
        Bytes section;
        long long programme;
        bool reset;
    } refused[] = {
        {"no buffer", {}, good.programme, true},
        {"no buffer, no reset", {}, good.programme, false},
        {"a CRC_32 that does not hold", bad_crc, good.programme, true},
        {"a CRC_32 that does not hold, no reset", bad_crc, good.programme, false},
        {"another table", not_a_pmt, good.programme, true},
        {"another programme than the section's", bytes, good.programme + 1, true},
        {"a section of another programme", SectionBytes(Eac3WithTags().file), good.programme, true},
        {"a single zero byte", {0x00}, good.programme, true},
    };
    ASSERT_EQ(SendPmt(bytes, good.programme), "0");
    for (const auto& request : refused) {
        SCOPED_TRACE(request.what);
        EXPECT_EQ(SendPmt(request.section, request.programme, request.reset), "1");
        ExpectCatalogue(good.expected);
    }
}

// "data" of the wrong shape is refused even when the buffer holds a valid section of the
// programme meant; the catalogue of the previous section stays.
TEST_F(PmtSequence, ADataMemberOfTheWrongKindIsRefused) {
    const KnownSection& current = Ac3WithTags();
    const KnownSection& sent = Eac3WithTags();
    const Bytes bytes = SectionBytes(sent.file);
    ASSERT_EQ(SendPmt(SectionBytes(current.file), current.programme), "0");
    for (const char* data : {
             R"([true, 1045])",
             R"("1045")",
             R"(1045)",
             R"(true)",
             R"({"reset": "true", "programNum": 1045})",
             R"({"reset": [true], "programNum": 1045})",
             R"({"reset": true, "programNum": "1045"})",
             R"({"reset": true, "programNum": [1045]})",
             R"({"reset": true, "programNum": {"n": 1045}})",
         }) {
        SCOPED_TRACE(data);
        EXPECT_EQ(pmt_bus::ReturnData(Call(PmtBody(data), bytes)), "1");
        ExpectCatalogue(current.expected);
    }
    EXPECT_TRUE(ServiceRunning()) << LogTail();
}

// A missing "data" reads as "reset" false and "programNum" 0, a missing member likewise.
TEST_F(PmtSequence, MissingMembersReadAsFalseAndZero) {
    const Bytes programme_zero =
        pmt_bus::BuildSection(0, {{0x1B, 0x100, pmt_bus::StreamIdentifier(7)},
                                  {0x03, 0x101, pmt_bus::Language({'s', 'w', 'e'})}});
    const pmt_bus::Catalogue programme_zero_catalogue = {
        {{0x101, 2, false, 255, "swe", 2, false}}, {{0x100, 1, false, 0, 7, 100}}, {}};
    ASSERT_EQ(pmt_bus::ReturnData(Call(R"({"method":"SendPMTData"})", programme_zero)), "0");
    ExpectCatalogue(programme_zero_catalogue);

    ASSERT_EQ(SendPmt(SectionBytes(Ac3WithTags().file), Ac3WithTags().programme), "0");
    EXPECT_EQ(
        pmt_bus::ReturnData(Call(PmtBody(R"({"reset": true})"), SectionBytes(Eac3WithTags().file))),
        "1");
    ExpectCatalogue(Ac3WithTags().expected);
    EXPECT_EQ(pmt_bus::ReturnData(
                  Call(PmtBody(R"({"programNum": 1045})"), SectionBytes(Eac3WithTags().file))),
              "0");
    ExpectCatalogue(Eac3WithTags().expected);
    EXPECT_EQ(pmt_bus::ReturnData(Call(PmtBody(R"({"reset": true})"), programme_zero)), "0");
    ExpectCatalogue(programme_zero_catalogue);
}

// "reset" drops the sections the parser holds; it never clears the catalogue.
TEST_F(PmtSequence, ResetDropsHeldSectionsButNotTheCatalogue) {
    const KnownSection& first = Scrambled();  // programme 1
    const KnownSection& second = Ac3WithTags();
    ASSERT_EQ(SendPmt(SectionBytes(first.file), first.programme, true), "0");
    ASSERT_EQ(SendPmt(SectionBytes(second.file), second.programme, false), "0");
    ExpectCatalogue(second.expected);

    // Without reset, the section held for programme 1 still answers for it, whatever section
    // comes with the request.
    ASSERT_EQ(SendPmt(SectionBytes(Eac3WithTags().file), first.programme, false), "0");
    ExpectCatalogue(first.expected);

    // With reset, only the section in the request counts: programme 8803 is not in it, and the
    // catalogue is still the one of programme 1.
    EXPECT_EQ(SendPmt(SectionBytes(Eac3WithTags().file), second.programme, true), "1");
    ExpectCatalogue(first.expected);
    EXPECT_EQ(SendPmt(SectionBytes(Teletext().file), second.programme, false), "1");
    ExpectCatalogue(first.expected);

    // Reset with no section at all, or a broken one, refuses and keeps the catalogue.
    EXPECT_EQ(SendPmt({}, first.programme, true), "1");
    ExpectCatalogue(first.expected);
    Bytes broken = SectionBytes(second.file);
    broken[20] ^= 0x40;
    EXPECT_EQ(SendPmt(broken, second.programme, true), "1");
    ExpectCatalogue(first.expected);

    // A broken section of a programme replaces the one held for it, even without reset.
    ASSERT_EQ(SendPmt(SectionBytes(second.file), second.programme, false), "0");
    EXPECT_EQ(SendPmt(broken, second.programme, false), "1");
    ExpectCatalogue(second.expected);
    EXPECT_EQ(SendPmt(SectionBytes(Teletext().file), second.programme, false), "1");
    ExpectCatalogue(second.expected);
}

// Only the low 16 bits of "programNum" name the programme.
TEST_F(PmtSequence, ProgrammeNumbersAreTakenModulo65536) {
    const KnownSection& section = Ac3WithTags();  // programme 8803
    const Bytes bytes = SectionBytes(section.file);
    ASSERT_EQ(SendPmt(SectionBytes(NothingCatalogued().file), NothingCatalogued().programme), "0");
    for (long long programme : {65536LL + 8803, 3 * 65536LL + 8803, 32767 * 65536LL + 8803,
                                8803 - 65536LL, 8803 - 32768 * 65536LL}) {
        SCOPED_TRACE(programme);
        ASSERT_EQ(SendPmt(bytes, programme), "0");
        ExpectCatalogue(section.expected);
        ASSERT_EQ(SendPmt(SectionBytes(NothingCatalogued().file), NothingCatalogued().programme),
                  "0");
    }
    for (long long programme : {65536LL + 8802, 65536LL + 8804, 65536LL, 2147483647LL, -1LL}) {
        SCOPED_TRACE(programme);
        EXPECT_EQ(SendPmt(bytes, programme), "1");
        ExpectCatalogue(NothingCatalogued().expected);
    }
}

// "GetPID" keeps the low 8 bits of its "data" as the tag.
TEST_F(PmtSequence, ComponentTagsAreTakenModulo256) {
    const KnownSection& section = Eac3WithTags();
    ASSERT_EQ(SendPmt(SectionBytes(section.file), section.programme), "0");
    EXPECT_THAT(
        pmt_bus::ReadPids(*pipeline_, {256 + 2, 512 + 5, -1, 256, 2 - 256, -256 + 3}),
        ::testing::ElementsAre(pmt_bus::PidByTag{256 + 2, 430}, pmt_bus::PidByTag{512 + 5, 440},
                               pmt_bus::PidByTag{-1, 432}, pmt_bus::PidByTag{256, 0},
                               pmt_bus::PidByTag{2 - 256, 430}, pmt_bus::PidByTag{-256 + 3, 431}));
}
