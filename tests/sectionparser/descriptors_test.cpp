// The descriptor objects: the class handed out for each tag (and extension tag), every field
// decoded from the raw bytes, short payloads and zero entries, and the lookups by position and by
// tag.
#include <gtest/gtest.h>

#include <type_traits>

#include "TCPMTParser.h"
#include "pmt_section_builder.h"

using namespace pmt_test;

namespace {

static_assert(std::is_same_v<decltype(std::declval<TCDescLanguage>().NumOfLanguage()), int16_t>);
static_assert(
    std::is_same_v<decltype(std::declval<TCDescSubtitling>().NumOfSubtitling()), uint8_t>);
static_assert(std::is_same_v<decltype(std::declval<TCDescTeletext>().NumOfTeletext()), uint8_t>);
static_assert(std::is_same_v<decltype(std::declval<TCDescTeletext>().TeletextType(0)), uint8_t>);
static_assert(
    std::is_same_v<decltype(std::declval<TCDescStreamIdentifier>().ComponentTag()), uint8_t>);
static_assert(std::is_same_v<decltype(std::declval<TCDescCA>().CASystemID()), uint16_t>);
static_assert(std::is_same_v<decltype(std::declval<TCPMTElementary>().ElementaryPID()), short>);

// Parses a one-stream PMT (stream type 0x06, PID 0x0100) carrying `descriptors` and gives access
// to that stream.
class DescriptorTest : public ::testing::Test {
  protected:
    TCPMTElementary* StreamWith(const std::vector<Bytes>& descriptors) {
        m_Frame = Framed(PmtBuilder().ProgramNumber(7).Stream(0x06, 0x0100, descriptors).Build());
        m_Parser.Parse(0, m_Frame.data());
        TCPMTInstance* instance = m_Parser.PMTInstance(7);
        if (instance == nullptr || !instance->IsValid()) return nullptr;
        return instance->PMTElementary(0);
    }

    template <typename Descriptor>
    const Descriptor* Only(const Bytes& descriptor) {
        TCPMTElementary* stream = StreamWith({descriptor});
        if (stream == nullptr || stream->NumOfDescriptor() != 1) return nullptr;
        return dynamic_cast<const Descriptor*>(stream->Descriptor(0));
    }

    TCPMTParser m_Parser{TVSHandle{1, 0, 0}};
    Bytes m_Frame;
};

TEST_F(DescriptorTest, PayloadsShortOrLongAnswerOnlyWhatTheyHold) {
    const auto* empty = Only<TCDescStreamIdentifier>(Descriptor(0x52, {}));
    ASSERT_NE(empty, nullptr);
    EXPECT_FALSE(empty->HasComponentTag());
    EXPECT_EQ(empty->ComponentTag(), TCDescStreamIdentifier::kNoComponentTag);
    EXPECT_FALSE(empty->IsWellFormed());
    const auto* longer = Only<TCDescStreamIdentifier>(Descriptor(0x52, {0x21, 0x99}));
    ASSERT_NE(longer, nullptr);
    EXPECT_EQ(longer->ComponentTag(), 0x21);
    EXPECT_FALSE(longer->IsWellFormed());
    for (size_t length = 0; length < 4; ++length) {
        const auto* ca = Only<TCDescCA>(Descriptor(0x09, Bytes(length, 0x17)));
        ASSERT_NE(ca, nullptr);
        EXPECT_EQ(ca->CASystemID(), 0) << length;
        EXPECT_EQ(ca->CAPID(), TCDescCA::kNoCAPID) << length;
        EXPECT_EQ(ca->PrivateDataLength(), 0) << length;
        EXPECT_FALSE(ca->IsWellFormed());
    }
}

// Entries of 4 (language), 8 (subtitling) and 5 (teletext) bytes: a partial one is not counted.
TEST_F(DescriptorTest, LoopsCountOnlyWholeEntries) {
    const struct {
        uint8_t tag;
        size_t length;
        int count;
    } cases[] = {{0x0A, 0, 0},    {0x0A, 3, 0}, {0x0A, 4, 1}, {0x0A, 7, 1},   {0x0A, 252, 63},
                 {0x0A, 255, 63}, {0x59, 7, 0}, {0x59, 8, 1}, {0x59, 15, 1},  {0x59, 248, 31},
                 {0x56, 4, 0},    {0x56, 5, 1}, {0x56, 9, 1}, {0x56, 255, 51}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "tag " << int{c.tag} << ", length " << c.length);
        TCPMTElementary* stream = StreamWith({Descriptor(c.tag, Bytes(c.length, 'a'))});
        ASSERT_NE(stream, nullptr);
        const TCDescriptor* descriptor = stream->Descriptor(0);
        int count = -1;
        if (const auto* language = dynamic_cast<const TCDescLanguage*>(descriptor)) {
            count = language->NumOfLanguage();
            EXPECT_EQ(language->IsWellFormed(), c.length % 4 == 0);
        } else if (const auto* subtitling = dynamic_cast<const TCDescSubtitling*>(descriptor)) {
            count = subtitling->NumOfSubtitling();
        } else if (const auto* teletext = dynamic_cast<const TCDescTeletext*>(descriptor)) {
            count = teletext->NumOfTeletext();
            EXPECT_EQ(teletext->IsWellFormed(), c.length % 5 == 0);
        }
        EXPECT_EQ(count, c.count);
    }
    const auto* language = Only<TCDescLanguage>(Language({{"eng", 1}}));
    ASSERT_NE(language, nullptr);
    for (int index : {-1, 1, 64, 1 << 30}) {
        ELanguageCode code = PackLanguageCode('x', 'x', 'x');
        EAudioType type = AUDIO_TYPE_CLEAN_EFFECTS;
        EXPECT_FALSE(language->Language(index, &code, &type));
        EXPECT_EQ(code, LANGUAGE_CODE_NONE);
        EXPECT_EQ(type, AUDIO_TYPE_UNDEFINED);
    }
}

