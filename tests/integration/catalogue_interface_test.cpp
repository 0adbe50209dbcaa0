// The typed catalogue interface on the bus: its properties read what the entry queries answer,
// one PropertiesChanged with all five values arrives before each accepted section's reply (none
// for a refused one), GetPid answers as GetPID; and the README's busctl examples as printed.
#include <gmock/gmock.h>
#include <signal.h>

#include <sstream>

#include "pmt_section_builder.h"
#include "service_on_bus.h"
#include "trevalo/json_text.h"

namespace {

namespace catalogue = trevalo_bus::catalogue;
namespace member = trevalo_bus::member;
using test_support::Bytes;

// A D-Bus value as JSON, to set beside the entry queries' answers (a byte array as its text).
Json::Value ToJson(GVariant* value) {
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_VARIANT)) {
        GVariant* inner = g_variant_get_variant(value);
        const Json::Value json = ToJson(inner);
        g_variant_unref(inner);
        return json;
    }
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_BYTESTRING)) {
        gsize size = 0;
        const auto* bytes = static_cast<const char*>(g_variant_get_fixed_array(value, &size, 1));
        return Json::Value(std::string(bytes, size));
    }
    if (g_variant_is_of_type(value, G_VARIANT_TYPE("a{sv}"))) {
        Json::Value object(Json::objectValue);
        GVariantIter iter;
        g_variant_iter_init(&iter, value);
        const gchar* name = nullptr;
        GVariant* member_value = nullptr;
        while (g_variant_iter_next(&iter, "{&sv}", &name, &member_value)) {
            object[name] = ToJson(member_value);
            g_variant_unref(member_value);
        }
        return object;
    }
    if (g_variant_is_container(value)) {
        Json::Value array(Json::arrayValue);
        for (gsize i = 0; i < g_variant_n_children(value); ++i) {
            GVariant* child = g_variant_get_child_value(value, i);
            array.append(ToJson(child));
            g_variant_unref(child);
        }
        return array;
    }
    switch (g_variant_classify(value)) {
        case G_VARIANT_CLASS_BOOLEAN:
            return Json::Value(g_variant_get_boolean(value) != 0);
        case G_VARIANT_CLASS_BYTE:
            return Json::Value(g_variant_get_byte(value));
        case G_VARIANT_CLASS_UINT16:
            return Json::Value(g_variant_get_uint16(value));
        case G_VARIANT_CLASS_INT32:
            return Json::Value(g_variant_get_int32(value));
        case G_VARIANT_CLASS_STRING:
            return Json::Value(g_variant_get_string(value, nullptr));
        default:
            return Json::Value("unexpected type " + std::string(g_variant_get_type_string(value)));
    }
}

class CatalogueInterface : public ServiceOnBus {
  protected:
    void SetUp() override {
        ServiceOnBus::SetUp();
        subscription_ = g_dbus_connection_signal_subscribe(
            client_->Connection(), trevalo_bus::kBusName, catalogue::kPropertiesInterface,
            catalogue::kPropertiesChanged, trevalo_bus::kObjectPath, nullptr,
            G_DBUS_SIGNAL_FLAGS_NONE, OnChanged, this, nullptr);
        test_support::RoundTrip(client_->Connection());
    }
    void TearDown() override {
        g_dbus_connection_signal_unsubscribe(client_->Connection(), subscription_);
        ServiceOnBus::TearDown();
    }

    static void OnChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                          GVariant* parameters, gpointer self) {
        static_cast<CatalogueInterface*>(self)->changes_.push_back(ToJson(parameters));
    }
    // What the signals dispatched so far brought.
    void TakeDispatched() {
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
    }

    GVariant* CallSync(const char* interface, const char* method, GVariant* arguments,
                       const char* reply_type) {
        GError* error = nullptr;
        GVariant* reply = g_dbus_connection_call_sync(
            client_->Connection(), trevalo_bus::kBusName, trevalo_bus::kObjectPath, interface,
            method, arguments, G_VARIANT_TYPE(reply_type), G_DBUS_CALL_FLAGS_NONE, 10000, nullptr,
            &error);
        EXPECT_EQ(error, nullptr) << method << ": " << (error ? error->message : "");
        if (error != nullptr) g_error_free(error);
        return reply;
    }
    Json::Value GetAll() {
        GVariant* reply = CallSync(catalogue::kPropertiesInterface, "GetAll",
                                   g_variant_new("(s)", catalogue::kInterface), "(a{sv})");
        const Json::Value json = reply != nullptr ? ToJson(reply)[0] : Json::Value();
        if (reply != nullptr) g_variant_unref(reply);
        return json;
    }

    guint subscription_ = 0;
    std::vector<Json::Value> changes_;
};

