// The descriptor objects: the class handed out for each tag, every field decoded from the raw
// bytes, short payloads and zero entries, and the lookups by position and by tag.
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

TEST_F(DescriptorTest, EachTagComesAsItsOwnClass) {
    TCPMTElementary* stream = StreamWith(
        {StreamIdentifier(1), CA(0x0100, 0x20), Language({{"eng", 0}}), Subtitling({}),
         Teletext({}), Descriptor(0x6A, {}), Descriptor(0x7A, {}), Descriptor(0x0E, {1, 2, 3})});
    ASSERT_NE(stream, nullptr);
    ASSERT_EQ(stream->NumOfDescriptor(), 8);
    EXPECT_NE(dynamic_cast<TCDescStreamIdentifier*>(stream->Descriptor(0)), nullptr);
    EXPECT_NE(dynamic_cast<TCDescCA*>(stream->Descriptor(1)), nullptr);
    EXPECT_NE(dynamic_cast<TCDescLanguage*>(stream->Descriptor(2)), nullptr);
    EXPECT_NE(dynamic_cast<TCDescSubtitling*>(stream->Descriptor(3)), nullptr);
    EXPECT_NE(dynamic_cast<TCDescTeletext*>(stream->Descriptor(4)), nullptr);
    EXPECT_NE(dynamic_cast<TCDescAC3*>(stream->Descriptor(5)), nullptr);
    EXPECT_NE(dynamic_cast<TCDescEnhancedAC3*>(stream->Descriptor(6)), nullptr);
    EXPECT_EQ(typeid(*stream->Descriptor(7)), typeid(TCDescriptor));
    const int tags[] = {0x52, 0x09, 0x0A, 0x59, 0x56, 0x6A, 0x7A, 0x0E};
    for (int index = 0; index < 8; ++index)
        EXPECT_EQ(stream->Descriptor(index)->Tag(), tags[index]);
    EXPECT_EQ(stream->Descriptor(7)->Length(), 3);
    EXPECT_EQ(stream->Descriptor(7)->Payload()[2], 3);
}

TEST_F(DescriptorTest, StreamIdentifierGivesTheComponentTag) {
    const auto* identifier = Only<TCDescStreamIdentifier>(StreamIdentifier(0x30));
    ASSERT_NE(identifier, nullptr);
    EXPECT_EQ(identifier->ComponentTag(), 0x30);
    EXPECT_TRUE(identifier->HasComponentTag());
    EXPECT_TRUE(identifier->IsWellFormed());
}

TEST_F(DescriptorTest, EmptyStreamIdentifierHasNoComponentTag) {
    const auto* identifier = Only<TCDescStreamIdentifier>(Descriptor(0x52, {}));
    ASSERT_NE(identifier, nullptr);
    EXPECT_FALSE(identifier->HasComponentTag());
    EXPECT_EQ(identifier->ComponentTag(), TCDescStreamIdentifier::kNoComponentTag);
    EXPECT_FALSE(identifier->IsWellFormed());

    const auto* longer = Only<TCDescStreamIdentifier>(Descriptor(0x52, {0x21, 0x99}));
    ASSERT_NE(longer, nullptr);
    EXPECT_EQ(longer->ComponentTag(), 0x21);
    EXPECT_FALSE(longer->IsWellFormed());
}

TEST_F(DescriptorTest, CAGivesSystemPidAndPrivateBytes) {
    const auto* ca = Only<TCDescCA>(CA(0x0B00, 0x1234, {0xAA, 0xBB}));
    ASSERT_NE(ca, nullptr);
    EXPECT_EQ(ca->CASystemID(), 0x0B00);
    EXPECT_EQ(ca->CAPID(), 0x1234);
    ASSERT_EQ(ca->PrivateDataLength(), 2);
    EXPECT_EQ(ca->PrivateData()[1], 0xBB);
    EXPECT_TRUE(ca->IsWellFormed());
}

