// Bytes and bodies no broadcast would send: every captured section cut short at every length and
// with each byte flipped, random buffers, random sections with a correct CRC_32, and random
// request bodies. The service answers each one, keeps its catalogue whenever it refuses, and
// afterwards still catalogues a good section correctly.
#include <gmock/gmock.h>

#include <random>

#include "pmt_bus_fixture.h"
#include "section_bytes.h"

using pmt_bus::Bytes;
using pmt_bus::Known;
using pmt_bus::KnownSection;
using pmt_bus::Request;
using pmt_bus::SectionBytes;
using pmt_bus::operator+;
using test_support::Reply;

namespace {

// The catalogue the service holds while hostile bytes arrive: a section whose list sizes differ
// from those of the section under test, so that a catalogue rebuilt or emptied by mistake shows
// in the sizes.
const KnownSection& SentinelFor(const KnownSection& section) {
    return Known(section.file == "test-012.p4006.v2.0.sec" ? "test-059.2.p1045.v1.0.sec"
                                                           : "test-012.p4006.v2.0.sec");
}

struct Mutation {
    std::string what;
    Bytes bytes;
};

}  // namespace

class HostileSection : public PmtOnBus, public ::testing::WithParamInterface<KnownSection> {
  protected:
    // Sends every mutation of the section (reset true, the section's own programme), each
    // followed by the three size queries. A mutation that cannot be a valid PMT must be refused
    // with 1 and leave the sentinel's catalogue; one that still could is sent on its own, may
    // be taken or refused, and the sentinel is sent again after it.
    void ExpectRefusedKeepingTheCatalogue(const std::vector<Mutation>& mutations) {
        const KnownSection& section = GetParam();
        const KnownSection& sentinel = SentinelFor(section);
        const Bytes sentinel_bytes = SectionBytes(sentinel.file);
        ASSERT_EQ(SendPmt(sentinel_bytes, sentinel.programme), "0");
        const pmt_bus::Sizes sentinel_sizes = pmt_bus::SizesOf(sentinel.expected.catalogue);

        std::vector<const Mutation*> refusable;
        std::vector<const Mutation*> maybe_valid;
        std::vector<Request> requests;
        for (const Mutation& mutation : mutations) {
            if (pmt_bus::CrcHolds(mutation.bytes)) {
                maybe_valid.push_back(&mutation);
                continue;
            }
            refusable.push_back(&mutation);
            requests.push_back({pmt_bus::SendPmtBody(section.programme), mutation.bytes});
            for (Request& size : pmt_bus::SizeRequests()) requests.push_back(std::move(size));
        }
        const std::vector<Reply> replies = pipeline_->Send(requests);
        int failures = 0;
        for (size_t i = 0; i < refusable.size() && failures < 20; ++i) {
            const Reply* reply = &replies[4 * i];
            const std::string answer = pmt_bus::ReturnData(reply[0]);
            const pmt_bus::Sizes sizes = pmt_bus::SizesFrom(reply + 1);
            if (answer != "1" || !(sizes == sentinel_sizes)) {
                ++failures;
                ADD_FAILURE() << refusable[i]->what << ": answered " << answer
                              << ", catalogue sizes then " << sizes << " instead of "
                              << sentinel_sizes;
            }
        }
        ASSERT_TRUE(ServiceRunning()) << LogTail();

        for (const Mutation* mutation : maybe_valid) {
            const std::string answer = SendPmt(mutation->bytes, section.programme);
            EXPECT_THAT(answer, ::testing::AnyOf("0", "1")) << mutation->what;
            ASSERT_EQ(SendPmt(sentinel_bytes, sentinel.programme), "0") << mutation->what;
        }

        // Nothing of the sentinel's catalogue was lost, and a good section is still taken.
        ExpectCatalogue(sentinel.expected);
        ASSERT_EQ(SendPmt(SectionBytes(section.file), section.programme), "0");
        ExpectCatalogue(section.expected);
    }
};

TEST_P(HostileSection, EveryTruncationIsRefused) {
    const KnownSection& section = GetParam();
    const Bytes bytes = SectionBytes(section.file);
    ASSERT_TRUE(pmt_bus::CrcHolds(bytes)) << "the CRC check of this test is wrong";
    std::vector<Mutation> mutations;
    for (size_t length = 0; length < bytes.size(); ++length) {
        Bytes cut(bytes.begin(), bytes.begin() + static_cast<long>(length));
        // The service reads zero bytes past the end of a buffer, so dropping trailing zero bytes
        // (a CRC_32 ending in 0x00) leaves the very section: it must be taken.
        bool only_zeros_dropped = true;
        for (size_t i = length; i < bytes.size(); ++i) only_zeros_dropped &= bytes[i] == 0;
        if (only_zeros_dropped && length > 0) {
            EXPECT_EQ(SendPmt(cut, section.programme), "0") << "first " << length << " bytes";
            ExpectCatalogue(section.expected);
            continue;
        }
        mutations.push_back({"first " + std::to_string(length) + " bytes", std::move(cut)});
    }
    ExpectRefusedKeepingTheCatalogue(mutations);
}

