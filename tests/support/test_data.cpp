#include "test_data.h"

#include <unistd.h>

#include <stdexcept>

#include "pmt_section_builder.h"
#include "trevalo/json_text.h"

namespace test_support {

std::string TestDataPath(const std::string& relative_path) {
    const std::string path = std::string(TREVALO_TESTDATA_DIR) + "/" + relative_path;
    if (access(path.c_str(), R_OK) != 0) throw std::runtime_error("missing test data: " + path);
    return path;
}

Bytes ReadTestData(const std::string& relative_path) {
    const std::string path = TestDataPath(relative_path);
    const Bytes bytes = ReadFile(path);
    if (bytes.empty()) throw std::runtime_error("empty or unreadable test data: " + path);
    return bytes;
}

std::string GoldenPath(const std::string& name) {
    return std::string(TREVALO_GOLDEN_DIR) + "/" + name;
}

Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    return trevalo_json::Parse(text, value) ? value : Json::Value();
}

Json::Value ReadJsonFile(const std::string& path) {
    const Json::Value value = ParseJson(ReadText(path));
    if (value.isNull()) throw std::runtime_error(path + " is not JSON");
    return value;
}

namespace {

uint8_t U8(const Json::Value& value) {
    return static_cast<uint8_t>(value.asUInt());
}
uint16_t U16(const Json::Value& value) {
    return static_cast<uint16_t>(value.asUInt());
}

Bytes DescriptorOf(const Json::Value& form) {
    using namespace pmt_test;
    const std::string kind = form[0].asString();
    const Json::Value& first = form[1];
    if (kind == "identifier") return StreamIdentifier(U8(first));
    if (kind == "ca") return CA(U16(first), U16(form[2]));
    if (kind == "ac3") return AC3Audio(U8(first), U8(form[2]));
    if (kind == "supplementary_audio") {
        return SupplementaryAudio(U8(first), U8(form[2]), form[3].asString());
    }
    if (kind == "raw") {
        Bytes payload;
        for (const Json::Value& byte : form[2]) payload.push_back(U8(byte));
        return Descriptor(U8(first), payload);
    }
    if (kind == "language") {
        std::vector<LanguageEntry> entries;
        for (const Json::Value& e : first) entries.push_back({e[0].asString(), U8(e[1])});
        return Language(entries);
    }
    if (kind == "subtitling") {
        std::vector<SubtitlingEntry> entries;
        for (const Json::Value& e : first)
            entries.push_back({e[0].asString(), U8(e[1]), U16(e[2]), U16(e[3])});
        return Subtitling(entries);
    }
    if (kind != "teletext") throw std::runtime_error("no descriptor form " + kind);
    std::vector<TeletextEntry> entries;
    for (const Json::Value& e : first)
        entries.push_back({e[0].asString(), U8(e[1]), U8(e[2]), U8(e[3])});
    return Teletext(entries);
}

}  // namespace

Bytes SectionFromJson(const Json::Value& description) {
    pmt_test::PmtBuilder builder;
    builder.ProgramNumber(U16(description.get("programme", 1)))
        .Version(U8(description.get("version", 0)))
        .PcrPid(U16(description.get("pcr_pid", 0x0100)));
    for (const Json::Value& stream : description["streams"]) {
        std::vector<Bytes> descriptors;
        for (const Json::Value& form : stream["descriptors"]) {
            descriptors.push_back(DescriptorOf(form));
        }
        builder.Stream(U8(stream["type"]), U16(stream["pid"]), descriptors);
    }
    return builder.Build();
}

Bytes SentSection(const Json::Value& send) {
    Bytes section = send.isMember("capture") ? ReadTestData(send["capture"].asString())
                                             : SectionFromJson(send["section"]);
    const Json::Value& renumbered = send["renumbered"];
    if (renumbered.isArray()) {
        section = pmt_test::Renumbered(section, renumbered[0].asInt(), renumbered[1].asInt());
    }
    if (send.get("damaged", false).asBool()) section.back() ^= 0x01;
    return section;
}

}  // namespace test_support
