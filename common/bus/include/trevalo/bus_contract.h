// The service's contract with its clients, spelled once: where it is on the bus, the methods and
// signals it offers there, and the members of the JSON bodies they carry. The service, the
// client, the benchmarks and the tests all take the names from here.
#ifndef TREVALO_BUS_CONTRACT_H
#define TREVALO_BUS_CONTRACT_H

#include "Ondrel/TCBusNames.h"

namespace trevalo_bus {

// The server as the framework registers it, and the D-Bus names the framework derives from it
// (the framework's own names taken from its header, not spelled again here).
#define TREVALO_SERVER_NAME "trevalo_service"
static_assert(Ondrel::bus::IsBusNameElement(TREVALO_SERVER_NAME),
              "the framework would mend the name: kBusName and kObjectPath would be wrong");
constexpr const char kServerName[] = TREVALO_SERVER_NAME;
constexpr const char kBusName[] = ONDREL_TC_WELL_KNOWN_NAME(TREVALO_SERVER_NAME);
constexpr const char kObjectPath[] = ONDREL_TC_OBJECT_PATH(TREVALO_SERVER_NAME);
#undef TREVALO_SERVER_NAME
using Ondrel::bus::kInterface;
using Ondrel::bus::kInvalidMessageError;
using Ondrel::bus::kRequestMethod;  // (s body, ay buffer) -> (s body, ay buffer)

// Signals on kInterface, each (s body, ay buffer).
constexpr const char kTrevaloSignal[] = "TrevaloSignal";
constexpr const char kCatalogueChanged[] = "CatalogueChanged";

// The catalogue as a typed interface on kObjectPath, beside kInterface: read-only properties that
// announce their new values with org.freedesktop.DBus.Properties.PropertiesChanged, and GetPid.
namespace catalogue {
constexpr const char kInterface[] = "org.ondrel.Trevalo.Catalogue1";
using Ondrel::bus::kPropertiesChanged;
using Ondrel::bus::kPropertiesInterface;
// Properties: 0 and -1 before the first accepted PMT; the lists aa{sv}, one dictionary per entry
// with the members of the entry objects below.
constexpr const char kProgramNumber[] = "ProgramNumber";  // q
constexpr const char kPmtVersion[] = "PmtVersion";        // i
constexpr const char kVideo[] = "Video";
constexpr const char kAudio[] = "Audio";
constexpr const char kSubtitles[] = "Subtitles";
constexpr const char kGetPid[] = "GetPid";  // (y component_tag) -> (q pid)
constexpr const char kGetPidArgument[] = "component_tag";
constexpr const char kGetPidResult[] = "pid";
// (a{sv} preferences) -> (a{sv} choice): which tracks to play (docs/track-selection.md).
constexpr const char kSelectTracks[] = "SelectTracks";
constexpr const char kSelectTracksArgument[] = "preferences";
constexpr const char kSelectTracksResult[] = "choice";
namespace preference {
constexpr const char kAudioLanguages[] = "audio_languages";          // as
constexpr const char kSubtitleLanguages[] = "subtitle_languages";    // as
constexpr const char kAudioDescription[] = "audio_description";      // b
constexpr const char kHardOfHearing[] = "hard_of_hearing";           // b
constexpr const char kSubtitles[] = "subtitles";                     // s: one of the three below
constexpr const char kPreferMultichannel[] = "prefer_multichannel";  // b
constexpr const char kSubtitlesOff[] = "off";
constexpr const char kSubtitlesAuto[] = "auto";
constexpr const char kSubtitlesOn[] = "on";
}  // namespace preference
namespace choice {
constexpr const char kAudio[] = "audio";                     // i: index in Audio, -1 for none
constexpr const char kSubtitle[] = "subtitle";               // i: index in Subtitles, -1 for none
constexpr const char kAudioPid[] = "audio_pid";              // q, 0 for none
constexpr const char kSubtitlePid[] = "subtitle_pid";        // q, 0 for none
constexpr const char kAudioReason[] = "audio_reason";        // s
constexpr const char kSubtitleReason[] = "subtitle_reason";  // s
}  // namespace choice
constexpr const char kInvalidArgsError[] = "org.freedesktop.DBus.Error.InvalidArgs";
}  // namespace catalogue

// The values of the request member "method", in the order the dispatcher compares them.
namespace method {
constexpr const char kSendPESDataWithFirstPTS[] = "SendPESDataWithFirstPTS";  // relayed as a signal
constexpr const char kSendPMTData[] = "SendPMTData";
constexpr const char kGetPID[] = "GetPID";
constexpr const char kGetAudio[] = "GetAudio";
constexpr const char kSizeOfAudio[] = "SizeOfAudio";
constexpr const char kGetVideo[] = "GetVideo";
constexpr const char kSizeOfVideo[] = "SizeOfVideo";
constexpr const char kGetSubtitle[] = "GetSubtitle";
constexpr const char kSizeOfSubtitle[] = "SizeOfSubtitle";
constexpr const char kGetCurrentVideoPlayingTime[] = "GetCurrentVideoPlayingTime";
constexpr const char kSaveCurrentVideoPlayingTime[] = "SaveCurrentVideoPlayingTime";
constexpr const char kGetCatalogue[] = "GetCatalogue";  // extension beside the eleven
}  // namespace method

// Members of the JSON bodies.
namespace member {
// requests and replies
constexpr const char kMethod[] = "method";
constexpr const char kData[] = "data";
constexpr const char kReturnData[] = "return_data";
constexpr const char kCallApiSuccess[] = "call_api_success";
// "data" of SendPMTData
constexpr const char kReset[] = "reset";
constexpr const char kProgramNum[] = "programNum";
// entry objects of GetAudio, GetVideo, GetSubtitle and GetCatalogue
constexpr const char kPid[] = "pid";
constexpr const char kCompTag[] = "comp_tag";
constexpr const char kEncrypted[] = "encrypted";
constexpr const char kEncoding[] = "encoding";
constexpr const char kLang[] = "lang";
constexpr const char kAudioChannels[] = "audio_channels";
constexpr const char kAudioDesc[] = "audio_desc";
constexpr const char kCaSid[] = "ca_sid";
constexpr const char kAspectRatio[] = "aspect_ratio";
constexpr const char kHearingImpaired[] = "hearing_impaired";
// only in the entries of the catalogue interface: the language's bytes as broadcast (ay, beside
// "lang" in which a byte outside printable ASCII, or a backslash, reads \xNN), and what a
// subtitle entry is
constexpr const char kLangBytes[] = "lang_bytes";
constexpr const char kKind[] = "kind";  // "dvb-subtitle" or "teletext"
constexpr const char kType[] = "type";  // the subtitling_type or teletext_type
constexpr const char kPage[] = "page";  // teletext: magazine (0 read as 8) and page, "888"
constexpr const char kCompositionPage[] = "composition_page";  // DVB subtitle
constexpr const char kAncillaryPage[] = "ancillary_page";      // DVB subtitle
// what each track is for (docs/track-selection.md): audio entries' audio_type (y), role (s),
// channels (s), mix (s, only where given) and spoken language (s); subtitle entries'
// hard_of_hearing (b)
constexpr const char kAudioType[] = "audio_type";
constexpr const char kRole[] = "role";
constexpr const char kChannels[] = "channels";
constexpr const char kMix[] = "mix";
constexpr const char kLanguage[] = "language";
constexpr const char kHardOfHearing[] = "hard_of_hearing";
constexpr const char kKindDvbSubtitle[] = "dvb-subtitle";
constexpr const char kKindTeletext[] = "teletext";
// the lists of GetCatalogue's answer and the sizes in CatalogueChanged's body
constexpr const char kVideo[] = "video";
constexpr const char kAudio[] = "audio";
constexpr const char kSubtitle[] = "subtitle";
}  // namespace member

}  // namespace trevalo_bus

#endif
