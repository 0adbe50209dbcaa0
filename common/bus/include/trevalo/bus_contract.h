// The service's contract with its clients, spelled once: where it is on the bus, the methods and
// signals it offers there, and the members of the JSON bodies they carry. The service, the
// client, the benchmarks and the tests all take the names from here.
#ifndef TREVALO_BUS_CONTRACT_H
#define TREVALO_BUS_CONTRACT_H

namespace trevalo_bus {

// The server as the framework registers it, and the D-Bus names the framework derives from it.
constexpr const char kServerName[] = "trevalo_service";
constexpr const char kBusName[] = "org.ondrel.TCServer.trevalo_service";
constexpr const char kObjectPath[] = "/org/ondrel/TCServer/trevalo_service";
constexpr const char kInterface[] = "org.ondrel.TCServer";
constexpr const char kRequestMethod[] = "Request";  // (s body, ay buffer) -> (s body, ay buffer)
constexpr const char kInvalidMessageError[] = "org.ondrel.TCServer.Error.InvalidMessage";

// Signals on kInterface, each (s body, ay buffer).
constexpr const char kTrevaloSignal[] = "TrevaloSignal";
constexpr const char kCatalogueChanged[] = "CatalogueChanged";

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
// the lists of GetCatalogue's answer and the sizes in CatalogueChanged's body
constexpr const char kVideo[] = "video";
constexpr const char kAudio[] = "audio";
constexpr const char kSubtitle[] = "subtitle";
}  // namespace member

}  // namespace trevalo_bus

#endif
