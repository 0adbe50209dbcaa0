// The parser against libdvbpsi, an independent decoder, over every captured broadcast section and
// a few built ones: the same programme, the same streams in the same order, the same descriptors
// in loop order, and the same decoded fields of the descriptors the service reads.
#include <gtest/gtest.h>

#include "dvbpsi_reference.h"

extern "C" {
#include <dvbpsi/dr_09.h>
#include <dvbpsi/dr_0a.h>
#include <dvbpsi/dr_52.h>
#include <dvbpsi/dr_56.h>
#include <dvbpsi/dr_59.h>
}

#include <string>
#include <vector>

#include "TCPMTParser.h"
#include "captured_sections.h"
#include "pmt_section_builder.h"

using namespace pmt_test;

namespace {

struct Case {
    std::string name;
    Bytes section;
};

std::vector<Case> AllCases() {
    std::vector<Case> cases;
    for (const auto& captured : CapturedSections())
        cases.push_back({TestName(captured), captured.bytes});
    cases.push_back(
        {"built_every_kind",
         PmtBuilder()
             .ProgramNumber(0x2222)
             .Version(17)
             .PcrPid(0x1FFF)
             .ProgramDescriptor(CA(0x0B00, 0x1123, {1, 2, 3}))
             .Stream(0x1B, 0x0100, {StreamIdentifier(0x01), CA(0x0100, 0x0200)})
             .Stream(0x03, 0x0101, {Language({{"eng", 0}, {"deu", 3}}), StreamIdentifier(2)})
             .Stream(0x06, 0x0102,
                     {Subtitling({{"fra", 0x10, 1, 2}, {"ita", 0x20, 3, 4}}),
                      Teletext({{"nld", 2, 1, 0x88}, {"swe", 5, 0, 0x01}, {"fin", 1, 7, 0}}),
                      Descriptor(0x6A, {0x00}), Descriptor(0x7A, {0x00}), StreamIdentifier(0x30)})
             .Stream(0x05, 0x0103)
             .Build()});
    return cases;
}

uint32_t Packed(const uint8_t code[3]) {
    return PackLanguageCode(code[0], code[1], code[2]);
}

void CompareDescriptor(const TCDescriptor& ours, dvbpsi_descriptor_t* theirs) {
    ASSERT_EQ(ours.Tag(), theirs->i_tag);
    ASSERT_EQ(ours.Length(), theirs->i_length);
    EXPECT_EQ(Bytes(ours.Payload(), ours.Payload() + ours.Length()),
              Bytes(theirs->p_data, theirs->p_data + theirs->i_length));

    switch (ours.Tag()) {
        case TCDescStreamIdentifier::kTag: {
            const auto& identifier = dynamic_cast<const TCDescStreamIdentifier&>(ours);
            const dvbpsi_stream_identifier_dr_t* decoded = dvbpsi_DecodeStreamIdentifierDr(theirs);
            ASSERT_EQ(decoded != nullptr, identifier.IsWellFormed());
            if (decoded != nullptr) {
                EXPECT_EQ(identifier.ComponentTag(), decoded->i_component_tag);
            }
            break;
        }
        case TCDescCA::kTag: {
            const auto& ca = dynamic_cast<const TCDescCA&>(ours);
            const dvbpsi_ca_dr_t* decoded = dvbpsi_DecodeCADr(theirs);
            ASSERT_EQ(decoded != nullptr, ca.IsWellFormed());
            if (decoded == nullptr) break;
            EXPECT_EQ(ca.CASystemID(), decoded->i_ca_system_id);
            EXPECT_EQ(ca.CAPID(), decoded->i_ca_pid);
            ASSERT_EQ(ca.PrivateDataLength(), decoded->i_private_length);
            EXPECT_EQ(Bytes(ca.PrivateData(), ca.PrivateData() + ca.PrivateDataLength()),
                      Bytes(decoded->i_private_data,
                            decoded->i_private_data + decoded->i_private_length));
            break;
        }
        case TCDescLanguage::kTag: {
            const auto& language = dynamic_cast<const TCDescLanguage&>(ours);
            const dvbpsi_iso639_dr_t* decoded = dvbpsi_DecodeISO639Dr(theirs);
            ASSERT_EQ(decoded != nullptr, language.IsWellFormed());
            if (decoded == nullptr) break;
            ASSERT_EQ(language.NumOfLanguage(), decoded->i_code_count);
            for (int index = 0; index < decoded->i_code_count; ++index) {
                ELanguageCode code;
                EAudioType type;
                ASSERT_TRUE(language.Language(index, &code, &type));
                EXPECT_EQ(code, Packed(decoded->code[index].iso_639_code)) << "entry " << index;
                EXPECT_EQ(type, decoded->code[index].i_audio_type) << "entry " << index;
            }
            break;
        }
        case TCDescSubtitling::kTag: {
            const auto& subtitling = dynamic_cast<const TCDescSubtitling&>(ours);
            const dvbpsi_subtitling_dr_t* decoded = dvbpsi_DecodeSubtitlingDr(theirs);
            ASSERT_EQ(decoded != nullptr, subtitling.IsWellFormed());
            if (decoded == nullptr) break;
            ASSERT_EQ(subtitling.NumOfSubtitling(), decoded->i_subtitles_number);
            for (int index = 0; index < decoded->i_subtitles_number; ++index) {
                const dvbpsi_subtitle_t& entry = decoded->p_subtitle[index];
                EXPECT_EQ(subtitling.Iso639LangCode(index), Packed(entry.i_iso6392_language_code));
                EXPECT_EQ(subtitling.SubtitlingType(index), entry.i_subtitling_type);
                EXPECT_EQ(subtitling.CompositionPageId(index), entry.i_composition_page_id);
                EXPECT_EQ(subtitling.AncillaryPageId(index), entry.i_ancillary_page_id);
            }
            break;
        }
        case TCDescTeletext::kTag: {
            const auto& teletext = dynamic_cast<const TCDescTeletext&>(ours);
            const dvbpsi_teletext_dr_t* decoded = dvbpsi_DecodeTeletextDr(theirs);
            ASSERT_EQ(decoded != nullptr, teletext.IsWellFormed());
            if (decoded == nullptr) break;
            ASSERT_EQ(teletext.NumOfTeletext(), decoded->i_pages_number);
            for (int index = 0; index < decoded->i_pages_number; ++index) {
                const dvbpsi_teletextpage_t& page = decoded->p_pages[index];
                EXPECT_EQ(teletext.Iso639LangCode(index), Packed(page.i_iso6392_language_code));
                EXPECT_EQ(teletext.TeletextType(index), page.i_teletext_type);
                EXPECT_EQ(teletext.TeletextMagazineNumber(index), page.i_teletext_magazine_number);
                EXPECT_EQ(teletext.TeletextPageNumber(index), page.i_teletext_page_number);
            }
            break;
        }
        case TCDescAC3::kTag:
            EXPECT_NE(dynamic_cast<const TCDescAC3*>(&ours), nullptr);
            break;
        case TCDescEnhancedAC3::kTag:
            EXPECT_NE(dynamic_cast<const TCDescEnhancedAC3*>(&ours), nullptr);
            break;
        default:
            break;
    }
}

class DvbpsiDifferential : public ::testing::TestWithParam<Case> {
  protected:
    TCPMTParser m_Parser{TVSHandle{1, 0, 0}};
    DvbpsiPmtDecoder m_Reference;
};

// Without them the comparison covers the built sections alone.
TEST(CapturedSections, AreInTheProject) {
    ASSERT_FALSE(CapturedSections().empty()) << "missing test data: " << CapturedSectionsFolder();
}

TEST_P(DvbpsiDifferential, SameTableAsLibdvbpsi) {
    const Bytes& section = GetParam().section;
    const auto programNumber = static_cast<uint16_t>((section[3] << 8) | section[4]);

    const Bytes frame = Framed(section);
    ASSERT_TRUE(m_Parser.Parse(0, frame.data()));
    TCPMTInstance* ours = m_Parser.PMTInstance(programNumber);
    ASSERT_NE(ours, nullptr);

    auto packets = ts_test::Packetize(section, 0x0100);
    const dvbpsi_pmt_t* theirs = m_Reference.Decode(packets, programNumber);
    ASSERT_NE(theirs, nullptr) << "libdvbpsi delivered no PMT";

    EXPECT_EQ(ours->ProgramNumber(), theirs->i_program_number);
    EXPECT_EQ(ours->VersionNumber(), theirs->i_version);
    EXPECT_EQ(ours->CurrentNextIndicator(), theirs->b_current_next);
    EXPECT_EQ(ours->PCRPID(), theirs->i_pcr_pid);

    int programDescriptors = 0;
    for (dvbpsi_descriptor_t* descriptor = theirs->p_first_descriptor; descriptor != nullptr;
         descriptor = descriptor->p_next, ++programDescriptors) {
        const TCDescriptor* mine = ours->ProgramDescriptor(programDescriptors);
        ASSERT_NE(mine, nullptr) << "program descriptor " << programDescriptors;
        CompareDescriptor(*mine, descriptor);
    }
    EXPECT_EQ(ours->NumOfProgramDescriptor(), programDescriptors);

    int streams = 0;
    for (const dvbpsi_pmt_es_t* es = theirs->p_first_es; es != nullptr;
         es = es->p_next, ++streams) {
        SCOPED_TRACE("stream " + std::to_string(streams));
        const TCPMTElementary* stream = ours->PMTElementary(static_cast<unsigned>(streams));
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(stream->StreamType(), es->i_type);
        EXPECT_EQ(stream->ElementaryPID(), es->i_pid);
        int position = 0;
        for (dvbpsi_descriptor_t* descriptor = es->p_first_descriptor; descriptor != nullptr;
             descriptor = descriptor->p_next, ++position) {
            SCOPED_TRACE("descriptor " + std::to_string(position));
            const TCDescriptor* mine = stream->Descriptor(position);
            ASSERT_NE(mine, nullptr);
            CompareDescriptor(*mine, descriptor);
        }
        EXPECT_EQ(stream->NumOfDescriptor(), position);
    }
    EXPECT_EQ(ours->NumOfElementary(), streams);
}

INSTANTIATE_TEST_SUITE_P(Sections, DvbpsiDifferential, ::testing::ValuesIn(AllCases()),
                         [](const auto& info) { return info.param.name; });

}  // namespace
