// The typed catalogue interface on the bus: its properties read what the entry queries answer; a
// rebuilt catalogue announces, before its reply, only what changed (PropertiesChanged with the
// properties whose values differ, CatalogueChanged when the programme or a list differs), a
// refused section nothing; GetPid answers and logs as a GetPID request; and the README's busctl
// examples as printed.
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
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
        return Json::Value(g_variant_get_string(value, nullptr));
    }
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_BYTE))
        return Json::Value(g_variant_get_byte(value));
    gchar* text = g_variant_print(value, FALSE);  // q, i or b, as JSON writes them
    const Json::Value number = test_support::ParseJson(text);
    g_free(text);
    return number;
}

// Log text with each "[rsp:0x...]" (the reply's address) read as "[rsp:]".
std::string WithoutReplyAddress(std::string log) {
    for (size_t at = log.find("[rsp:"); at != std::string::npos; at = log.find("[rsp:", at + 1)) {
        log.erase(at + 5, log.find(']', at) - at - 5);
    }
    return log;
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

TEST_F(CatalogueInterface, PropertiesReadTheEntryQueriesAndAnnounceEachNewCatalogue) {
    EXPECT_EQ(GetAll(), test_support::ParseJson(R"({"ProgramNumber":0,"PmtVersion":-1,
                                                   "Video":[],"Audio":[],"Subtitles":[]})"));

    // tests/data/catalogue_properties.json: sections sent, each with its PMT version (none when
    // refused) and the members of its entries beyond the entry queries'.
    for (const Json::Value& send :
         test_support::ReadJsonFile(test_support::GoldenPath("catalogue_properties.json"))) {
        SCOPED_TRACE(send["why"].asString());
        const int program = send["programme"].asInt();
        const size_t before = changes_.size();
        const Json::Value answer =
            Call(R"({"method":"SendPMTData","data":{"reset":true,"programNum":)" +
                     std::to_string(program) + "}}",
                 test_support::SentSection(send));
        // Dispatched before the reply came back, or not at all.
        TakeDispatched();
        if (!send.isMember("version")) {
            EXPECT_EQ(answer[member::kReturnData], Json::Value(1));
            EXPECT_EQ(changes_.size(), before);
            continue;
        }
        ASSERT_EQ(changes_.size(), before + 1);
        const Json::Value properties = GetAll();
        EXPECT_EQ(changes_.back()[0], Json::Value(catalogue::kInterface));
        EXPECT_EQ(changes_.back()[1], properties);
        EXPECT_EQ(changes_.back()[2], Json::Value(Json::arrayValue));  // nothing merely invalidated
        EXPECT_EQ(properties[catalogue::kProgramNumber], Json::Value(program));
        EXPECT_EQ(properties[catalogue::kPmtVersion], send["version"]);

        // Every member of every entry as the entry queries give it; the language also as bytes.
        const Json::Value lists = Call(R"({"method":"GetCatalogue"})")[member::kReturnData];
        const Json::Value& subtitle_extras = send["subtitle_extras"];
        const Json::Value& audio_extras = send["audio_extras"];
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
                // The members beyond the entry queries', by value.
                if (property != std::string(catalogue::kVideo)) {
                    const Json::Value& extras = property == std::string(catalogue::kSubtitles)
                                                    ? subtitle_extras
                                                    : audio_extras;
                    ASSERT_EQ(extras.size(), entries.size()) << property;
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
    EXPECT_EQ(changes_.size(), 5u);

    // GetPid answers as GetPID and logs the same request, the reply's address aside, for tags
    // present, absent and 255 (a stream without a tag); reading the properties logs nothing.
    for (const int tag : {0, 1, 2, 3, 4, 7, 200, 255}) {
        const size_t start = service_->Log().size();
        const Json::Value expected =
            Call(R"({"method":"GetPID","data":)" + std::to_string(tag) + "}")[member::kReturnData];
        const size_t middle = service_->Log().size();
        GVariant* reply = CallSync(catalogue::kInterface, catalogue::kGetPid,
                                   g_variant_new("(y)", static_cast<guchar>(tag)), "(q)");
        ASSERT_NE(reply, nullptr);
        EXPECT_EQ(ToJson(reply)[0], expected) << tag;
        g_variant_unref(reply);
        const std::string log = service_->Log();
        EXPECT_THAT(log.substr(middle),
                    testing::ContainsRegex("IfMessageReceived!! message: \\[from::[0-9.]+\\] "
                                           "\\[rsp:0x[0-9a-f]+\\] \\[message:\\{\"data\":" +
                                           std::to_string(tag) + ",\"method\":\"GetPID\"\\}\\]\n"));
        EXPECT_EQ(WithoutReplyAddress(log.substr(middle)),
                  WithoutReplyAddress(log.substr(start, middle - start)));
    }
    const std::string log = service_->Log();
    GetAll();
    GVariant* value =
        CallSync(catalogue::kPropertiesInterface, "Get",
                 g_variant_new("(ss)", catalogue::kInterface, catalogue::kAudio), "(v)");
    if (value != nullptr) g_variant_unref(value);
    EXPECT_EQ(service_->Log(), log);
}

// Captured sections resent, under a new version, under another programme, after a reset and
// refused: each reply comes after the signals that tell what changed, and only those; a rebuild
// logs the same lines whether or not it announces anything.
TEST_F(CatalogueInterface, AnnouncesOnlyWhatTheRebuiltCatalogueChanged) {
    client_->Subscribe(trevalo_bus::kCatalogueChanged);
    std::vector<std::string> logs;  // each request's log lines
    // tests/data/catalogue_announcements.json: each section sent, whether it changes the lists'
    // sizes or the programme, and the properties whose values it changes, in the interface's order.
    for (const Json::Value& send :
         test_support::ReadJsonFile(test_support::GoldenPath("catalogue_announcements.json"))) {
        SCOPED_TRACE(send["what"].asString());
        const int program = send["programme"].asInt();
        const bool catalogue_changed = send.get("catalogue_changed", false).asBool();
        const size_t log_before = service_->Log().size();
        const size_t properties_before = changes_.size();
        const size_t catalogues_before = client_->Signals().size();
        const Json::Value answer = Call(std::string(R"({"method":"SendPMTData","data":{"reset":)") +
                                            (send["reset"].asBool() ? "true" : "false") +
                                            ",\"programNum\":" + std::to_string(program) + "}}",
                                        test_support::SentSection(send));
        EXPECT_EQ(answer[member::kReturnData], Json::Value(send.isMember("damaged") ? 1 : 0));
        logs.push_back(WithoutReplyAddress(service_->Log().substr(log_before)));
        TakeDispatched();

        ASSERT_EQ(client_->Signals().size(), catalogues_before + catalogue_changed);
        if (catalogue_changed) {
            const Json::Value lists = Call(R"({"method":"GetCatalogue"})")[member::kReturnData];
            Json::Value expected(Json::objectValue);
            expected[member::kProgramNum] = program;
            for (const char* kind : {member::kVideo, member::kAudio, member::kSubtitle}) {
                expected[kind] = static_cast<int>(lists[kind].size());
            }
            EXPECT_EQ(test_support::ParseJson(client_->Signals().back().body), expected)
                << client_->Signals().back().body;
        }

        const Json::Value& changed = send["properties"];
        ASSERT_EQ(changes_.size(), properties_before + !changed.empty());
        if (changed.empty()) continue;
        const Json::Value properties = GetAll();
        Json::Value expected(Json::objectValue);
        for (const Json::Value& name : changed)
            expected[name.asString()] = properties[name.asString()];
        EXPECT_EQ(changes_.back()[1], expected);
        EXPECT_EQ(changes_.back()[2], Json::Value(Json::arrayValue));
    }
    EXPECT_THAT(logs[0], testing::HasSubstr("] given section is valid\n"));
    EXPECT_EQ(logs[2], logs[0]);  // the same request, announced and not
    EXPECT_EQ(logs[8], logs[0]);
}

// SelectTracks over the catalogue on the bus: the choice as a dictionary, and every bad
// preference refused with InvalidArgs naming it; nothing logged, the catalogue untouched.
TEST_F(CatalogueInterface, SelectTracksAnswersTheChoiceAndRefusesBadPreferences) {
    Call(R"({"method":"SendPMTData","data":{"reset":true,"programNum":1045}})",
         test_support::ReadTestData("pmt/test-059.2.p1045.v1.0.sec"));
    const size_t logged = service_->Log().size();
    GVariant* reply =
        CallSync(catalogue::kInterface, catalogue::kSelectTracks,
                 g_variant_new_parsed("({'audio_languages': <['FRE']>, 'audio_description': <true>,"
                                      " 'subtitles': <'on'>, 'a_later_member': <'later'>},)"),
                 "(a{sv})");
    ASSERT_NE(reply, nullptr);
    const Json::Value choice = ToJson(reply)[0];
    g_variant_unref(reply);
    EXPECT_EQ(choice, test_support::ParseJson(R"({"audio":1,"audio_pid":431,
        "audio_reason":"Audio description in fra, the first preferred language.",
        "subtitle":1,"subtitle_pid":441,
        "subtitle_reason":"Subtitles in fra, the first preferred language."})"));

    const std::pair<const char*, const char*> refused[] = {
        {"{'audio_languages': <['fra', 'en']>}", "audio_languages: \"en\" is not an ISO 639-2"},
        {"{'subtitle_languages': <['fr1']>}", "subtitle_languages: \"fr1\""},
        {"{'audio_languages': <'fra'>}", "audio_languages must be of type as, not s"},
        {"{'subtitles': <'sometimes'>}", "subtitles: \"sometimes\" is none of"},
        {"{'hard_of_hearing': <1>}", "hard_of_hearing must be of type b, not i"},
        {"{'audio_languages': <[<'fra'>]>}", "member audio_languages is of type av"},
    };
    for (const auto& [preferences, message] : refused) {
        GError* error = nullptr;
        GVariant* answer = g_dbus_connection_call_sync(
            client_->Connection(), trevalo_bus::kBusName, trevalo_bus::kObjectPath,
            catalogue::kInterface, catalogue::kSelectTracks,
            g_variant_new_parsed(("(" + std::string(preferences) + ",)").c_str()), nullptr,
            G_DBUS_CALL_FLAGS_NONE, 10000, nullptr, &error);
        ASSERT_EQ(answer, nullptr) << preferences;
        gchar* name = g_dbus_error_get_remote_error(error);
        EXPECT_STREQ(name, catalogue::kInvalidArgsError) << preferences;
        EXPECT_THAT(error->message, testing::HasSubstr(message));
        g_free(name);
        g_error_free(error);
    }
    EXPECT_EQ(service_->Log().substr(logged), "") << "SelectTracks logged";
    EXPECT_EQ(Call(R"({"method":"SizeOfAudio"})")[member::kReturnData], Json::Value(3));
}

// The README's busctl examples, run against this bus (for --user) after the README's section:
// each command's output as printed; the monitor's, which holds times and serial numbers, as the
// lines printed in their order ("..." stands for the lines left out).
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
    for (std::string line; std::getline(shown, line);) {
        if (line == "...") continue;
        at = watched.find("\n" + line + "\n", at);
        ASSERT_NE(at, std::string::npos) << line << "\n" << watched;
        at += line.size() + 1;
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
