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

}  // namespace

int RunProgrammes(const CommandContext&, const Arguments& arguments) {
    if (arguments.Operands().size() != 1) {
        throw UsageError("give one FILE, or - for standard input");
    }
    InputStream input(arguments.Operands()[0]);
    tsdemux::ProgrammeScanner scanner;
    std::vector<uint8_t> chunk(kChunkSize);
    // A tuner's output never ends: stop as soon as every programme has its PMT.
    while (!scanner.AllFound()) {
        const ssize_t count = input.Read(chunk.data(), chunk.size());
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

    size_t listed = 0;
    for (const tsdemux::ProgramEntry& entry : scanner.Programmes()) {
        if (const tsdemux::FoundPmt* pmt = scanner.PmtOf(entry.program_number)) {
            PrintProgramme(*pmt);
            ++listed;
        } else {
            std::cout << "programme " << entry.program_number << ": no valid PMT on PID "
                      << PidText(entry.pid) << "\n";
        }
    }
    if (listed == 0) {
        throw FailureAnswer("no valid PMT of any programme in " + input.Name() + crc_note);
    }
    return kExitSuccess;
}

}  // namespace trevalo_cli
