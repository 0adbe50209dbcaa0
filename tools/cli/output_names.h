// The member names of the client's own JSON output (pmt --json, programmes --json,
// listen --json), named after ffprobe's where it has one.
#ifndef TREVALO_CLI_OUTPUT_NAMES_H
#define TREVALO_CLI_OUTPUT_NAMES_H

namespace trevalo_cli {
namespace output {

constexpr const char kPrograms[] = "programs";
constexpr const char kProgramNum[] = "program_num";
constexpr const char kPmtPid[] = "pmt_pid";
constexpr const char kVersion[] = "version";
constexpr const char kPcrPid[] = "pcr_pid";
constexpr const char kTruncated[] = "truncated";
constexpr const char kStreams[] = "streams";
constexpr const char kPid[] = "pid";
constexpr const char kStreamType[] = "stream_type";
constexpr const char kStreamTypeName[] = "stream_type_name";
constexpr const char kComponentTag[] = "component_tag";
constexpr const char kLanguages[] = "languages";
constexpr const char kLanguage[] = "language";
constexpr const char kAudioType[] = "audio_type";
constexpr const char kCa[] = "ca";
constexpr const char kSystemId[] = "system_id";
constexpr const char kSubtitling[] = "subtitling";
constexpr const char kType[] = "type";
constexpr const char kCompositionPage[] = "composition_page";
constexpr const char kAncillaryPage[] = "ancillary_page";
constexpr const char kTeletext[] = "teletext";
constexpr const char kMagazine[] = "magazine";
constexpr const char kPage[] = "page";
constexpr const char kAc3[] = "ac3";
constexpr const char kEnhancedAc3[] = "eac3";
constexpr const char kSectionBytes[] = "section_bytes";
constexpr const char kAnswer[] = "answer";
constexpr const char kCatalogue[] = "catalogue";
constexpr const char kSignal[] = "signal";
constexpr const char kBody[] = "body";
constexpr const char kBuffer[] = "buffer";

}  // namespace output
}  // namespace trevalo_cli

#endif
