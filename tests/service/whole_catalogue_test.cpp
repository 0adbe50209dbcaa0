// "GetCatalogue" after every captured section: the lists hold, in order, exactly the entry objects
// that the size and per-index queries answer for the same catalogue.
#include <gmock/gmock.h>

#include "bus_fixture.h"
#include "captured_sections.h"
#include "pmt_fixture.h"

namespace pmt_test {
// Test parameters print as their file name.
void PrintTo(const CapturedSection& section, std::ostream* out) {
    *out << section.name;
}
}  // namespace pmt_test

using ::testing::ElementsAre;
using ::testing::StartsWith;

class WholeCatalogue : public PmtHandlerTest,
                       public ::testing::WithParamInterface<pmt_test::CapturedSection> {};

TEST_P(WholeCatalogue, HoldsWhatThePerIndexQueriesAnswer) {
    const pmt_test::CapturedSection& section = GetParam();
    ASSERT_EQ(SendPmt(section.bytes, section.programNumber, true), Json::Value(0));
    TakeLog();
    const Ondrel::TCMessage whole = Dispatch(Method("GetCatalogue"));
    const std::vector<std::string> log = TakeLog();
    EXPECT_EQ(whole.body["call_api_success"], Json::Value(true));
    const Json::Value& lists = whole.body["return_data"];
    ASSERT_TRUE(lists.isObject()) << whole.body.toStyledString();
    EXPECT_THAT(lists.getMemberNames(), ElementsAre("audio", "subtitle", "video"));

    const struct {
        const char* list;
        const char* size_method;
        const char* entry_method;
    } kinds[] = {{"video", "SizeOfVideo", "GetVideo"},
                 {"audio", "SizeOfAudio", "GetAudio"},
                 {"subtitle", "SizeOfSubtitle", "GetSubtitle"}};
    std::vector<unsigned int> sizes;
    for (const auto& kind : kinds) {
        const unsigned int size = Dispatch(Method(kind.size_method)).body["return_data"].asUInt();
        Json::Value per_index(Json::arrayValue);
        for (unsigned int index = 0; index < size; ++index) {
            const Json::Value text = Dispatch(Method(kind.entry_method, index)).body["return_data"];
            per_index.append(test_support::ParseJson(text.asString()));
        }
        EXPECT_EQ(lists[kind.list], per_index) << kind.list;
        sizes.push_back(size);
    }
    EXPECT_THAT(log, ElementsAre(StartsWith("I:IfMessageReceived!!"),
                                 "I:Get Catalogue: " + std::to_string(sizes[0]) + " video, " +
                                     std::to_string(sizes[1]) + " audio, " +
                                     std::to_string(sizes[2]) + " subtitle",
                                 StartsWith("I:ret_data = ")));
}

INSTANTIATE_TEST_SUITE_P(EveryCapture, WholeCatalogue,
                         ::testing::ValuesIn(pmt_test::CapturedSections()),
                         [](const auto& info) { return pmt_test::TestName(info.param); });
