// programmes: the programmes of a stream, read without any bus; checked against what libdvbpsi
// reads from the same captures, and on a known programme in full.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "child_process.h"
#include "dvbpsi_reference.h"
#include "stream_builder.h"
#include "test_data.h"

namespace {

using test_support::ChildResult;
using test_support::RunCli;
using ::testing::HasSubstr;

std::string Capture(const std::string& name) {
    return test_support::TestDataPath("ts/" + name);
}

TEST(Programmes, ListsEveryProgrammeOfACaptureWithThePmtLibdvbpsiFinds) {
    for (const char* capture : {"multi-programme-ac3-subtitles.ts", "avc-aac-eac3.ts"}) {
        SCOPED_TRACE(capture);
        const std::string bytes = test_support::ReadText(Capture(capture));
        const ChildResult result = RunCli({"programmes", Capture(capture)});  // no bus at all
        ASSERT_EQ(result.status, 0) << result.err;
        const std::vector<ts_test::ReferenceProgramme> reference =
            ts_test::ReadWithDvbpsi(ts_test::Bytes(bytes.begin(), bytes.end()));
        ASSERT_FALSE(reference.empty());
        size_t listed = 0;
        for (size_t at = 0; (at = result.out.find("\nprogramme ", at + 1)) != std::string::npos;) {
            ++listed;
        }
        EXPECT_EQ(listed + 1, reference.size()) << result.out;  // the first has no '\n' before
        for (const ts_test::ReferenceProgramme& programme : reference) {
            ASSERT_FALSE(programme.sections.empty());
            const ts_test::Bytes& section = programme.sections.front();
            char header[96];
            std::snprintf(header, sizeof header,
                          "programme %u: PMT version %u on PID %u (0x%04X), PCR PID %u ",
                          programme.program_number, (section[5] >> 1) & 0x1F, programme.pmt_pid,
                          programme.pmt_pid, (section[8] & 0x1F) << 8 | section[9]);
            EXPECT_THAT(result.out, HasSubstr(header));
        }
    }
}

// From a pipe, and from a recording of 2 GiB or more (the capture with a hole after it), which
// must open and read as any file where off_t would otherwise be 32 bits (armhf).
TEST(Programmes, ShowsEachStreamsTypeAndLanguagesFromAPipeOrARecordingBeyond2GiB) {
    const std::string capture = test_support::ReadText(Capture("multi-programme-ac3-subtitles.ts"));
    const std::string large = "/tmp/trevalo-large-" + std::to_string(getpid()) + ".ts";
    {
        std::ofstream file(large, std::ios::binary);
        file << capture;
        file.seekp((std::streamoff{3} << 30) - 1);
        ASSERT_TRUE(file.put('\0')) << large;
    }
    for (const std::string& operand : {std::string("-"), large}) {
        SCOPED_TRACE(operand);
        test_support::ChildOptions options;
        if (operand == "-") options.input = capture;
        const ChildResult result = RunCli({"programmes", operand}, options);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_THAT(result.out,
                    HasSubstr("programme 8802: PMT version 15 on PID 200 (0x00C8), PCR PID 210 "
                              "(0x00D2)\n"
                              "  PID            TYPE                              LANG\n"
                              "  210 (0x00D2)   0x1B AVC video                    -\n"
                              "  221 (0x00DD)   0x06 private data: AC-3           fra\n"
                              "  222 (0x00DE)   0x06 private data: AC-3           eng\n"
                              "  242 (0x00F2)   0x06 private data: DVB subtitles  fra\n"
                              "  243 (0x00F3)   0x06 private data: DVB subtitles  fra\n"
                              "  4369 (0x1111)  0x0D DSM-CC sections              -\n"));
    }
    std::remove(large.c_str());
}

// Every descriptor field the JSON carries, each in a field of its own
// (tests/data/programmes_json.json).
TEST(Programmes, GivesEveryDescriptorFieldAsJson) {
    const Json::Value golden =
        test_support::ReadJsonFile(test_support::GoldenPath("programmes_json.json"));
    const ts_test::Bytes pmt = test_support::SectionFromJson(golden["section"]);
    uint8_t pat_counter = 0;
    uint8_t pmt_counter = 0;
    test_support::ChildOptions options;
    for (int i = 0; i < 4; ++i) {
        for (const ts_test::Bytes& packet :
             {ts_test::Packetize(ts_test::MakePatSection(1, 0, {{7, 0x100}}), 0, pat_counter),
              ts_test::Packetize(pmt, 0x100, pmt_counter)}) {
            options.input.append(packet.begin(), packet.end());
        }
    }
    const ChildResult result = RunCli({"programmes", "-", "--json"}, options);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(test_support::ParseJson(result.out), golden["printed"]) << result.out;
}

TEST(Programmes, AStreamWithoutAPatIs1) {
    test_support::ChildOptions options;
    options.input = std::string(188 * 8, '\0');
    for (size_t at = 0; at < options.input.size(); at += 188) options.input[at] = 0x47;
    const ChildResult result = RunCli({"programmes", "-"}, options);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "trevalo-cli: programmes: no PAT in standard input\n");
}

}  // namespace