TEST_P(HostileSection, EveryFlippedByteIsRefused) {
    const Bytes bytes = SectionBytes(GetParam().file);
    std::vector<Mutation> mutations;
    for (size_t position = 0; position < bytes.size(); ++position) {
        for (unsigned pattern : {0x01u, 0x02u, 0x04u, 0x08u, 0x10u, 0x20u, 0x40u, 0x80u, 0xFFu}) {
            Bytes flipped = bytes;
            flipped[position] ^= static_cast<unsigned char>(pattern);
            mutations.push_back(
                {"byte " + std::to_string(position) + " xor " + std::to_string(pattern),
                 std::move(flipped)});
        }
    }
    ExpectRefusedKeepingTheCatalogue(mutations);
}

INSTANTIATE_TEST_SUITE_P(EveryCapture, HostileSection,
                         ::testing::ValuesIn(pmt_bus::KnownSections()),
                         [](const auto& info) { return pmt_bus::TestNameOf(info.param.file); });

namespace {

constexpr unsigned kSeed = 20240611;

class Random {
  public:
    explicit Random(unsigned seed) : m_Engine(seed) {}
    int Between(int low, int high) {  // both included
        return std::uniform_int_distribution<int>(low, high)(m_Engine);
    }
    bool OneIn(int n) { return Between(1, n) == 1; }
    unsigned char Byte() { return static_cast<unsigned char>(Between(0, 255)); }
    Bytes Noise(int size) {
        Bytes bytes(static_cast<size_t>(size));
        for (unsigned char& byte : bytes) byte = Byte();
        return bytes;
    }
    template <typename T>
    const T& Pick(const std::vector<T>& items) {
        return items[static_cast<size_t>(Between(0, static_cast<int>(items.size()) - 1))];
    }

  private:
    std::mt19937 m_Engine;
};

// A language code: mostly letters, sometimes any bytes at all.
Bytes RandomLanguage(Random& random) {
    if (random.OneIn(4)) return random.Noise(3);
    Bytes code;
    for (int i = 0; i < 3; ++i)
        code.push_back(static_cast<unsigned char>('a' + random.Between(0, 25)));
    return code;
}

// One descriptor of a kind the service looks at, or of any other tag, with an entry loop that
// is usually whole and sometimes not.
Bytes RandomDescriptor(Random& random) {
    static const std::vector<unsigned> kTags = {0x09, 0x0A, 0x52, 0x56, 0x59, 0x6A, 0x7A};
    const unsigned tag = random.OneIn(6) ? random.Byte() : random.Pick(kTags);
    const int entries = random.Between(0, 4);
    Bytes body;
    switch (tag) {
        case 0x0A:
            for (int i = 0; i < entries; ++i)
                body = body + RandomLanguage(random) + Bytes{random.Byte()};
            break;
        case 0x56:
            for (int i = 0; i < entries; ++i) {
                body = body + RandomLanguage(random) +
                       Bytes{static_cast<unsigned char>(random.Between(0, 7) << 3), random.Byte()};
            }
            break;
        case 0x59:
            for (int i = 0; i < entries; ++i)
                body = body + RandomLanguage(random) + random.Noise(5);
            break;
        default:
            body = random.Noise(random.Between(0, 6));
    }
    if (random.OneIn(8) && !body.empty()) body.pop_back();  // an entry cut short
    return pmt_bus::Descriptor(tag, body);
}

Bytes RandomSection(Random& random, unsigned programme) {
    static const std::vector<unsigned> kTypes = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x06, 0x06,
                                                 0x0F, 0x11, 0x1B, 0x24, 0x80, 0x81, 0x87};
    std::vector<pmt_bus::Stream> streams;
    const int count = random.Between(0, 8);
    for (int s = 0; s < count; ++s) {
        Bytes descriptors;
        const int n = random.Between(0, 6);
        for (int d = 0; d < n; ++d) descriptors = descriptors + RandomDescriptor(random);
        streams.push_back({random.OneIn(8) ? random.Byte() : random.Pick(kTypes),
                           static_cast<unsigned>(random.Between(0, 0x1FFF)), descriptors});
    }
    const Bytes programme_descriptors =
        random.OneIn(4) ? RandomDescriptor(random) + RandomDescriptor(random) : Bytes{};
    Bytes section = pmt_bus::BuildSection(programme, streams, programme_descriptors);
    if (random.OneIn(4)) {
        // A length field that disagrees with what follows it, under a CRC_32 that holds.
        const size_t at =
            static_cast<size_t>(random.Between(10, static_cast<int>(section.size()) - 5));
        section[at] = random.Byte();
        pmt_bus::FixCrc(section);
    }
    return section;
}

}  // namespace