TEST_F(DescriptorTest, CAShorterThanItsFixedPartAnswersNothing) {
    for (size_t length = 0; length < 4; ++length) {
        const auto* ca = Only<TCDescCA>(Descriptor(0x09, Bytes(length, 0x17)));
        ASSERT_NE(ca, nullptr);
        EXPECT_EQ(ca->CASystemID(), 0) << length;
        EXPECT_EQ(ca->CAPID(), TCDescCA::kNoCAPID) << length;
        EXPECT_EQ(ca->PrivateDataLength(), 0) << length;
        EXPECT_FALSE(ca->IsWellFormed());
    }
}

TEST_F(DescriptorTest, LanguageEntriesArePackedFirstCharacterHighest) {
    const auto* language =
        Only<TCDescLanguage>(Language({{"eng", 0x00}, {"deu", 0x03}, {"fr\0", 0x02}}));
    ASSERT_NE(language, nullptr);
    ASSERT_EQ(language->NumOfLanguage(), 3);
    ELanguageCode code = LANGUAGE_CODE_NONE;
    EAudioType type = AUDIO_TYPE_CLEAN_EFFECTS;
    EXPECT_TRUE(language->Language(0, &code, &type));
    EXPECT_EQ(code, 0x656E67u);
    EXPECT_EQ(type, AUDIO_TYPE_UNDEFINED);
    EXPECT_TRUE(language->Language(1, &code, &type));
    EXPECT_EQ(code, PackLanguageCode('d', 'e', 'u'));
    EXPECT_EQ(type, AUDIO_TYPE_VISUAL_IMPAIRED_COMMENTARY);
    EXPECT_TRUE(language->Language(2, &code, &type));
    EXPECT_EQ(code, 0x667200u);  // a zero byte stays a zero byte
    EXPECT_EQ(type, AUDIO_TYPE_HEARING_IMPAIRED);
    EXPECT_TRUE(language->Language(2, nullptr, nullptr));
}