// component_type, when its flag and its byte are both there, in both AC-3 descriptors.
TEST_F(DescriptorTest, AC3ComponentTypeIsDecodedOnlyWhenFlaggedAndPresent) {
    const struct {
        Bytes payload;
        bool has;
        bool wellFormed;
        uint8_t componentType;
        bool enhanced;
        bool fullService;
        EAC3ServiceType service;
        EAC3Channels channels;
    } cases[] = {
        {{}, false, false, 0, false, false, AC3_SERVICE_COMPLETE_MAIN, AC3_CHANNELS_MONO},
        {{0x80}, false, false, 0, false, false, AC3_SERVICE_COMPLETE_MAIN, AC3_CHANNELS_MONO},
        {{0x7F, 0xD2}, false, true, 0, false, false, AC3_SERVICE_COMPLETE_MAIN, AC3_CHANNELS_MONO},
        {{0x80, 0x44},
         true,
         true,
         0x44,
         false,
         true,
         AC3_SERVICE_COMPLETE_MAIN,
         AC3_CHANNELS_MULTICHANNEL},
        {{0x80, 0xD2},
         true,
         true,
         0xD2,
         true,
         true,
         AC3_SERVICE_VISUALLY_IMPAIRED,
         AC3_CHANNELS_STEREO},
        {{0xC0, 0x29, 0x10},
         true,
         true,
         0x29,
         false,
         false,
         AC3_SERVICE_COMMENTARY,
         AC3_CHANNELS_DUAL_MONO},
        {{0x80, 0x3F},
         true,
         true,
         0x3F,
         false,
         false,
         AC3_SERVICE_VOICEOVER_OR_KARAOKE,
         AC3_CHANNELS_RESERVED},
        {{0x80, 0x1B},
         true,
         true,
         0x1B,
         false,
         false,
         AC3_SERVICE_HEARING_IMPAIRED,
         AC3_CHANNELS_SURROUND_STEREO},
    };
    for (const uint8_t tag : {TCDescAC3::kTag, TCDescEnhancedAC3::kTag}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message()
                         << "tag " << int{tag} << ", payload of " << c.payload.size()
                         << " bytes, component_type " << int{c.componentType});
            TCPMTElementary* stream = StreamWith({Descriptor(tag, c.payload)});
            ASSERT_NE(stream, nullptr);
            const auto* audio = dynamic_cast<const TCDescAC3Audio*>(stream->Descriptor(0));
            ASSERT_NE(audio, nullptr);
            EXPECT_EQ(tag == TCDescAC3::kTag, dynamic_cast<const TCDescAC3*>(audio) != nullptr);
            EXPECT_EQ(audio->HasComponentType(), c.has);
            EXPECT_EQ(audio->IsWellFormed(), c.wellFormed);
            EXPECT_EQ(audio->ComponentType(), c.componentType);
            EXPECT_EQ(audio->EnhancedAC3(), c.enhanced);
            EXPECT_EQ(audio->FullService(), c.fullService);
            EXPECT_EQ(audio->ServiceType(), c.service);
            EXPECT_EQ(audio->NumberOfChannels(), c.channels);
        }
    }
}

