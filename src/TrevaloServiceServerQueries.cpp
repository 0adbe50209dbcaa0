// The catalogue queries: list sizes, entries by index, the whole catalogue at once, and the PID
// behind a component tag.
#include <json/value.h>

#include "TrevaloRequest.h"
#include "TrevaloServiceServer.h"
#include "TrevaloServiceServerLog.h"

using Ondrel::TCMessage;
using trevalo_request::Convert;
using trevalo_request::KindName;
using trevalo_request::Member;

namespace {

// The entry index in "data", as asUInt reads it (missing: 0, 1.5: 1). False when "data" is of
// a kind asUInt throws on: a negative number, a string, an array, an object.
bool ReadIndex(const TCMessage& request, unsigned int& index) {
    return Convert(Member(request.body, "data"), index);
}

// The first record of `list` carrying `tag`, or null.
template <typename Component>
const Component* FirstWithTag(const ComponentList<Component>& list, uint8_t tag) {
    for (const auto& component : list) {
        if (component->comp_tag == tag) return component.get();
    }
    return nullptr;
}

// The entry objects of the entry queries, one member per record field. "GetCatalogue" answers
// the very same objects, so the two ways of reading the catalogue cannot disagree.
Json::Value EntryObject(const AudioComponent& audio) {
    Json::Value entry;
    entry["pid"] = Json::Value(static_cast<int>(audio.pid));
    entry["encoding"] = Json::Value(static_cast<int>(audio.encoding));
    entry["encrypted"] = Json::Value(audio.encrypted);
    entry["comp_tag"] = Json::Value(static_cast<int>(audio.comp_tag));
    entry["lang"] = Json::Value(audio.lang);
    entry["audio_channels"] = Json::Value(static_cast<int>(audio.audio_channels));
    entry["audio_desc"] = Json::Value(audio.audio_desc);
    return entry;
}

Json::Value EntryObject(const VideoComponent& video) {
    Json::Value entry;
    entry["pid"] = Json::Value(static_cast<int>(video.pid));
    entry["encoding"] = Json::Value(static_cast<int>(video.encoding));
    entry["encrypted"] = Json::Value(video.encrypted);
    entry["comp_tag"] = Json::Value(static_cast<int>(video.comp_tag));
    entry["ca_sid"] = Json::Value(static_cast<int>(video.ca_sid));
    entry["aspect_ratio"] = Json::Value(static_cast<int>(video.aspect_ratio));
    return entry;
}

Json::Value EntryObject(const SbtComponent& subtitle) {
    Json::Value entry;
    entry["pid"] = Json::Value(static_cast<int>(subtitle.pid));
    entry["encrypted"] = Json::Value(subtitle.encrypted);
    entry["comp_tag"] = Json::Value(static_cast<int>(subtitle.comp_tag));
    entry["lang"] = Json::Value(subtitle.lang);
    entry["hearing_impaired"] = Json::Value(subtitle.hearing_impaired);
    return entry;
}

template <typename Component>
Json::Value EntryArray(const ComponentList<Component>& list) {
    Json::Value entries(Json::arrayValue);
    for (const auto& component : list) entries.append(EntryObject(*component));
    return entries;
}

}  // namespace

void TrevaloServiceServer::SizeOfAudio(const TCMessage&, TCMessage& reply) {
    TREVALO_LOGI("Size of Audio is %d", static_cast<int>(audList->size()));
    reply.body["return_data"] = Json::Value(static_cast<unsigned int>(audList->size()));
}

void TrevaloServiceServer::SizeOfVideo(const TCMessage&, TCMessage& reply) {
    TREVALO_LOGI("Size of Video is %d", static_cast<int>(vidList->size()));
    reply.body["return_data"] = Json::Value(static_cast<unsigned int>(vidList->size()));
}

void TrevaloServiceServer::SizeOfSubtitle(const TCMessage&, TCMessage& reply) {
    TREVALO_LOGI("Size of Subtitle is %d", static_cast<int>(sbtList->size()));
    reply.body["return_data"] = Json::Value(static_cast<unsigned int>(sbtList->size()));
}

