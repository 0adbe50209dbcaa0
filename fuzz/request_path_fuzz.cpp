// libFuzzer entry: requests as a local client sends them, from the framework's conversion of the
// body text and buffer to the reply it would put on the bus, through the service's dispatcher
// into every handler, with the simulated platform in one of a few states.
//
// Input: one byte choosing the platform state, then up to kMaxRequests requests, each
//   body text, NUL, buffer length (2 bytes, big-endian), buffer bytes
// (the last request may stop anywhere: a missing length or short buffer takes what is left).
// The body cannot hold NUL, as a D-Bus string cannot. Every input starts from an empty
// catalogue, a reset parser and no saved playing time, so a crash replays from its input alone.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "Ondrel/TCMessage.h"
#include "TCPMTParser.h"
#include "TrevaloClock.h"
#include "TrevaloService.h"
#include "TrevaloServiceServer.h"
#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"

namespace {

constexpr size_t kMaxRequests = 4;

// The platform states: the defaults (no file), then the documents below.
const char* const kPlatformStates[] = {
    R"({"system_info": {"709": 200},
        "tv_service": {"service_id": 4660, "current_audio": {"language_code": 6647399, "index": 1},
                       "audio": {"audio_description": true, "spoken_subtitles": true}}})",
    R"({"system_info": {"709": null},
        "tv_service": {"tv_mode": 0, "service_id": null, "current_audio": {"index": null}}})",
    R"({"system_info": {"709": 4294967295}, "tv_service": {"fail": "service_info"}})",
    R"({"tv_service": {"fail": "audio_query"}})",
    R"({"tv_service": {"fail": "current_audio"}})",
};
constexpr size_t kStateCount = 1 + sizeof kPlatformStates / sizeof kPlatformStates[0];

std::vector<std::string> g_state_paths;  // index 0 empty: no file
std::string g_state_dir;

void RemoveStateFiles() {
    for (const std::string& path : g_state_paths) {
        if (!path.empty()) unlink(path.c_str());
    }
    if (!g_state_dir.empty()) rmdir(g_state_dir.c_str());
}

void UsePlatformState(uint8_t choice) {
    const std::string& path = g_state_paths[choice % kStateCount];
    if (path.empty()) {
        unsetenv("PLATFORM_SIM_STATE");
    } else {
        setenv("PLATFORM_SIM_STATE", path.c_str(), 1);
    }
}

void StartAfresh() {
    TrevaloServiceServer::FiniTrevaloServiceServer();
    TrevaloServiceServer::InitTrevaloServiceServer();
    if (TrevaloServiceServer::m_pParser != nullptr) TrevaloServiceServer::m_pParser->Reset();
    TrevaloServiceServer::m_CurrentVideoPlayingTime = 0;
    TrevaloServiceServer::m_TimeTicker = 0;
}

// What the framework promises of every reply it puts on the bus.
void CheckReply(const Ondrel::TCMessage& reply) {
    if (!reply.body.isObject() || !reply.body.isMember(trevalo_bus::member::kReturnData))
        __builtin_trap();
    for (const char c : trevalo_json::WriteCompact(reply.body)) {
        // Non-ASCII is escaped, so the body is valid UTF-8 whatever bytes the strings hold.
        if (static_cast<unsigned char>(c) >= 0x80 || c == '\0') __builtin_trap();
    }
    unsigned char* bytes = nullptr;
    const unsigned int length = reply.GetBuffer(bytes);
    if ((length == 0) != (bytes == nullptr)) __builtin_trap();
}

// One request through the framework's conversion and the dispatcher; false when the framework
// refuses the body (the bus answers that with an error, and the service never sees it).
bool Serve(TrevaloService& service, const char* text, size_t text_length, const uint8_t* buffer,
           size_t buffer_length) {
    Json::Value body;
    std::string error;
    if (!trevalo_json::Parse(text, text_length, body, &error)) return false;
    Ondrel::TCMessage request(std::move(body));
    request.SetBuffer(buffer, static_cast<unsigned int>(buffer_length));
    Ondrel::TCMessage reply;
    service.IfMessageReceived(":1.1", &request, &reply, trevalo_bus::kObjectPath);
    CheckReply(reply);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // As the service's main.
    if (!StartMonotonicClock()) std::abort();

    char dir_template[] = "/tmp/trevalo-fuzz-XXXXXX";
    if (mkdtemp(dir_template) == nullptr) std::abort();
    g_state_dir = dir_template;
    g_state_paths.emplace_back();
    for (const char* document : kPlatformStates) {
        g_state_paths.push_back(g_state_dir + "/state" + std::to_string(g_state_paths.size()));
        std::ofstream(g_state_paths.back()) << document;
    }
    std::atexit(RemoveStateFiles);
    TrevaloServiceServer::InitTrevaloServiceServer();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static TrevaloService* service = new TrevaloService();  // lives as long as the process
    if (size == 0) return 0;
    UsePlatformState(data[0]);
    StartAfresh();

    size_t at = 1;
    for (size_t served = 0; served < kMaxRequests && at < size; ++served) {
        const auto* text = reinterpret_cast<const char*>(data + at);
        const void* nul = std::memchr(text, '\0', size - at);
        const size_t text_length = nul ? static_cast<const char*>(nul) - text : size - at;
        at += text_length + (nul ? 1 : 0);
        size_t buffer_length = 0;
        if (at + 2 <= size) {
            buffer_length = static_cast<size_t>(data[at]) << 8 | data[at + 1];
            at += 2;
        }
        if (buffer_length > size - at) buffer_length = size - at;
        Serve(*service, text, text_length, data + at, buffer_length);
        at += buffer_length;
    }
    return 0;
}
