#include "known_sections.h"

#include <cctype>
#include <stdexcept>

#include "bus_fixture.h"

namespace pmt_bus {
namespace {

// Shorthands for the fields every entry of a kind carries alike: audio_channels 2 and
// aspect_ratio 100 are written out in each entry all the same.
constexpr bool kClear = false;
constexpr bool kScrambled = true;
constexpr int kNoTag = 255;

// Video encodings: stream type 0x1B gives 1; 0x02 (MPEG-2 video) gives -1.
constexpr int kAvc = 1;
constexpr int kMpeg2Video = -1;
// Audio encodings.
constexpr int kAc3 = 0;
constexpr int kMpegAudio = 2;
constexpr int kAdts = 3;
constexpr int kLatm = 4;
constexpr int kEac3 = 5;

std::vector<KnownSection> MakeKnownSections() {
    return {
        // Programme 8801. Programme-level CA descriptors only (not looked at).
        //   0x1B pid 110, no descriptors
        //   0x06 pid 121: ISO 639 "fra", AC-3
        //   0x06 pid 122: AC-3, ISO 639 "eng" (language after the AC-3 descriptor)
        //   0x06 pid 123: ISO 639 "qad", AC-3
        //   0x06 pid 142: subtitling "fra" (type 0x10)
        //   0x06 pid 143: subtitling "fra" (type 0x20)
        {"test-011.p8801.v10.0.sec",
         8801,
         {{{{121, kAc3, kClear, kNoTag, "fra", 2, false},
            {122, kAc3, kClear, kNoTag, "eng", 2, false},
            {123, kAc3, kClear, kNoTag, "qad", 2, false}},
           {{110, kAvc, kClear, 0, kNoTag, 100}},
           {{142, kClear, kNoTag, "fra", false}, {143, kClear, kNoTag, "fra", false}}},
          {{255, 121}, {0, 0}, {1, 0}}}},

        // Programme 8899: one stream of type 0x05 (private sections), nothing catalogued.
        {"test-011.p8899.v0.9.sec", 8899, {{{}, {}, {}}, {{255, 0}, {0, 0}}}},

        // Programme 4006.
        //   0x1B pid 1060, no descriptors
        //   0x04 pid 1061 "fra", 1062 "eng", 1063 "deu", 1067 "qad" (audio_type 3)
        //   0x06 pid 1068: teletext "fra" type 5, "fra" type 2; VBI data descriptor
        {"test-012.p4006.v2.0.sec",
         4006,
         {{{{1061, kMpegAudio, kClear, kNoTag, "fra", 2, false},
            {1062, kMpegAudio, kClear, kNoTag, "eng", 2, false},
            {1063, kMpegAudio, kClear, kNoTag, "deu", 2, false},
            {1067, kMpegAudio, kClear, kNoTag, "qad", 2, false}},
           {{1060, kAvc, kClear, 0, kNoTag, 100}},
           {{1068, kClear, kNoTag, "fra", false}, {1068, kClear, kNoTag, "fra", false}}},
          {{255, 1061}, {0, 0}}}},

        // Programme 1.
        //   0x02 pid 1620: CA 0x183D, CA 0x183E
        //   0x04 pid 1621: "ita", CA 0x183D, CA 0x183E
        //   0x04 pid 1622: "eng", CA 0x183D, CA 0x183E
        //   0x06 pid 1619: teletext "ita" type 1 (passed over), "ita" type 2
        //   three 0x05 streams, two 0x0B streams (stream identifiers 0x0A and 0x0E)
        {"test-018.p1.v4.0.sec",
         1,
         {{{{1621, kMpegAudio, kScrambled, kNoTag, "ita", 2, false},
            {1622, kMpegAudio, kScrambled, kNoTag, "eng", 2, false}},
           {{1620, kMpeg2Video, kScrambled, 0x183E, kNoTag, 100}},
           {{1619, kClear, kNoTag, "ita", false}}},
          {{255, 1621}, {0x0A, 0}, {0x0E, 0}}}},

        // Programme 8803.
        //   0x1B pid 310: stream identifier 0
        //   0x06 pid 321: ISO 639 "fra", AC-3, stream identifier 1
        //   0x06 pid 322: AC-3, ISO 639 "eng", stream identifier 2
        //   0x06 pid 342: subtitling "fra", stream identifier 3
        //   0x06 pid 343: subtitling "fra", stream identifier 4
        {"test-020.p8803.v13.2.sec",
         8803,
         {{{{321, kAc3, kClear, 1, "fra", 2, false}, {322, kAc3, kClear, 2, "eng", 2, false}},
           {{310, kAvc, kClear, 0, 0, 100}},
           {{342, kClear, 3, "fra", false}, {343, kClear, 4, "fra", false}}},
          {{0, 310}, {1, 321}, {2, 322}, {3, 342}, {4, 343}, {255, 0}, {5, 0}}}},

        // Programme 2064: 0x02 pid 4096, 0x03 pid 4097, neither with descriptors.
        {"test-025.p2064.v1.0.sec",
         2064,
         {{{{4097, kMpegAudio, kClear, kNoTag, "zzz", 2, false}},
           {{4096, kMpeg2Video, kClear, 0, kNoTag, 100}},
           {}},
          {{255, 4097}, {0, 0}}}},

        // Programme 1045.
        //   0x1B pid 420: stream identifier 1
        //   0x06 pid 430: stream identifier 2, ISO 639 "fra", Enhanced AC-3
        //   0x06 pid 431: stream identifier 3, ISO 639 "qad", extension (supplementary audio,
        //                 "fra"), Enhanced AC-3
        //   0x06 pid 440: stream identifier 5, subtitling "fra"
        //   0x06 pid 432: ISO 639 "qaa", Enhanced AC-3
        //   0x06 pid 441: subtitling "fra"
        {"test-059.2.p1045.v1.0.sec",
         1045,
         {{{{430, kEac3, kClear, 2, "fra", 2, false},
            {431, kEac3, kClear, 3, "qad", 2, false},
            {432, kEac3, kClear, kNoTag, "qaa", 2, false}},
           {{420, kAvc, kClear, 0, 1, 100}},
           {{440, kClear, 5, "fra", false}, {441, kClear, kNoTag, "fra", false}}},
          {{1, 420}, {2, 430}, {3, 431}, {5, 440}, {255, 432}, {4, 0}}}},

        // Programme 1: 0x04 pid 100, 0x1B pid 101, no descriptors.
        {"test-072.p1.v0.0.sec",
         1,
         {{{{100, kMpegAudio, kClear, kNoTag, "zzz", 2, false}},
           {{101, kAvc, kClear, 0, kNoTag, 100}},
           {}},
          {{255, 100}, {0, 0}}}},

        // Programme 262.
        //   0x1B pid 620: stream identifier 1
        //   0x06 pid 630: stream identifier 2, ISO 639 "fre", Enhanced AC-3
        //   0x06 pid 640: stream identifier 5, subtitling "fra"
        {"test-093.1.p262.v10.0.sec",
         262,
         {{{{630, kEac3, kClear, 2, "fre", 2, false}},
           {{620, kAvc, kClear, 0, 1, 100}},
           {{640, kClear, 5, "fra", false}}},
          {{1, 620}, {2, 630}, {5, 640}, {255, 0}, {3, 0}}}},

        // Programme 1: 0x1B pid 120, stream identifier 1.
        {"test-097.p1.v0.0.sec",
         1,
         {{{}, {{120, kAvc, kClear, 0, 1, 100}}, {}}, {{1, 120}, {255, 0}, {0, 0}}}},

        // Programme 1: 0x24 (HEVC) pid 257, not catalogued; 0x0F pid 258: AAC descriptor,
        // ISO 639 "eng".
        {"test-100.1.p1.v0.0.sec",
         1,
         {{{{258, kAdts, kClear, kNoTag, "eng", 2, false}}, {}, {}}, {{255, 258}, {0, 0}}}},

        // Programme 141.
        //   0x02 pid 320: stream identifier 0, user-private descriptor 0xC8
        //   0x0F pid 321: stream identifier 0x10
        //   0x06 pid 325: stream identifier 0x30, CA 0x0005, data component (nothing made)
        //   0x06 pid 326: stream identifier 0x38, CA 0x0005, data component (nothing made)
        //   four 0x0D streams (stream identifiers 0x40, 0x52, 0x53, 0x66)
        {"test-101.p141.v9.0.sec",
         141,
         {{{{321, kAdts, kClear, 0x10, "zzz", 2, false}},
           {{320, kMpeg2Video, kClear, 0, 0, 100}},
           {}},
          {{0, 320}, {0x10, 321}, {0x30, 0}, {0x38, 0}, {0x40, 0}, {255, 0}}}},

        // Programme 1: 0x02 pid 33, no descriptors.
        {"test-103.p1.v1.0.sec",
         1,
         {{{}, {{33, kMpeg2Video, kClear, 0, kNoTag, 100}}, {}}, {{255, 33}, {0, 0}}}},

        // Programme 3401.
        //   0x02 pid 512: video stream descriptor
        //   0x04 pid 650: ISO 639 "ita", stream identifier 2
        //   0x04 pid 694: ISO 639 "Oth", audio stream descriptor
        //   0x06 pid 576: teletext "ita" type 1 (passed over), "ita" type 2, "eng" type 2
        //   two 0x0B streams (stream identifiers 0x29, 0x2A), two 0x05 streams,
        //   0x0C pid 3101 (stream identifier 0x32)
        //   0x04 pid 699: ISO 639 "eng", audio stream descriptor
        {"test-108.p3401.v3.0.sec",
         3401,
         {{{{650, kMpegAudio, kClear, 2, "ita", 2, false},
            {694, kMpegAudio, kClear, kNoTag, "Oth", 2, false},
            {699, kMpegAudio, kClear, kNoTag, "eng", 2, false}},
           {{512, kMpeg2Video, kClear, 0, kNoTag, 100}},
           {{576, kClear, kNoTag, "ita", false}, {576, kClear, kNoTag, "eng", false}}},
          {{2, 650}, {255, 694}, {0x29, 0}, {0x2A, 0}, {0x32, 0}}}},

        // Programme 800: 0x06 pid 64 with an extension descriptor only: nothing catalogued.
        {"test-138.2.p800.v11.0.sec", 800, {{{}, {}, {}}, {{255, 0}}}},

        // Programme 1.
        //   0x02 pid 4113, no descriptors
        //   0x86 pid 4352: ISO 639 "eng" (not catalogued)
        //   0x04 pid 4353: ISO 639 "eng"
        {"test-139.p1.v0.0.sec",
         1,
         {{{{4353, kMpegAudio, kClear, kNoTag, "eng", 2, false}},
           {{4113, kMpeg2Video, kClear, 0, kNoTag, 100}},
           {}},
          {{255, 4353}}}},

        // Programme 2011: 0x24 (HEVC) pid 2012, not catalogued; 0x11 pid 2013: ISO 639 "hrv"
        // (audio_type 1), AAC descriptor.
        {"test-146.p2011.v6.0.sec",
         2011,
         {{{{2013, kLatm, kClear, kNoTag, "hrv", 2, false}}, {}, {}}, {{255, 2013}}}},

        // Programme 1: one stream of type 0x33, not catalogued.
        {"test-148.p1.v0.0.sec", 1, {{{}, {}, {}}, {{255, 0}}}},

        // Programme 3.
        //   0x02 pid 49: video stream descriptor, data stream alignment
        //   0x06 pid 52: registration "AC-3", descriptor 0xA3, ATSC AC-3 descriptor 0x81,
        //                ISO 639 "eng", AC-3
        {"test-151.ac3.dvb.p3.v2.0.sec",
         3,
         {{{{52, kAc3, kClear, kNoTag, "eng", 2, false}},
           {{49, kMpeg2Video, kClear, 0, kNoTag, 100}},
           {}},
          {{255, 52}}}},

        // Programme 1.
        //   0x1B pid 256, no descriptors
        //   0x0F pids 257, 258 and 0x87 pids 259, 260, each with ISO 639 "eng"
        {"test-151.p1.v0.0.sec",
         1,
         {{{{257, kAdts, kClear, kNoTag, "eng", 2, false},
            {258, kAdts, kClear, kNoTag, "eng", 2, false},
            {259, kEac3, kClear, kNoTag, "eng", 2, false},
            {260, kEac3, kClear, kNoTag, "eng", 2, false}},
           {{256, kAvc, kClear, 0, kNoTag, 100}},
           {}},
          {{255, 257}, {0, 0}}}},
    };
}

std::vector<Variant> MakeWithoutCurrentAudio() {
    const auto video_and_subtitles = [](const std::string& file,
                                        std::vector<AudioEntry> audio) -> Catalogue {
        const Catalogue& plain = Known(file).expected.catalogue;
        return {std::move(audio), plain.video, plain.subtitles};
    };
    return {
        {"test-011.p8801.v10.0.sec",
         {video_and_subtitles("test-011.p8801.v10.0.sec", {}), {{255, 142}, {0, 0}}}},
        {"test-012.p4006.v2.0.sec",
         {video_and_subtitles("test-012.p4006.v2.0.sec",
                              {{1061, kMpegAudio, kClear, kNoTag, "zzz", 2, false},
                               {1062, kMpegAudio, kClear, kNoTag, "zzz", 2, false},
                               {1063, kMpegAudio, kClear, kNoTag, "zzz", 2, false},
                               {1067, kMpegAudio, kClear, kNoTag, "zzz", 2, false}}),
          {{255, 1061}, {0, 0}}}},
        {"test-018.p1.v4.0.sec",
         {video_and_subtitles("test-018.p1.v4.0.sec",
                              {{1621, kMpegAudio, kScrambled, kNoTag, "zzz", 2, false},
                               {1622, kMpegAudio, kScrambled, kNoTag, "zzz", 2, false}}),
          {{255, 1621}}}},
        {"test-020.p8803.v13.2.sec",
         {video_and_subtitles("test-020.p8803.v13.2.sec", {}),
          {{0, 310}, {1, 0}, {2, 0}, {3, 342}, {4, 343}, {255, 0}}}},
        {"test-059.2.p1045.v1.0.sec",
         {video_and_subtitles("test-059.2.p1045.v1.0.sec", {}),
          {{1, 420}, {2, 0}, {3, 0}, {5, 440}, {255, 441}}}},
        {"test-093.1.p262.v10.0.sec",
         {video_and_subtitles("test-093.1.p262.v10.0.sec", {}),
          {{1, 620}, {2, 0}, {5, 640}, {255, 0}}}},
        {"test-108.p3401.v3.0.sec",
         {video_and_subtitles("test-108.p3401.v3.0.sec",
                              {{650, kMpegAudio, kClear, 2, "zzz", 2, false},
                               {694, kMpegAudio, kClear, kNoTag, "zzz", 2, false},
                               {699, kMpegAudio, kClear, kNoTag, "zzz", 2, false}}),
          {{2, 650}, {255, 694}}}},
        {"test-151.ac3.dvb.p3.v2.0.sec",
         {video_and_subtitles("test-151.ac3.dvb.p3.v2.0.sec", {}), {{255, 49}}}},
        {"test-151.p1.v0.0.sec",
         {video_and_subtitles("test-151.p1.v0.0.sec",
                              {{257, kAdts, kClear, kNoTag, "zzz", 2, false},
                               {258, kAdts, kClear, kNoTag, "zzz", 2, false},
                               {259, kEac3, kClear, kNoTag, "zzz", 2, false},
                               {260, kEac3, kClear, kNoTag, "zzz", 2, false}}),
          {{255, 257}}}},
        // Audio without a language descriptor is the same either way.
        {"test-101.p141.v9.0.sec", Known("test-101.p141.v9.0.sec").expected},
    };
}

std::vector<Variant> MakeWithAudioDescription() {
    const auto video_and_subtitles = [](const std::string& file,
                                        std::vector<AudioEntry> audio) -> Catalogue {
        const Catalogue& plain = Known(file).expected.catalogue;
        return {std::move(audio), plain.video, plain.subtitles};
    };
    const auto pids = [](const std::string& file) { return Known(file).expected.pids; };
    return {
        {"test-011.p8801.v10.0.sec",
         {video_and_subtitles("test-011.p8801.v10.0.sec",
                              {{121, kAc3, kClear, kNoTag, "fra", 2, true},
                               {122, kAc3, kClear, kNoTag, "eng", 2, true},
                               {123, kAc3, kClear, kNoTag, "qad", 2, true}}),
          pids("test-011.p8801.v10.0.sec")}},
        {"test-020.p8803.v13.2.sec",
         {video_and_subtitles("test-020.p8803.v13.2.sec", {{321, kAc3, kClear, 1, "fra", 2, true},
                                                           {322, kAc3, kClear, 2, "eng", 2, true}}),
          pids("test-020.p8803.v13.2.sec")}},
        {"test-059.2.p1045.v1.0.sec",
         {video_and_subtitles("test-059.2.p1045.v1.0.sec",
                              {{430, kEac3, kClear, 2, "fra", 2, true},
                               {431, kEac3, kClear, 3, "qad", 2, true},
                               {432, kEac3, kClear, kNoTag, "qaa", 2, true}}),
          pids("test-059.2.p1045.v1.0.sec")}},
        {"test-151.ac3.dvb.p3.v2.0.sec",
         {video_and_subtitles("test-151.ac3.dvb.p3.v2.0.sec",
                              {{52, kAc3, kClear, kNoTag, "eng", 2, true}}),
          pids("test-151.ac3.dvb.p3.v2.0.sec")}},
        // Audio of the audio stream types never carries the flag, whatever is playing.
        {"test-012.p4006.v2.0.sec", Known("test-012.p4006.v2.0.sec").expected},
        {"test-018.p1.v4.0.sec", Known("test-018.p1.v4.0.sec").expected},
        {"test-151.p1.v0.0.sec", Known("test-151.p1.v0.0.sec").expected},
    };
}

}  // namespace

const std::vector<KnownSection>& KnownSections() {
    static const std::vector<KnownSection> sections = MakeKnownSections();
    return sections;
}

const KnownSection& Known(const std::string& file) {
    for (const KnownSection& section : KnownSections()) {
        if (section.file == file) return section;
    }
    throw std::invalid_argument("no expectation for " + file);
}

const std::vector<Variant>& WithoutCurrentAudio() {
    static const std::vector<Variant> variants = MakeWithoutCurrentAudio();
    return variants;
}

const std::vector<Variant>& WithAudioDescription() {
    static const std::vector<Variant> variants = MakeWithAudioDescription();
    return variants;
}

std::string TestNameOf(const std::string& file) {
    std::string name;
    for (char c : file.substr(0, file.rfind(".sec"))) {
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    }
    return name;
}

void PrintTo(const KnownSection& section, std::ostream* out) {
    *out << section.file;
}

void PrintTo(const Variant& variant, std::ostream* out) {
    *out << variant.file;
}

std::vector<unsigned char> SectionBytes(const std::string& file) {
    const std::vector<unsigned char> bytes =
        test_support::ReadFile(std::string(TREVALO_TESTDATA_DIR) + "/pmt/" + file);
    if (bytes.empty()) throw std::runtime_error("cannot read " + file);
    return bytes;
}

}  // namespace pmt_bus