void TrevaloServiceServer::GetAudio(const TCMessage& request, TCMessage& reply) {
    TREVALO_LOGI("Get Audio");
    unsigned int index = 0;
    if (!ReadIndex(request, index)) {
        TREVALO_LOGE("invalid index: \"data\" is %s", KindName(Member(request.body, "data")));
        return;
    }
    TREVALO_LOGI("Received index is %d", static_cast<int>(index));
    if (index >= audList->size()) {
        TREVALO_LOGE("invalid index");
        return;
    }
    reply.body["call_api_success"] = Json::Value(true);
    reply.body["return_data"] = Json::Value(EntryObject(*(*audList)[index]).toStyledString());
}

void TrevaloServiceServer::GetVideo(const TCMessage& request, TCMessage& reply) {
    TREVALO_LOGI("Get Video");
    unsigned int index = 0;
    if (!ReadIndex(request, index)) {
        TREVALO_LOGE("invalid index: \"data\" is %s", KindName(Member(request.body, "data")));
        return;
    }
    TREVALO_LOGI("Received index is %d", static_cast<int>(index));
    if (index >= vidList->size()) {
        TREVALO_LOGE("invalid index");
        return;
    }
    reply.body["call_api_success"] = Json::Value(true);
    reply.body["return_data"] = Json::Value(EntryObject(*(*vidList)[index]).toStyledString());
}

void TrevaloServiceServer::GetSubtitle(const TCMessage& request, TCMessage& reply) {
    TREVALO_LOGE("Get Subtitle");
    unsigned int index = 0;
    if (!ReadIndex(request, index)) {
        TREVALO_LOGE("invalid index: \"data\" is %s", KindName(Member(request.body, "data")));
        return;
    }
    TREVALO_LOGI("Received index is %d", static_cast<int>(index));
    if (index >= sbtList->size()) {
        TREVALO_LOGE("invalid index");
        return;
    }
    const SbtComponent& subtitle = *(*sbtList)[index];
    TREVALO_LOGE("Get Subtitle of index %d are %d %d %d %s %d", static_cast<int>(index),
                 static_cast<int>(subtitle.pid), subtitle.encrypted ? 1 : 0,
                 static_cast<int>(subtitle.comp_tag), subtitle.lang.c_str(),
                 subtitle.hearing_impaired ? 1 : 0);
    reply.body["call_api_success"] = Json::Value(true);
    reply.body["return_data"] = Json::Value(EntryObject(subtitle).toStyledString());
    TREVALO_LOGI("Get Subtitle");
}

void TrevaloServiceServer::GetCatalogue(const TCMessage&, TCMessage& reply) {
    TREVALO_LOGI("Get Catalogue: %d video, %d audio, %d subtitle",
                 static_cast<int>(vidList->size()), static_cast<int>(audList->size()),
                 static_cast<int>(sbtList->size()));
    Json::Value catalogue(Json::objectValue);
    catalogue["video"] = EntryArray(*vidList);
    catalogue["audio"] = EntryArray(*audList);
    catalogue["subtitle"] = EntryArray(*sbtList);
    reply.body["return_data"] = catalogue;
    reply.body["call_api_success"] = Json::Value(true);
}

void TrevaloServiceServer::GetPID(const TCMessage& request, TCMessage& reply) {
    TREVALO_LOGI("Get PID for input component tag");
    const Json::Value& data = Member(request.body, "data");
    int pid = 0;
    int requested_tag = 0;
    if (!Convert(data, requested_tag)) {
        TREVALO_LOGE("invalid component tag: \"data\" is %s", KindName(data));
    } else {
        // Only the low 8 bits count: 256 searches for tag 0 and -1 for tag 255.
        const auto tag = static_cast<uint8_t>(requested_tag);
        TREVALO_LOGI("compTag=%d", static_cast<int>(tag));
        if (const AudioComponent* audio = FirstWithTag(*audList, tag)) {
            pid = audio->pid;
            TREVALO_LOGI("Found the Audio PID %d", pid);
        } else if (const SbtComponent* subtitle = FirstWithTag(*sbtList, tag)) {
            pid = subtitle->pid;
            TREVALO_LOGI("Found the Subtitle PID %d", pid);
        } else if (const VideoComponent* video = FirstWithTag(*vidList, tag)) {
            pid = video->pid;
            TREVALO_LOGI("Found the Video PID %d", pid);
        }
    }
    reply.body["return_data"] = Json::Value(pid);
    TREVALO_LOGI("Got the PID,returning to trevalo-api");
}