// Random bytes: plain noise, noise behind a PMT header naming the programme asked for, and
// captured sections with some bytes overwritten. None has a CRC_32 that holds, so each is
// refused and the catalogue stays.
TEST_F(PmtOnBus, RandomBuffersAreRefused) {
    Random random(kSeed);
    const KnownSection& sentinel = Known("test-012.p4006.v2.0.sec");
    ASSERT_EQ(SendPmt(SectionBytes(sentinel.file), sentinel.programme), "0");
    std::vector<Bytes> buffers;
    std::vector<long long> programmes;
    for (int i = 0; i < 400; ++i) {
        Bytes buffer;
        long long programme = random.Between(0, 0xFFFF);
        switch (i % 3) {
            case 0:
                buffer = random.Noise(random.OneIn(20) ? random.Between(1025, 4096)
                                                       : random.Between(0, 300));
                break;
            case 1: {
                buffer = random.Noise(random.Between(8, 300));
                const size_t length =
                    random.OneIn(5) ? random.Between(0, 0xFFF) : buffer.size() - 3;
                buffer[0] = 0x02;
                buffer[1] = static_cast<unsigned char>(0xB0 | (length >> 8));
                buffer[2] = static_cast<unsigned char>(length);
                buffer[3] = static_cast<unsigned char>(programme >> 8);
                buffer[4] = static_cast<unsigned char>(programme);
                break;
            }
            default: {
                const KnownSection& section = random.Pick(pmt_bus::KnownSections());
                buffer = SectionBytes(section.file);
                programme = section.programme;
                const int overwritten = random.Between(1, 8);
                for (int k = 0; k < overwritten; ++k) {
                    buffer[static_cast<size_t>(
                        random.Between(5, static_cast<int>(buffer.size()) - 1))] = random.Byte();
                }
            }
        }
        if (pmt_bus::CrcHolds(buffer)) continue;  // not for this test
        buffers.push_back(std::move(buffer));
        programmes.push_back(programme);
    }
    std::vector<Request> requests;
    for (size_t i = 0; i < buffers.size(); ++i) {
        requests.push_back({pmt_bus::SendPmtBody(programmes[i]), buffers[i]});
        for (Request& size : pmt_bus::SizeRequests()) requests.push_back(std::move(size));
    }
    const std::vector<Reply> replies = pipeline_->Send(requests);
    const pmt_bus::Sizes expected_sizes = pmt_bus::SizesOf(sentinel.expected.catalogue);
    for (size_t i = 0; i < buffers.size(); ++i) {
        EXPECT_EQ(pmt_bus::ReturnData(replies[4 * i]), "1") << "seed " << kSeed << ", buffer " << i;
        EXPECT_EQ(pmt_bus::SizesFrom(&replies[4 * i + 1]), expected_sizes)
            << "seed " << kSeed << ", buffer " << i;
    }
    ASSERT_TRUE(ServiceRunning()) << LogTail();
    ExpectCatalogue(sentinel.expected);
}

