// Real broadcast PMT sections sent over the bus with "SendPMTData", and the whole catalogue read
// back with "SizeOf*", "Get*" and "GetPID": with the receiver's current audio known, while one
// step of asking the TV service for it fails, and while it is an audio-description track.
#include <gmock/gmock.h>

#include <stdexcept>

#include "pmt_bus_fixture.h"

using pmt_bus::Known;
using pmt_bus::KnownSection;
using pmt_bus::SectionBytes;
using pmt_bus::Variant;

class CapturedSection : public PmtOnBus, public ::testing::WithParamInterface<KnownSection> {};

TEST_P(CapturedSection, IsCataloguedComponentByComponent) {
    const KnownSection& section = GetParam();
    ASSERT_EQ(SendPmt(SectionBytes(section.file), section.programme), "0");
    ExpectCatalogue(section.expected);
    EXPECT_TRUE(ServiceRunning()) << LogTail();
}

INSTANTIATE_TEST_SUITE_P(EveryCapture, CapturedSection,
                         ::testing::ValuesIn(pmt_bus::KnownSections()),
                         [](const auto& info) { return pmt_bus::TestNameOf(info.param.file); });

class WithoutCurrentAudio : public PmtOnBus, public ::testing::WithParamInterface<Variant> {};

TEST_P(WithoutCurrentAudio, LosesPrivateStreamAudioAndAudioLanguages) {
    const Variant& variant = GetParam();
    const KnownSection& section = Known(variant.file);
    SetPlatformState(R"({"tv_service": {"fail": "current_audio"}})");
    ASSERT_EQ(SendPmt(SectionBytes(section.file), section.programme), "0");
    ExpectCatalogue(variant.expected);

    // The platform is read again once it changes: the same section is whole again.
    SetPlatformState("{}");
    ASSERT_EQ(SendPmt(SectionBytes(section.file), section.programme), "0");
    ExpectCatalogue(section.expected);
}

INSTANTIATE_TEST_SUITE_P(SectionsWithAudio, WithoutCurrentAudio,
                         ::testing::ValuesIn(pmt_bus::WithoutCurrentAudio()),
                         [](const auto& info) { return pmt_bus::TestNameOf(info.param.file); });

class WithAudioDescription : public PmtOnBus, public ::testing::WithParamInterface<Variant> {};

TEST_P(WithAudioDescription, MarksOnlyPrivateStreamAudio) {
    const Variant& variant = GetParam();
    const KnownSection& section = Known(variant.file);
    const std::vector<unsigned char> bytes = SectionBytes(section.file);
    for (const char* state : {R"({"tv_service": {"audio": {"audio_description": true}}})",
                              R"({"tv_service": {"audio": {"spoken_subtitles": true}}})",
                              R"({"tv_service": {"audio": {"audio_description": true,
                                                           "spoken_subtitles": true}}})"}) {
        SCOPED_TRACE(state);
        SetPlatformState(state);
        ASSERT_EQ(SendPmt(bytes, section.programme), "0");
        ExpectCatalogue(variant.expected);
    }
    SetPlatformState(R"({"tv_service": {"audio": {"audio_description": false,
                                                  "spoken_subtitles": false}}})");
    ASSERT_EQ(SendPmt(bytes, section.programme), "0");
    ExpectCatalogue(section.expected);
}

INSTANTIATE_TEST_SUITE_P(SectionsWithAudio, WithAudioDescription,
                         ::testing::ValuesIn(pmt_bus::WithAudioDescription()),
                         [](const auto& info) { return pmt_bus::TestNameOf(info.param.file); });

// Whichever step of the lookup fails, the current audio is not had: AC-3 records of private
// streams are not made and audio-type streams keep "zzz"; the log names the step that failed.
TEST_F(PmtOnBus, EveryFailingLookupStepLosesTheCurrentAudio) {
    const struct {
        const char* step;
        const char* message;
    } steps[] = {
        {"navigation", "] GetTvMode failed\n"},
        {"tv_mode", "] GetTvMode failed\n"},
        {"criteria", "] Get navigation criteria failed\n"},
        {"service_info", "] getcurrentserviceinfor failed\n"},
        {"av_control", "] TVServiceAPI::CreateAVControl fails\n"},
        {"current_audio", "] GetCurrentAudioInfo fails\n"},
        {"service_data_aux", "] get audio fails\n"},
        {"audio_query", "] get audio fails\n"},
    };
    const KnownSection& ac3 = Known("test-020.p8803.v13.2.sec");
    const KnownSection& mpeg = Known("test-012.p4006.v2.0.sec");
    const auto variant = [](const std::string& file) -> const pmt_bus::Expectation& {
        for (const Variant& v : pmt_bus::WithoutCurrentAudio()) {
            if (v.file == file) return v.expected;
        }
        throw std::invalid_argument(file);
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.step);
        SetPlatformState(std::string(R"({"tv_service": {"fail": ")") + step.step + "\"}}");
        const size_t from = LogSize();
        ASSERT_EQ(SendPmt(SectionBytes(ac3.file), ac3.programme), "0");
        ExpectCatalogue(variant(ac3.file));
        const std::string log = LogSince(from);
        const size_t failed = log.find(step.message);
        ASSERT_NE(failed, std::string::npos) << log;
        EXPECT_NE(log.find("] GetAudioInfo fails\n", failed), std::string::npos) << log;
        EXPECT_EQ(log.find("] SUCCESS\n"), std::string::npos) << log;

        ASSERT_EQ(SendPmt(SectionBytes(mpeg.file), mpeg.programme), "0");
        ExpectCatalogue(variant(mpeg.file));
    }
}