TEST_F(DescriptorTest, LanguageOutsideItsEntriesAnswersNone) {
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

TEST_F(DescriptorTest, LanguageCountsOnlyWholeEntries) {
    const std::pair<size_t, int> lengthAndCount[] = {{0, 0}, {3, 0},    {4, 1},
                                                     {7, 1}, {252, 63}, {255, 63}};
    for (const auto& [length, count] : lengthAndCount) {
        const auto* language = Only<TCDescLanguage>(Descriptor(0x0A, Bytes(length, 'a')));
        ASSERT_NE(language, nullptr);
        EXPECT_EQ(language->NumOfLanguage(), count) << length;
        EXPECT_EQ(language->IsWellFormed(), length % 4 == 0) << length;
    }
}

TEST_F(DescriptorTest, SubtitlingEntries) {
    const auto* subtitling = Only<TCDescSubtitling>(
        Subtitling({{"eng", 0x10, 0x0001, 0x0002}, {"fra", 0x20, 0x0101, 0xFFFF}}));
    ASSERT_NE(subtitling, nullptr);
    ASSERT_EQ(subtitling->NumOfSubtitling(), 2);
    EXPECT_EQ(subtitling->Iso639LangCode(0), PackLanguageCode('e', 'n', 'g'));
    EXPECT_EQ(subtitling->Iso639LangCode(1), PackLanguageCode('f', 'r', 'a'));
    EXPECT_EQ(subtitling->SubtitlingType(1), 0x20);
    EXPECT_EQ(subtitling->CompositionPageId(1), 0x0101);
    EXPECT_EQ(subtitling->AncillaryPageId(1), 0xFFFF);
    for (int index : {-1, 2}) {
        EXPECT_EQ(subtitling->Iso639LangCode(index), LANGUAGE_CODE_NONE);
        EXPECT_EQ(subtitling->SubtitlingType(index), 0);
        EXPECT_EQ(subtitling->CompositionPageId(index), 0);
        EXPECT_EQ(subtitling->AncillaryPageId(index), 0);
    }
}

TEST_F(DescriptorTest, SubtitlingCountsOnlyWholeEntries) {
    const std::pair<size_t, int> lengthAndCount[] = {{0, 0}, {7, 0}, {8, 1}, {15, 1}, {248, 31}};
    for (const auto& [length, count] : lengthAndCount) {
        const auto* subtitling = Only<TCDescSubtitling>(Descriptor(0x59, Bytes(length, 'a')));
        ASSERT_NE(subtitling, nullptr);
        EXPECT_EQ(subtitling->NumOfSubtitling(), count) << length;
    }
}

TEST_F(DescriptorTest, TeletextEntries) {
    const auto* teletext = Only<TCDescTeletext>(
        Teletext({{"deu", 0x01, 1, 0x00}, {"eng", 0x02, 0, 0x88}, {"nld", 0x05, 7, 0x99}}));
    ASSERT_NE(teletext, nullptr);
    ASSERT_EQ(teletext->NumOfTeletext(), 3);
    EXPECT_EQ(teletext->TeletextType(0), 0x01);
    EXPECT_EQ(teletext->TeletextType(1), 0x02);
    EXPECT_EQ(teletext->TeletextType(2), 0x05);
    EXPECT_EQ(teletext->Iso639LangCode(2), PackLanguageCode('n', 'l', 'd'));
    EXPECT_EQ(teletext->TeletextMagazineNumber(2), 7);
    EXPECT_EQ(teletext->TeletextPageNumber(1), 0x88);
    for (int index : {-1, 3}) {
        EXPECT_EQ(teletext->TeletextType(index), 0);
        EXPECT_EQ(teletext->Iso639LangCode(index), LANGUAGE_CODE_NONE);
        EXPECT_EQ(teletext->TeletextMagazineNumber(index), 0);
        EXPECT_EQ(teletext->TeletextPageNumber(index), 0);
    }
}

TEST_F(DescriptorTest, TeletextCountsOnlyWholeEntries) {
    const std::pair<size_t, int> lengthAndCount[] = {{0, 0}, {4, 0}, {5, 1}, {9, 1}, {255, 51}};
    for (const auto& [length, count] : lengthAndCount) {
        const auto* teletext = Only<TCDescTeletext>(Descriptor(0x56, Bytes(length, 'a')));
        ASSERT_NE(teletext, nullptr);
        EXPECT_EQ(teletext->NumOfTeletext(), count) << length;
        EXPECT_EQ(teletext->IsWellFormed(), length % 5 == 0) << length;
    }
}

TEST_F(DescriptorTest, AC3DescriptorsArePlainWithTheirPayloadRaw) {
    TCPMTElementary* stream = StreamWith({Descriptor(0x6A, {0x80, 0x42}), Descriptor(0x7A, {})});
    ASSERT_NE(stream, nullptr);
    const auto* ac3 = dynamic_cast<TCDescAC3*>(stream->Descriptor(0));
    ASSERT_NE(ac3, nullptr);
    EXPECT_EQ(ac3->Length(), 2);
    EXPECT_EQ(ac3->Payload()[1], 0x42);
    EXPECT_TRUE(ac3->IsWellFormed());
    EXPECT_EQ(stream->Descriptor(1)->Length(), 0);
}

TEST_F(DescriptorTest, LookupByTagFindsThemInLoopOrder) {
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
}

TEST_F(DescriptorTest, PositionsOutsideTheLoopGiveNull) {
    TCPMTElementary* stream = StreamWith({StreamIdentifier(1)});
    ASSERT_NE(stream, nullptr);
    EXPECT_NE(stream->Descriptor(0), nullptr);
    EXPECT_EQ(stream->Descriptor(1), nullptr);
    EXPECT_EQ(stream->Descriptor(-1), nullptr);
}

TEST_F(DescriptorTest, StreamWithoutDescriptors) {
    TCPMTElementary* stream = StreamWith({});
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->NumOfDescriptor(), 0);
    EXPECT_EQ(stream->ESInfoLength(), 0);
    EXPECT_EQ(stream->Descriptor(0), nullptr);
    EXPECT_EQ(stream->NumOfDescriptorByTag(0x52), 0);
}

