#include "catalogue_table.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>

#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"

namespace trevalo_cli {
namespace {

namespace member = trevalo_bus::member;

constexpr int kNoComponentTag = 255;     // the stream has no stream_identifier_descriptor
constexpr int kMpeg2VideoEncoding = -1;  // the service's code for stream type 0x02

std::optional<long long> Integer(const Json::Value& entry, const char* name) {
    const Json::Value& value = entry[name];
    if (!value.isIntegral()) return std::nullopt;
    return value.asLargestInt();
}

bool IsTrue(const Json::Value& entry, const char* name) {
    const Json::Value& value = entry[name];
    return value.isBool() && value.asBool();
}

std::string PidCell(const Json::Value& entry) {
    const std::optional<long long> pid = Integer(entry, member::kPid);
    if (!pid) return "?";
    char text[32];
    std::snprintf(text, sizeof text, "%lld (0x%04llX)", *pid, *pid & 0xFFFF);
    return text;
}

std::string TagCell(const Json::Value& entry) {
    const std::optional<long long> tag = Integer(entry, member::kCompTag);
    if (!tag) return "?";
    return *tag == kNoComponentTag ? "-" : std::to_string(*tag);
}

std::string EncodingCell(ComponentKind kind, const Json::Value& entry) {
    static const std::map<long long, const char*> video_names = {
        {0, "MPEG video"}, {1, "AVC"}, {kMpeg2VideoEncoding, "MPEG-2 video"}};
    static const std::map<long long, const char*> audio_names = {
        {0, "AC-3"}, {2, "MPEG audio"}, {3, "AAC ADTS"}, {4, "AAC LATM"}, {5, "E-AC-3"}};
    if (kind == ComponentKind::kSubtitle) return "-";
    const std::optional<long long> code = Integer(entry, member::kEncoding);
    if (!code) return "?";
    const auto& names = kind == ComponentKind::kVideo ? video_names : audio_names;
    const auto name = names.find(*code);
    const std::string label = name != names.end() ? name->second : "other";
    return label + " (" + std::to_string(*code) + ")";
}

// The language as three characters; bytes that would not print are shown as \xNN.
std::string LanguageCell(const Json::Value& entry) {
    const Json::Value& lang = entry[member::kLang];
    if (!lang.isString()) return "-";
    const std::string text = PrintableText(lang.asString());
    return text.empty() ? "\"\"" : text;
}

std::string FlagsCell(const Json::Value& entry) {
    std::vector<std::string> flags;
    if (IsTrue(entry, member::kEncrypted)) flags.push_back("encrypted");
    const std::optional<long long> ca_system = Integer(entry, member::kCaSid);
    if (ca_system && *ca_system != 0) {
        char text[24];
        std::snprintf(text, sizeof text, "CA system 0x%04llX", *ca_system & 0xFFFF);
        flags.push_back(text);
    }
    if (IsTrue(entry, member::kAudioDesc)) flags.push_back("audio description");
    if (IsTrue(entry, member::kHearingImpaired)) flags.push_back("hearing impaired");
    std::string text;
    for (const std::string& flag : flags) text += (text.empty() ? "" : ", ") + flag;
    return text;
}

}  // namespace

std::string FormatCatalogueTable(const std::vector<CatalogueRow>& rows) {
    if (rows.empty()) return "(no components)\n";
    const bool marked = std::any_of(rows.begin(), rows.end(),
                                    [](const CatalogueRow& row) { return row.mark != ' '; });

    // ROLE only from a service that says what its tracks are for.
    const bool roles = std::any_of(rows.begin(), rows.end(),
                                   [](const CatalogueRow& row) { return !row.role.empty(); });

    std::vector<std::vector<std::string>> lines = {
        {"KIND", "#", "PID", "TAG", "ENCODING", "LANG", "FLAGS"}};
    if (roles) lines.front().insert(lines.front().end() - 1, "ROLE");
    for (const CatalogueRow& row : rows) {
        lines.push_back({KindName(row.kind), std::to_string(row.index), PidCell(row.entry),
                         TagCell(row.entry), EncodingCell(row.kind, row.entry),
                         row.kind == ComponentKind::kVideo ? "-" : LanguageCell(row.entry),
                         FlagsCell(row.entry)});
        if (roles) lines.back().insert(lines.back().end() - 1, row.role.empty() ? "-" : row.role);
    }
    std::vector<size_t> widths(lines.front().size(), 0);
    for (const auto& cells : lines) {
        for (size_t column = 0; column < cells.size(); ++column) {
            widths[column] = std::max(widths[column], cells[column].size());
        }
    }
    std::string table;
    for (size_t line = 0; line < lines.size(); ++line) {
        std::string text;
        if (marked) text = line == 0 ? "  " : std::string(1, rows[line - 1].mark) + " ";
        for (size_t column = 0; column < widths.size(); ++column) {
            text += lines[line][column];
            if (column + 1 < widths.size()) {
                text += std::string(widths[column] - lines[line][column].size() + 2, ' ');
            }
        }
        text.erase(text.find_last_not_of(' ') + 1);
        table += text + "\n";
    }
    return table;
}

Json::Value CatalogueJson(const Catalogue& catalogue) {
    Json::Value document(Json::objectValue);
    for (const ComponentKind kind : kAllKinds) {
        Json::Value& list = document[KindName(kind)] = Json::Value(Json::arrayValue);
        for (const Json::Value& entry : catalogue.List(kind)) list.append(entry);
    }
    return document;
}

std::string FormatCatalogueJson(const Catalogue& catalogue) {
    return trevalo_json::WriteStyled(CatalogueJson(catalogue), "  ");
}

}  // namespace trevalo_cli
