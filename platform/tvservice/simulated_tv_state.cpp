#include "simulated_tv_state.h"

#include <cstring>

#include "platform_sim_state.h"

namespace {

// The member `name` of `object`; null when `object` is missing, not an object, or lacks it.
const Json::Value* Member(const Json::Value* object, const char* name) {
    if (object == nullptr || !object->isObject()) return nullptr;
    return object->find(name, name + std::strlen(name));
}

void ReadInt(const Json::Value* value, int& into) {
    if (value != nullptr && value->isInt()) into = value->asInt();
}

void ReadBool(const Json::Value* value, bool& into) {
    if (value != nullptr && value->isBool()) into = value->asBool();
}

// A present null clears `into`; a number of the right kind replaces it.
void ReadNullableServiceId(const Json::Value* value, std::optional<unsigned long long>& into) {
    if (value == nullptr) return;
    if (value->isNull()) {
        into.reset();
    } else if (value->isUInt64()) {
        into = value->asUInt64();
    }
}

void ReadNullableInt(const Json::Value* value, std::optional<int>& into) {
    if (value == nullptr) return;
    if (value->isNull()) {
        into.reset();
    } else if (value->isInt()) {
        into = value->asInt();
    }
}

SimulatedTvState Derive(const Json::Value& document) {
    SimulatedTvState state;
    const Json::Value* block = Member(&document, "tv_service");

    ReadInt(Member(block, "tv_mode"), state.tvMode);
    ReadNullableServiceId(Member(block, "service_id"), state.serviceId);

    const Json::Value* currentAudio = Member(block, "current_audio");
    ReadInt(Member(currentAudio, "language_code"), state.languageCode);
    ReadNullableInt(Member(currentAudio, "index"), state.audioIndex);

    const Json::Value* audio = Member(block, "audio");
    ReadBool(Member(audio, "audio_description"), state.audioDescription);
    ReadBool(Member(audio, "spoken_subtitles"), state.spokenSubtitles);

    const Json::Value* fail = Member(block, "fail");
    if (fail != nullptr && fail->isString()) state.failingStep = fail->asString();
    return state;
}

}  // namespace

SimulatedTvState ReadSimulatedTvState() {
    // Derived once per version of the state document, not at every library call.
    static unsigned long derived_from = 0;
    static SimulatedTvState derived;
    unsigned long generation = 0;
    const Json::Value& document = platform_sim::CurrentState(generation);
    if (generation == 0) return SimulatedTvState();
    if (generation != derived_from) {
        derived = Derive(document);
        derived_from = generation;
    }
    return derived;
}