// Random streams and descriptors under a correct CRC_32, some with length fields that do not
// add up. Each is taken or refused; a refused one leaves the catalogue as it was, and every
// entry the queries hand out is well formed.
TEST_F(PmtOnBus, RandomSectionsWithACorrectCrcAreAnsweredAndCatalogued) {
    Random random(kSeed + 1);
    std::vector<std::string> problems;
    ASSERT_EQ(SendPmt(SectionBytes(Known("test-012.p4006.v2.0.sec").file), 4006), "0");
    pmt_bus::Catalogue previous = pmt_bus::ReadCatalogue(*pipeline_, problems);
    int taken = 0;
    for (int i = 0; i < 300; ++i) {
        SCOPED_TRACE("seed " + std::to_string(kSeed + 1) + ", section " + std::to_string(i));
        const unsigned programme = static_cast<unsigned>(random.Between(0, 0xFFFF));
        const Bytes section = RandomSection(random, programme);
        const std::string answer = SendPmt(section, programme);
        ASSERT_THAT(answer, ::testing::AnyOf("0", "1")) << LogTail();
        pmt_bus::Catalogue now = pmt_bus::ReadCatalogue(*pipeline_, problems);
        for (const std::string& problem : problems) ADD_FAILURE() << problem;
        problems.clear();
        if (answer == "1") {
            EXPECT_EQ(now, previous);
            continue;
        }
        ++taken;
        for (const auto& audio : now.audio) {
            EXPECT_THAT(audio.encoding, ::testing::AnyOf(0, 2, 3, 4, 5)) << audio;
            EXPECT_EQ(audio.audio_channels, 2) << audio;
            EXPECT_FALSE(audio.audio_desc) << audio;
            EXPECT_THAT(audio.pid, ::testing::AllOf(::testing::Ge(0), ::testing::Le(0x1FFF)));
            EXPECT_THAT(audio.comp_tag, ::testing::AllOf(::testing::Ge(0), ::testing::Le(255)));
        }
        for (const auto& video : now.video) {
            EXPECT_THAT(video.encoding, ::testing::AnyOf(-1, 0, 1)) << video;
            EXPECT_EQ(video.aspect_ratio, 100) << video;
            EXPECT_THAT(video.ca_sid, ::testing::AllOf(::testing::Ge(0), ::testing::Le(0xFFFF)));
            EXPECT_THAT(video.comp_tag, ::testing::AllOf(::testing::Ge(0), ::testing::Le(255)));
        }
        for (const auto& subtitle : now.subtitles) {
            EXPECT_FALSE(subtitle.encrypted) << subtitle;
            EXPECT_FALSE(subtitle.hearing_impaired) << subtitle;
            EXPECT_THAT(subtitle.comp_tag, ::testing::AllOf(::testing::Ge(0), ::testing::Le(255)));
        }
        previous = std::move(now);
    }
    // The generator makes mostly well-formed sections: most are taken.
    EXPECT_GT(taken, 150);
    ASSERT_TRUE(ServiceRunning()) << LogTail();
    const KnownSection& good = Known("test-059.2.p1045.v1.0.sec");
    ASSERT_EQ(SendPmt(SectionBytes(good.file), good.programme), "0");
    ExpectCatalogue(good.expected);
}

namespace {

// A JSON value of any kind, now and then shaped like the members "SendPMTData" reads.
std::string RandomJson(Random& random, int depth) {
    static const std::vector<std::string> kScalars = {"null",
                                                      "true",
                                                      "false",
                                                      "0",
                                                      "1",
                                                      "-1",
                                                      "1045",
                                                      "8803",
                                                      "65536",
                                                      "-65536",
                                                      "2147483647",
                                                      "-2147483648",
                                                      "4294967296",
                                                      "1099511628821",
                                                      "9223372036854775807",
                                                      "-9223372036854775808",
                                                      "18446744073709551615",
                                                      "1.5",
                                                      "-0.0",
                                                      "1e300",
                                                      "\"\"",
                                                      "\"1045\"",
                                                      "\"true\"",
                                                      "\"SendPMTData\"",
                                                      "\"\\u0000\""};
    const int kind = depth > 2 ? 0 : random.Between(0, 3);
    if (kind == 0) return random.Pick(kScalars);
    if (kind == 1) {
        std::string text = "[";
        const int n = random.Between(0, 3);
        for (int i = 0; i < n; ++i) text += (i ? "," : "") + RandomJson(random, depth + 1);
        return text + "]";
    }
    static const std::vector<std::string> kNames = {"reset", "programNum", "data", "x"};
    std::string text = "{";
    const int n = random.Between(0, 3);
    for (int i = 0; i < n; ++i) {
        text += (i ? ",\"" : "\"") + random.Pick(kNames) + "\":" + RandomJson(random, depth + 1);
    }
    return text + "}";
}

}  // namespace