// Entries whose extra members (kind, pages) and language bytes are checked by value: teletext on
// magazine 0 (read as 8) and 1, and a DVB subtitle whose language is not valid UTF-8.
Bytes BuiltSection() {
    return pmt_test::PmtBuilder()
        .ProgramNumber(700)
        .Version(21)
        .Stream(0x06, 0x0200,
                {pmt_test::StreamIdentifier(7),
                 pmt_test::Teletext({{"deu", 2, 0, 0x88}, {"eng", 5, 1, 0x50}, {"fra", 1, 1, 0}})})
        .Stream(0x06, 0x0201,
                {pmt_test::Subtitling({{std::string("\xE9t\0", 3), 0x20, 0x0102, 0x0304}})})
        .Build();
}

TEST_F(CatalogueInterface, PropertiesReadTheEntryQueriesAndAnnounceEachRebuiltCatalogue) {
    Json::Value empty;
    empty[catalogue::kProgramNumber] = 0;
    empty[catalogue::kPmtVersion] = -1;
    for (const char* list : {catalogue::kVideo, catalogue::kAudio, catalogue::kSubtitles}) {
        empty[list] = Json::Value(Json::arrayValue);
    }
    EXPECT_EQ(GetAll(), empty);

    const Bytes ac3 = test_support::ReadTestData("pmt/test-020.p8803.v13.2.sec");
    Bytes damaged = ac3;
    damaged.back() ^= 0x01;
    const char* teletext_extras =
        R"([{"kind":"teletext","type":2,"page":"888","lang":"deu"},
            {"kind":"teletext","type":5,"page":"150","lang":"eng"},
            {"kind":"dvb-subtitle","type":32,"composition_page":258,"ancillary_page":772,
             "lang":"\\xE9t\\x00"}])";
    const struct {
        int program;
        Bytes section;
        int version;  // -1: refused
        const char* subtitle_extras;
    } sends[] = {
        {8803, ac3, 13,
         R"([{"kind":"dvb-subtitle","type":16,"composition_page":1,"ancillary_page":2},
             {"kind":"dvb-subtitle","type":32,"composition_page":3,"ancillary_page":4}])"},
        {8804, ac3, -1, nullptr},
        {8803, damaged, -1, nullptr},
        {700, BuiltSection(), 21, teletext_extras},
        {4006, test_support::ReadTestData("pmt/test-012.p4006.v2.0.sec"), 2,
         R"([{"kind":"teletext","type":5,"page":"888"},{"kind":"teletext","type":2,"page":"889"}])"},
    };
    for (const auto& send : sends) {
        SCOPED_TRACE(send.program);
        const size_t before = changes_.size();
        const Json::Value answer =
            Call(R"({"method":"SendPMTData","data":{"reset":true,"programNum":)" +
                     std::to_string(send.program) + "}}",
                 send.section);
        // Dispatched before the reply came back, or not at all.
        TakeDispatched();
        if (send.version < 0) {
            EXPECT_EQ(answer[member::kReturnData], Json::Value(1));
            EXPECT_EQ(changes_.size(), before);
            continue;
        }
        ASSERT_EQ(changes_.size(), before + 1);
        const Json::Value properties = GetAll();
        EXPECT_EQ(changes_.back()[0], Json::Value(catalogue::kInterface));
        EXPECT_EQ(changes_.back()[1], properties);
        EXPECT_EQ(changes_.back()[2], Json::Value(Json::arrayValue));  // nothing merely invalidated
        EXPECT_EQ(properties[catalogue::kProgramNumber], Json::Value(send.program));
        EXPECT_EQ(properties[catalogue::kPmtVersion], Json::Value(send.version));

        // Every member of every entry as the entry queries give it; the language also as bytes.
        const Json::Value lists = Call(R"({"method":"GetCatalogue"})")[member::kReturnData];
        const Json::Value extras = test_support::ParseJson(send.subtitle_extras);
        const std::pair<const char*, const char*> kinds[] = {
            {member::kVideo, catalogue::kVideo},
            {member::kAudio, catalogue::kAudio},
            {member::kSubtitle, catalogue::kSubtitles}};
        for (const auto& [json_name, property] : kinds) {
            const Json::Value& entries = properties[property];
            ASSERT_EQ(entries.size(), lists[json_name].size()) << property;
            for (Json::ArrayIndex i = 0; i < entries.size(); ++i) {
                Json::Value typed = entries[i];
                Json::Value expected = lists[json_name][i];
                if (expected.isMember(member::kLang)) {
                    EXPECT_EQ(typed[member::kLangBytes].toStyledString(),
                              expected[member::kLang].toStyledString());
                    typed.removeMember(member::kLangBytes);
                    typed[member::kLang] = expected[member::kLang];
                }
                if (property == std::string(catalogue::kSubtitles)) {
                    for (const std::string& name : extras[i].getMemberNames()) {
                        EXPECT_EQ(entries[i][name], extras[i][name]) << i << " " << name;
                        if (name != member::kLang) expected[name] = extras[i][name];
                    }
                }
                EXPECT_EQ(typed.toStyledString(), expected.toStyledString())
                    << property << " " << i;
            }
        }
    }
    EXPECT_FALSE(client_->WaitForSignals(1, 200));
    EXPECT_EQ(changes_.size(), 3u);

    // GetPid answers as GetPID, for tags present, absent and 255 (a stream without a tag).
    for (const int tag : {0, 1, 2, 3, 4, 7, 200, 255}) {
        GVariant* reply = CallSync(catalogue::kInterface, catalogue::kGetPid,
                                   g_variant_new("(y)", static_cast<guchar>(tag)), "(q)");
        ASSERT_NE(reply, nullptr);
        const Json::Value pid = ToJson(reply)[0];
        g_variant_unref(reply);
        EXPECT_EQ(pid, Call(R"({"method":"GetPID","data":)" + std::to_string(tag) +
                            "}")[member::kReturnData])
            << tag;
    }
}