// The extension descriptor is a supplementary audio descriptor by its tag extension 0x06 alone;
// its fields are read only as far as its length and its language_code_present flag allow.
TEST_F(DescriptorTest, SupplementaryAudioFieldsStayInsideTheDescriptor) {
    const struct {
        Bytes payload;
        bool supplementary;
        bool wellFormed;
        uint8_t mixType;
        uint8_t classification;
        bool flag;
        const char* code;  // null: none
        int privateBytes;
    } cases[] = {
        {{}, false, false, 0, 0, false, nullptr, 0},
        {{0x11, 0x00, 0x00}, false, true, 0, 0, false, nullptr, 0},
        {{0x06}, true, false, 0, 0, false, nullptr, 0},
        {{0x06, 0x85, 'f', 'r', 'a'}, true, true, 1, 1, true, "fra", 0},
        {{0x06, 0x85, 'f', 'r'}, true, false, 1, 1, true, nullptr, 0},
        {{0x06, 0x08, 0xAA, 0xBB}, true, true, 0, 2, false, nullptr, 2},
        {{0x06, 0x0D, 'd', 'e', 'u', 0xCC}, true, true, 0, 3, true, "deu", 1},
        {{0x06, 0xFE}, true, true, 1, 0x1F, false, nullptr, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "payload of " << c.payload.size() << " bytes");
        TCPMTElementary* stream = StreamWith({Descriptor(0x7F, c.payload)});
        ASSERT_NE(stream, nullptr);
        const auto* extension = dynamic_cast<const TCDescExtension*>(stream->Descriptor(0));
        ASSERT_NE(extension, nullptr);
        EXPECT_EQ(extension->TagExtension(),
                  c.payload.empty() ? TCDescExtension::kNoTagExtension : c.payload[0]);
        EXPECT_EQ(extension->ExtensionLength(),
                  c.payload.empty() ? 0 : static_cast<int>(c.payload.size()) - 1);
        const auto* audio = dynamic_cast<const TCDescSupplementaryAudio*>(extension);
        ASSERT_EQ(audio != nullptr, c.supplementary);
        if (audio == nullptr) continue;
        EXPECT_EQ(audio->IsWellFormed(), c.wellFormed);
        EXPECT_EQ(audio->MixType(), c.mixType);
        EXPECT_EQ(audio->EditorialClassification(), c.classification);
        EXPECT_EQ(audio->LanguageCodePresent(), c.flag);
        EXPECT_EQ(audio->HasLanguageCode(), c.code != nullptr);
        EXPECT_EQ(audio->Iso639LangCode(), c.code != nullptr
                                               ? PackLanguageCode(c.code[0], c.code[1], c.code[2])
                                               : LANGUAGE_CODE_NONE);
        ASSERT_EQ(audio->PrivateDataLength(), c.privateBytes);
        if (c.privateBytes > 0) {
            EXPECT_EQ(audio->PrivateData()[c.privateBytes - 1], c.payload.back());
        }
    }
    // The builder the service tests use writes what the decoder reads.
    const auto* built =
        Only<TCDescSupplementaryAudio>(SupplementaryAudio(1, EDITORIAL_AUDIO_DESCRIPTION, "fra"));
    ASSERT_NE(built, nullptr);
    EXPECT_EQ(built->Iso639LangCode(), PackLanguageCode('f', 'r', 'a'));
    EXPECT_EQ(built->EditorialClassification(), EDITORIAL_AUDIO_DESCRIPTION);
}

TEST_F(DescriptorTest, LookupsByPositionAndByTagFollowTheLoopAndGiveNullOutsideIt) {
    TCPMTElementary* stream =
        StreamWith({StreamIdentifier(0x10), CA(0x0B00, 1), StreamIdentifier(0x20), CA(0x0100, 2)});
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->NumOfDescriptorByTag(0x52), 2);
    EXPECT_EQ(stream->NumOfDescriptorByTag(0x09), 2);
    EXPECT_EQ(stream->NumOfDescriptorByTag(0x0A), 0);
    EXPECT_EQ(stream->NumOfDescriptorByTag(0x152), 0);
    const auto* first = static_cast<TCDescStreamIdentifier*>(stream->DescriptorByTag(0x52, 0));
    const auto* second = static_cast<TCDescStreamIdentifier*>(stream->DescriptorByTag(0x52, 1));
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(first->ComponentTag(), 0x10);
    EXPECT_EQ(second->ComponentTag(), 0x20);
    EXPECT_EQ(static_cast<TCDescCA*>(stream->DescriptorByTag(0x09, 1))->CASystemID(), 0x0100);
    EXPECT_EQ(stream->DescriptorByTag(0x52, 2), nullptr);
    EXPECT_EQ(stream->DescriptorByTag(0x52, -1), nullptr);
    EXPECT_EQ(stream->DescriptorByTag(0x0A, 0), nullptr);
    EXPECT_EQ(stream->Descriptor(2), second);
    EXPECT_EQ(stream->Descriptor(4), nullptr);
    EXPECT_EQ(stream->Descriptor(-1), nullptr);
    TCPMTElementary* bare = StreamWith({});  // replaces the stream above
    ASSERT_NE(bare, nullptr);
    EXPECT_EQ(bare->NumOfDescriptor(), 0);
    EXPECT_EQ(bare->ESInfoLength(), 0);
    EXPECT_EQ(bare->Descriptor(0), nullptr);
    EXPECT_EQ(bare->NumOfDescriptorByTag(0x52), 0);
}

}  // namespace