// Random "data" for "SendPMTData" with captured sections, random bytes or nothing in the buffer,
// and bodies that are not JSON at all.
TEST_F(PmtOnBus, RandomRequestBodiesAreAnswered) {
    Random random(kSeed + 2);
    std::vector<Request> requests;
    std::vector<bool> json;
    for (int i = 0; i < 400; ++i) {
        Bytes buffer;
        switch (random.Between(0, 2)) {
            case 0:
                buffer = SectionBytes(random.Pick(pmt_bus::KnownSections()).file);
                break;
            case 1:
                buffer = random.Noise(random.Between(1, 64));
                break;
            default:
                break;
        }
        if (i % 4 == 3) {
            // Never JSON: an object that is never closed.
            std::string text = "{\"method\":\"SendPMTData\",\"data\":";
            static const std::string kCharacters = "\"{[,:0a-e.\\ ";
            const int n = random.Between(0, 20);
            for (int k = 0; k < n; ++k) {
                text += kCharacters[static_cast<size_t>(
                    random.Between(0, static_cast<int>(kCharacters.size()) - 1))];
            }
            requests.push_back({text, buffer});
            json.push_back(false);
            continue;
        }
        std::string data = RandomJson(random, 0);
        if (random.OneIn(2)) {
            data = std::string("{\"reset\":") + RandomJson(random, 2) +
                   ",\"programNum\":" + RandomJson(random, 2) + "}";
        }
        requests.push_back({"{\"method\":\"SendPMTData\",\"data\":" + data + "}", buffer});
        json.push_back(true);
    }
    const std::vector<Reply> replies = pipeline_->Send(requests);
    for (size_t i = 0; i < requests.size(); ++i) {
        SCOPED_TRACE("seed " + std::to_string(kSeed + 2) + ": " + requests[i].body);
        if (json[i]) {
            EXPECT_THAT(pmt_bus::ReturnData(replies[i]), ::testing::AnyOf("0", "1"));
        } else {
            EXPECT_FALSE(replies[i].ok);
            EXPECT_EQ(replies[i].error_name, "org.ondrel.TCServer.Error.InvalidMessage");
        }
    }
    ASSERT_TRUE(ServiceRunning()) << LogTail();
    const KnownSection& good = Known("test-108.p3401.v3.0.sec");
    ASSERT_EQ(SendPmt(SectionBytes(good.file), good.programme), "0");
    ExpectCatalogue(good.expected);
}

// Language codes are three bytes taken as they are: zero bytes, quotes, backslashes and control
// characters come back intact through both levels of JSON, and so do codes that happen to be
// UTF-8. Codes that are not UTF-8 cannot travel as JSON text unchanged; they must still be
// answered.
TEST_F(PmtOnBus, LanguagesOfAnyBytesAreAnswered) {
    using pmt_bus::Language;
    const Bytes section = pmt_bus::BuildSection(
        77, {{0x03, 0x100, Language({0x00, 'a', 'b'})},
             {0x04, 0x101, Language({'"', '\\', '/'})},
             {0x0F, 0x102, Language({0x01, 0x1F, 0x7F})},
             {0x06, 0x103, pmt_bus::Subtitling({{'\n', '\t', 0x00}, {0xC3, 0xA9, 'x'}})},
             {0x06, 0x104, Language({0xFF, 0xFE, 0x80}) + pmt_bus::Ac3()},
             {0x06, 0x105, pmt_bus::Teletext({{{0xE2, 0x82, 0xAC}, 2}})}});
    ASSERT_EQ(SendPmt(section, 77), "0");
    std::vector<std::string> problems;
    const pmt_bus::Catalogue got = pmt_bus::ReadCatalogue(*pipeline_, problems);
    for (const std::string& problem : problems) ADD_FAILURE() << problem;
    ASSERT_EQ(got.audio.size(), 4u) << got;
    EXPECT_EQ(got.audio[0],
              (pmt_bus::AudioEntry{0x100, 2, false, 255, std::string("\0ab", 3), 2, false}));
    EXPECT_EQ(got.audio[1], (pmt_bus::AudioEntry{0x101, 2, false, 255, "\"\\/", 2, false}));
    EXPECT_EQ(got.audio[2], (pmt_bus::AudioEntry{0x102, 3, false, 255, "\x01\x1F\x7F", 2, false}));
    // The code that is not UTF-8: everything but the text of the language.
    pmt_bus::AudioEntry not_utf8 = got.audio[3];
    not_utf8.lang.clear();
    EXPECT_EQ(not_utf8, (pmt_bus::AudioEntry{0x104, 0, false, 255, "", 2, false}));
    EXPECT_EQ(got.video.size(), 0u);
    EXPECT_EQ(got.subtitles, (std::vector<pmt_bus::SubtitleEntry>{
                                 {0x103, false, 255, std::string("\n\t\0", 3), false},
                                 {0x103, false, 255, "\xC3\xA9x", false},
                                 {0x105, false, 255, "\xE2\x82\xAC", false}}));
    EXPECT_TRUE(ServiceRunning()) << LogTail();
}