// The README's busctl examples, run against this bus (for --user) after the README's section:
// each command's output as printed; the monitor's, which holds times and serial numbers, as the
// lines printed in their order ("..." skips any number of lines).
TEST_F(CatalogueInterface, ReadmeBusctlExamplesPrintWhatTheReadmeShows) {
    const std::string readme = test_support::ReadText(TREVALO_README);
    const std::string marker = "<!-- the commands below run, and their output is compared";
    const size_t block = readme.find("```\n", readme.find(marker));
    ASSERT_NE(block, std::string::npos);
    std::istringstream lines(readme.substr(block + 4, readme.find("```", block + 4) - block - 4));
    std::vector<std::pair<std::vector<std::string>, std::string>> examples;  // command, output
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("$ busctl ", 0) != 0) {
            ASSERT_FALSE(examples.empty()) << line;
            examples.back().second += line + "\n";
            continue;
        }
        std::istringstream words(line.substr(9));
        std::vector<std::string> arguments;
        for (std::string word; words >> word;) {
            arguments.push_back(word == "--user" ? "--address=" + bus_->Address() : word);
        }
        examples.push_back({arguments, ""});
    }
    ASSERT_EQ(examples.size(), 4u);
    ASSERT_EQ(examples[0].first[1], "monitor");

    test_support::ChildOptions busctl;
    busctl.program = "/usr/bin/busctl";
    test_support::ChildProcess monitor(examples[0].first, busctl);
    ASSERT_TRUE(monitor.WaitForErr("Monitoring bus message stream.")) << monitor.Err();
    Call(R"({"method":"SendPMTData","data":{"reset":true,"programNum":8803}})",
         test_support::ReadTestData("pmt/test-020.p8803.v13.2.sec"));
    ASSERT_TRUE(monitor.WaitForOut("Member=PropertiesChanged"));
    Call(R"({"method":"SizeOfAudio"})");  // a later message: the signal is printed whole
    ASSERT_TRUE(monitor.WaitForOut("Member=Request\n"));
    const std::string watched = monitor.Out();
    std::istringstream shown(examples[0].second);
    size_t at = 0;
    bool skipping = false;
    for (std::string line; std::getline(shown, line);) {
        if (line == "...") {
            skipping = true;
            continue;
        }
        const size_t found = watched.find("\n" + line + "\n", at);
        ASSERT_NE(found, std::string::npos) << line << "\n" << watched;
        EXPECT_TRUE(skipping || found == at) << line;
        at = found + line.size() + 1;
        skipping = false;
    }
    monitor.Signal(SIGTERM);
    monitor.Wait();

    for (size_t i = 1; i < examples.size(); ++i) {
        const test_support::ChildResult result = test_support::RunCli(examples[i].first, busctl);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, examples[i].second);
    }
}

}  // namespace
