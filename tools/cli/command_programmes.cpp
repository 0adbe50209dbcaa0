// programmes FILE|-: every programme of a transport stream, its PMT PID and its elementary
// streams (PID, stream type, languages), read from the stream alone, without the service.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "catalogue_table.h"
#include "command_error.h"
#include "commands.h"
#include "input_stream.h"
#include "output_names.h"
#include "trevalo/json_text.h"
#include "trevalo/mpeg_constants.h"
#include "tsdemux/pmt_streams.h"
#include "tsdemux/programme_scanner.h"

namespace trevalo_cli {
namespace {

namespace stream_type = trevalo_mpeg::stream_type;
namespace descriptor_tag = trevalo_mpeg::descriptor_tag;

constexpr size_t kChunkSize = 64 * 1024;

std::string PidText(unsigned pid) {
    char text[24];
    std::snprintf(text, sizeof text, "%u (0x%04X)", pid, pid);
    return text;
}

std::string StreamTypeName(uint8_t type) {
    // Values no other reader of the tree needs stay numbers here.
    static const std::map<uint8_t, const char*> names = {
        {stream_type::kMpeg1Video, "MPEG-1 video"},
        {stream_type::kMpeg2Video, "MPEG-2 video"},
        {stream_type::kMpeg1Audio, "MPEG-1 audio"},
        {stream_type::kMpeg2Audio, "MPEG-2 audio"},
        {stream_type::kPrivateSections, "private sections"},
        {stream_type::kPrivatePes, "private data"},
        {0x0B, "DSM-CC U-N"},
        {0x0C, "DSM-CC stream descriptors"},
        {0x0D, "DSM-CC sections"},
        {stream_type::kAacAdts, "AAC ADTS audio"},
        {0x10, "MPEG-4 video"},
        {stream_type::kAacLatm, "AAC LATM audio"},
        {0x15, "metadata"},
        {stream_type::kAvcVideo, "AVC video"},
        {stream_type::kHevcVideo, "HEVC video"},
        {stream_type::kUserPrivateVideo, "MPEG video (0x80)"},
        {stream_type::kAc3Audio, "AC-3 audio"},
        {0x86, "SCTE-35 splices"},
        {stream_type::kEnhancedAc3Audio, "E-AC-3 audio"}};
    const auto name = names.find(type);
    return name == names.end() ? "other" : name->second;
}

// What a private-data stream carries, from the descriptors that say so.
std::string PrivateDataContent(const tsdemux::ElementaryStream& stream) {
    // Values no other reader of the tree needs stay numbers here.
    static const std::map<uint8_t, const char*> carried = {
        {0x46, "VBI teletext"},
        {descriptor_tag::kTeletext, "teletext"},
        {descriptor_tag::kSubtitling, "DVB subtitles"},
        {descriptor_tag::kAc3, "AC-3"},
        {descriptor_tag::kEnhancedAc3, "E-AC-3"},
        {0x7B, "DTS"},
        {0x7C, "AAC"}};
    std::string content;
    for (const uint8_t tag : stream.descriptor_tags) {
        const auto found = carried.find(tag);
        if (found == carried.end() || content.find(found->second) != std::string::npos) continue;
        content += (content.empty() ? "" : ", ") + std::string(found->second);
    }
    return content;
}

std::string TypeCell(const tsdemux::ElementaryStream& stream) {
    char code[8];
    std::snprintf(code, sizeof code, "0x%02X", stream.stream_type);
    std::string text = std::string(code) + " " + StreamTypeName(stream.stream_type);
    if (stream.stream_type == stream_type::kPrivatePes) {
        const std::string content = PrivateDataContent(stream);
        if (!content.empty()) text += ": " + content;
    }
    return text;
}

std::string LanguagesCell(const tsdemux::ElementaryStream& stream) {
    std::string text;
    for (const std::string& language : stream.languages) {
        text += (text.empty() ? "" : ",") + PrintableText(language);
    }
    return text.empty() ? "-" : text;
}

void PrintProgramme(const tsdemux::FoundPmt& pmt) {
    const tsdemux::PmtStreams content = tsdemux::ReadPmtStreams(pmt.section);
    std::cout << "programme " << pmt.program_number << ": PMT version " << unsigned(pmt.version)
              << " on PID " << PidText(pmt.pid) << ", PCR PID " << PidText(content.pcr_pid)
              << (content.truncated ? " (the section is cut short)" : "") << "\n";
    if (content.streams.empty()) {
        std::cout << "  (no elementary streams)\n";
        return;
    }
    std::vector<std::vector<std::string>> rows = {{"PID", "TYPE", "LANG"}};
    for (const tsdemux::ElementaryStream& stream : content.streams) {
        rows.push_back({PidText(stream.pid), TypeCell(stream), LanguagesCell(stream)});
    }
    size_t widths[2] = {0, 0};
    for (const auto& row : rows) {
        for (size_t column = 0; column < 2; ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    for (const auto& row : rows) {
        std::cout << "  " << row[0] << std::string(widths[0] + 2 - row[0].size(), ' ') << row[1]
                  << std::string(widths[1] + 2 - row[1].size(), ' ') << row[2] << "\n";
    }
}

Json::Value StreamJson(const tsdemux::ElementaryStream& stream) {
    Json::Value json(Json::objectValue);
    json[output::kPid] = stream.pid;
    json[output::kStreamType] = stream.stream_type;
    json[output::kStreamTypeName] = StreamTypeName(stream.stream_type);
    json[output::kComponentTag] =
        stream.component_tag < 0 ? Json::Value() : Json::Value(stream.component_tag);
    Json::Value& languages = json[output::kLanguages] = Json::Value(Json::arrayValue);
    for (const auto& language : stream.iso639_languages) {
        Json::Value& entry = languages.append(Json::Value(Json::objectValue));
        entry[output::kLanguage] = PrintableText(language.code);
        entry[output::kAudioType] = language.audio_type;
    }
    Json::Value& ca = json[output::kCa] = Json::Value(Json::arrayValue);
    for (const auto& system : stream.ca) {
        Json::Value& entry = ca.append(Json::Value(Json::objectValue));
        entry[output::kSystemId] = system.system_id;
        entry[output::kPid] = system.pid;
    }
    Json::Value& subtitling = json[output::kSubtitling] = Json::Value(Json::arrayValue);
    for (const auto& subtitles : stream.subtitling) {
        Json::Value& entry = subtitling.append(Json::Value(Json::objectValue));
        entry[output::kLanguage] = PrintableText(subtitles.language);
        entry[output::kType] = subtitles.type;
        entry[output::kCompositionPage] = subtitles.composition_page;
        entry[output::kAncillaryPage] = subtitles.ancillary_page;
    }
    Json::Value& teletext = json[output::kTeletext] = Json::Value(Json::arrayValue);
    for (const auto& page : stream.teletext) {
        Json::Value& entry = teletext.append(Json::Value(Json::objectValue));
        entry[output::kLanguage] = PrintableText(page.language);
        entry[output::kType] = page.type;
        entry[output::kMagazine] = page.magazine;
        entry[output::kPage] = page.page;
    }
    const auto carries = [&stream](uint8_t tag) {
        return std::find(stream.descriptor_tags.begin(), stream.descriptor_tags.end(), tag) !=
               stream.descriptor_tags.end();
    };
    json[output::kAc3] = carries(descriptor_tag::kAc3);
    json[output::kEnhancedAc3] = carries(descriptor_tag::kEnhancedAc3);
    return json;
}

Json::Value ProgrammeJson(const tsdemux::FoundPmt& pmt) {
    const tsdemux::PmtStreams content = tsdemux::ReadPmtStreams(pmt.section);
    Json::Value json(Json::objectValue);
    json[output::kProgramNum] = pmt.program_number;
    json[output::kPmtPid] = pmt.pid;
    json[output::kVersion] = pmt.version;
    json[output::kPcrPid] = content.pcr_pid;
    json[output::kTruncated] = content.truncated;
    Json::Value& streams = json[output::kStreams] = Json::Value(Json::arrayValue);
    for (const tsdemux::ElementaryStream& stream : content.streams) {
        streams.append(StreamJson(stream));
    }
    return json;
}

}  // namespace

int RunProgrammes(const CommandContext&, const Arguments& arguments) {
    if (arguments.Operands().size() != 1) {
        throw UsageError("give one FILE, or - for standard input");
    }
    InputStream input(arguments.Operands()[0]);
    tsdemux::ProgrammeScanner scanner;
    std::vector<uint8_t> chunk(kChunkSize);
    // A tuner's output never ends: stop as soon as every programme has its PMT. One that shows
    // no PAT for a while is said once.
    const bool live = !input.IsRegularFile();
    const auto started = std::chrono::steady_clock::now();
    const std::chrono::milliseconds pat_patience = PatPatience();
    bool said_no_pat = false;
    uint64_t bytes_read = 0;
    while (!scanner.AllFound()) {
        if (live && !said_no_pat && !scanner.PatComplete() &&
            std::chrono::steady_clock::now() - started >= pat_patience) {
            // One write: a reader of stderr never sees half the line.
            std::cerr << "trevalo-cli: programmes: no PAT in the first " +
                             std::to_string(bytes_read) + " bytes of " + input.Name() +
                             "; still reading (Ctrl-C stops)\n"
                      << std::flush;
            said_no_pat = true;
        }
        const ssize_t count = input.Read(chunk.data(), chunk.size());
        if (count > 0) bytes_read += static_cast<uint64_t>(count);
        if (count < 0) continue;
        if (count == 0) {
            scanner.Finish();
            break;
        }
        scanner.Feed(chunk.data(), static_cast<size_t>(count));
    }

    const std::string crc_note =
        scanner.BadCrcSections() == 0
            ? ""
            : " (" + std::to_string(scanner.BadCrcSections()) + " sections failed the CRC check)";
    if (scanner.Reader().Packets() == 0) {
        throw FailureAnswer("no transport-stream packets in " + input.Name());
    }
    if (!scanner.PatComplete()) throw FailureAnswer("no PAT in " + input.Name() + crc_note);
    if (scanner.Programmes().empty()) throw FailureAnswer("the PAT lists no programme");

    const bool json = arguments.Flag("--json");
    Json::Value programs(Json::arrayValue);
    size_t listed = 0;
    for (const tsdemux::ProgramEntry& entry : scanner.Programmes()) {
        if (const tsdemux::FoundPmt* pmt = scanner.PmtOf(entry.program_number)) {
            if (json) {
                programs.append(ProgrammeJson(*pmt));
            } else {
                PrintProgramme(*pmt);
            }
            ++listed;
        } else if (json) {
            // Listed as in the table: its number and PMT PID, no streams.
            Json::Value missing(Json::objectValue);
            missing[output::kProgramNum] = entry.program_number;
            missing[output::kPmtPid] = entry.pid;
            missing[output::kStreams] = Json::Value();
            programs.append(missing);
        } else {
            std::cout << "programme " << entry.program_number << ": no valid PMT on PID "
                      << PidText(entry.pid) << "\n";
        }
    }
    if (listed == 0) {
        throw FailureAnswer("no valid PMT of any programme in " + input.Name() + crc_note);
    }
    if (json) {
        Json::Value document(Json::objectValue);
        document[output::kPrograms] = programs;
        std::cout << trevalo_json::WriteStyled(document, "  ");
    }
    return kExitSuccess;
}

}  // namespace trevalo_cli