TEST_F(DescriptorTest, ESInfoIsTheRawLoop) {
    const Bytes identifier = StreamIdentifier(0x44);
    const Bytes language = Language({{"spa", 0}});
    TCPMTElementary* stream = StreamWith({identifier, language});
    ASSERT_NE(stream, nullptr);
    Bytes expected = identifier;
    expected.insert(expected.end(), language.begin(), language.end());
    ASSERT_EQ(stream->ESInfoLength(), static_cast<int>(expected.size()));
    EXPECT_EQ(Bytes(stream->ESInfo(), stream->ESInfo() + stream->ESInfoLength()), expected);
    EXPECT_EQ(stream->Descriptor(1)->Raw(), stream->ESInfo() + identifier.size());
}

TEST_F(DescriptorTest, StreamTypeAndPid) {
    m_Frame = Framed(PmtBuilder()
                         .ProgramNumber(7)
                         .Stream(0x1B, 0x0000)
                         .Stream(0x87, 0x1FFF)
                         .Stream(0xFF, 0x0ABC)
                         .Build());
    m_Parser.Parse(0, m_Frame.data());
    TCPMTInstance* instance = m_Parser.PMTInstance(7);
    ASSERT_NE(instance, nullptr);
    ASSERT_EQ(instance->NumOfElementary(), 3);
    EXPECT_EQ(instance->PMTElementary(0)->StreamType(), 0x1B);
    EXPECT_EQ(instance->PMTElementary(0)->ElementaryPID(), 0);
    EXPECT_EQ(instance->PMTElementary(1)->StreamType(), 0x87);
    EXPECT_EQ(instance->PMTElementary(1)->ElementaryPID(), 8191);
    EXPECT_EQ(instance->PMTElementary(2)->StreamType(), 0xFF);
    EXPECT_EQ(instance->PMTElementary(2)->ElementaryPID(), 0x0ABC);
}

TEST_F(DescriptorTest, ProgramDescriptorsAreKeptApartFromTheStreams) {
    m_Frame = Framed(PmtBuilder()
                         .ProgramNumber(7)
                         .ProgramDescriptor(CA(0x0B00, 0x100))
                         .ProgramDescriptor(Descriptor(0x0E, {0, 0, 0}))
                         .Stream(0x02, 0x200, {StreamIdentifier(3)})
                         .Build());
    m_Parser.Parse(0, m_Frame.data());
    TCPMTInstance* instance = m_Parser.PMTInstance(7);
    ASSERT_NE(instance, nullptr);
    ASSERT_EQ(instance->NumOfProgramDescriptor(), 2);
    EXPECT_EQ(static_cast<TCDescCA*>(instance->ProgramDescriptor(0))->CASystemID(), 0x0B00);
    EXPECT_EQ(instance->ProgramDescriptor(1)->Tag(), 0x0E);
    EXPECT_EQ(instance->ProgramDescriptor(2), nullptr);
    EXPECT_EQ(instance->PMTElementary(0)->NumOfDescriptor(), 1);
    EXPECT_EQ(instance->PMTElementary(0)->Descriptor(0)->Tag(), 0x52);
}

TEST(DescriptorOverOwnBytes, DecodesWithoutAParser) {
    const Bytes raw = Teletext({{"swe", 0x02, 1, 0x00}});
    const TCDescTeletext teletext(raw.data());
    EXPECT_EQ(teletext.Tag(), 0x56);
    EXPECT_EQ(teletext.NumOfTeletext(), 1);
    EXPECT_EQ(teletext.Iso639LangCode(0), PackLanguageCode('s', 'w', 'e'));
}

}  // namespace
