#include "simulated_tv_state.h"

#include "platform_sim_state.h"

namespace {

const Json::Value& Member(const Json::Value& object, const char* name) {
    static const Json::Value kAbsent;
    if (!object.isObject()) return kAbsent;
    const Json::Value* found = object.find(name, name + std::char_traits<char>::length(name));
    return found != nullptr ? *found : kAbsent;
}

bool HasMember(const Json::Value& object, const char* name) {
    return object.isObject() &&
           object.find(name, name + std::char_traits<char>::length(name)) != nullptr;
}

void ReadInt(const Json::Value& value, int& into) {
    if (value.isInt()) into = value.asInt();
}

void ReadBool(const Json::Value& value, bool& into) {
    if (value.isBool()) into = value.asBool();
}

}  // namespace

SimulatedTvState ReadSimulatedTvState() {
    SimulatedTvState state;
    const Json::Value& block = Member(platform_sim::CurrentState(), "tv_service");
    if (!block.isObject()) return state;

    ReadInt(Member(block, "tv_mode"), state.tv_mode);
    const Json::Value& service_id = Member(block, "service_id");
    if (HasMember(block, "service_id") && service_id.isNull()) {
        state.has_service_id = false;
    } else if (service_id.isUInt64()) {
        state.service_id = service_id.asUInt64();
    }

    const Json::Value& current_audio = Member(block, "current_audio");
    ReadInt(Member(current_audio, "language_code"), state.language_code);
    const Json::Value& index = Member(current_audio, "index");
    if (HasMember(current_audio, "index") && index.isNull()) {
        state.has_audio_index = false;
    } else {
        ReadInt(index, state.audio_index);
    }

    const Json::Value& audio = Member(block, "audio");
    ReadBool(Member(audio, "audio_description"), state.audio_description);
    ReadBool(Member(audio, "spoken_subtitles"), state.spoken_subtitles);

    const Json::Value& fail = Member(block, "fail");
    if (fail.isString()) state.fail = fail.asString();
    return state;
}
