#include "catalogue.h"

#include <json/value.h>

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace pmt_bus {
namespace {

using test_support::ParseJson;
using test_support::Reply;

// A language shown with its unprintable bytes escaped, so that "zzz", "zzzz" and codes holding
// zero bytes stay apart in a failure message.
std::string Shown(const std::string& text) {
    std::ostringstream out;
    out << '"';
    for (unsigned char c : text) {
        if (c >= 0x20 && c < 0x7F && c != '"' && c != '\\') {
            out << c;
        } else {
            out << "\\x" << std::hex << std::setw(2) << std::setfill('0') << int(c) << std::dec;
        }
    }
    out << '"';
    return out.str();
}

const char* Bool(bool value) {
    return value ? "true" : "false";
}

std::string Body(const char* method) {
    return std::string(R"({"method":")") + method + "\"}";
}

std::string Body(const char* method, long long data) {
    return std::string(R"({"method":")") + method + R"(","data":)" + std::to_string(data) + "}";
}

bool IsInteger(const Json::Value& value) {
    return value.type() == Json::intValue || value.type() == Json::uintValue;
}

// Checks one entry reply and returns its fields (an object with the members of `names`, each of
// the kind that `kinds` gives: 'i' integer, 'b' boolean, 's' string), or null after adding the
// problems found.
Json::Value EntryFields(const Reply& reply, const std::string& what,
                        const std::vector<std::string>& names, const std::string& kinds,
                        std::vector<std::string>& problems) {
    if (!reply.ok) {
        problems.push_back(what + ": D-Bus error " + reply.error_name);
        return {};
    }
    const Json::Value body = ParseJson(reply.body);
    if (!body.isObject() || !(body["call_api_success"] == Json::Value(true)) ||
        !body["return_data"].isString()) {
        problems.push_back(what + ": not an entry reply: " + reply.body);
        return {};
    }
    const std::string text = body["return_data"].asString();
    const Json::Value fields = ParseJson(text);
    if (!fields.isObject()) {
        problems.push_back(what + ": \"return_data\" is not the text of an object: " + text);
        return {};
    }
    std::vector<std::string> members = fields.getMemberNames();
    std::sort(members.begin(), members.end());
    if (members != names) {
        problems.push_back(what + ": members other than expected: " + text);
        return {};
    }
    size_t previous = 0;
    for (size_t i = 0; i < names.size(); ++i) {
        const Json::Value& value = fields[names[i]];
        const bool kind_ok = kinds[i] == 'i'   ? IsInteger(value)
                             : kinds[i] == 'b' ? value.isBool()
                                               : value.isString();
        if (!kind_ok)
            problems.push_back(what + ": \"" + names[i] + "\" of the wrong kind: " + text);
        // The styled text lists the members in ascending order of their names.
        const size_t at = text.find('"' + names[i] + '"');
        if (at == std::string::npos || at < previous) {
            problems.push_back(what + ": members out of order: " + text);
        }
        previous = at == std::string::npos ? previous : at;
    }
    return fields;
}

void ExpectRefused(const Reply& reply, const std::string& what,
                   std::vector<std::string>& problems) {
    const Json::Value body = reply.ok ? ParseJson(reply.body) : Json::Value();
    if (!body.isObject() || !(body["return_data"] == Json::Value("")) ||
        body.isMember("call_api_success")) {
        problems.push_back(
            what + " past the end is not refused: " + (reply.ok ? reply.body : reply.error_name));
    }
}

long long CountFrom(const Reply& reply) {
    if (!reply.ok) return -1;
    const Json::Value body = ParseJson(reply.body);
    if (!body.isObject() || !IsInteger(body["return_data"]) || body["return_data"].asInt64() < 0) {
        return -1;
    }
    return body["return_data"].asInt64();
}

}  // namespace

bool operator==(const AudioEntry& a, const AudioEntry& b) {
    return a.pid == b.pid && a.encoding == b.encoding && a.encrypted == b.encrypted &&
           a.comp_tag == b.comp_tag && a.lang == b.lang && a.audio_channels == b.audio_channels &&
           a.audio_desc == b.audio_desc;
}

bool operator==(const VideoEntry& a, const VideoEntry& b) {
    return a.pid == b.pid && a.encoding == b.encoding && a.encrypted == b.encrypted &&
           a.ca_sid == b.ca_sid && a.comp_tag == b.comp_tag && a.aspect_ratio == b.aspect_ratio;
}

bool operator==(const SubtitleEntry& a, const SubtitleEntry& b) {
    return a.pid == b.pid && a.encrypted == b.encrypted && a.comp_tag == b.comp_tag &&
           a.lang == b.lang && a.hearing_impaired == b.hearing_impaired;
}

bool operator==(const Catalogue& a, const Catalogue& b) {
    return a.audio == b.audio && a.video == b.video && a.subtitles == b.subtitles;
}

bool operator==(const PidByTag& a, const PidByTag& b) {
    return a.tag == b.tag && a.pid == b.pid;
}

std::ostream& operator<<(std::ostream& out, const AudioEntry& e) {
    return out << "{pid " << e.pid << ", encoding " << e.encoding << ", encrypted "
               << Bool(e.encrypted) << ", comp_tag " << e.comp_tag << ", lang " << Shown(e.lang)
               << ", audio_channels " << e.audio_channels << ", audio_desc " << Bool(e.audio_desc)
               << "}";
}

std::ostream& operator<<(std::ostream& out, const VideoEntry& e) {
    return out << "{pid " << e.pid << ", encoding " << e.encoding << ", encrypted "
               << Bool(e.encrypted) << ", ca_sid " << e.ca_sid << ", comp_tag " << e.comp_tag
               << ", aspect_ratio " << e.aspect_ratio << "}";
}

std::ostream& operator<<(std::ostream& out, const SubtitleEntry& e) {
    return out << "{pid " << e.pid << ", encrypted " << Bool(e.encrypted) << ", comp_tag "
               << e.comp_tag << ", lang " << Shown(e.lang) << ", hearing_impaired "
               << Bool(e.hearing_impaired) << "}";
}

std::ostream& operator<<(std::ostream& out, const Catalogue& catalogue) {
    out << "\n  audio:";
    for (const auto& entry : catalogue.audio) out << "\n    " << entry;
    out << "\n  video:";
    for (const auto& entry : catalogue.video) out << "\n    " << entry;
    out << "\n  subtitles:";
    for (const auto& entry : catalogue.subtitles) out << "\n    " << entry;
    return out << "\n";
}

std::ostream& operator<<(std::ostream& out, const PidByTag& lookup) {
    return out << "{tag " << lookup.tag << " -> pid " << lookup.pid << "}";
}

std::ostream& operator<<(std::ostream& out, const Sizes& sizes) {
    return out << "{audio " << sizes.audio << ", video " << sizes.video << ", subtitles "
               << sizes.subtitles << "}";
}

std::string SendPmtBody(long long programme, bool reset) {
    return std::string(R"({"method":"SendPMTData","data":{"reset":)") + Bool(reset) +
           R"(,"programNum":)" + std::to_string(programme) + "}}";
}

std::string ReturnData(const Reply& reply) {
    if (!reply.ok) return "D-Bus error " + reply.error_name;
    const Json::Value body = ParseJson(reply.body);
    if (!body.isObject()) return "not a JSON object: " + reply.body;
    if (!body.isMember("return_data")) return "no return_data: " + reply.body;
    const Json::Value& value = body["return_data"];
    if (IsInteger(value)) return std::to_string(value.asInt64());
    if (value.isString()) return '"' + value.asString() + '"';
    return "unexpected return_data: " + reply.body;
}

Sizes SizesOf(const Catalogue& catalogue) {
    Sizes sizes;
    sizes.audio = static_cast<long long>(catalogue.audio.size());
    sizes.video = static_cast<long long>(catalogue.video.size());
    sizes.subtitles = static_cast<long long>(catalogue.subtitles.size());
    return sizes;
}

std::vector<Request> SizeRequests() {
    return {{Body("SizeOfAudio"), {}}, {Body("SizeOfVideo"), {}}, {Body("SizeOfSubtitle"), {}}};
}

Sizes SizesFrom(const Reply* replies) {
    Sizes sizes;
    sizes.audio = CountFrom(replies[0]);
    sizes.video = CountFrom(replies[1]);
    sizes.subtitles = CountFrom(replies[2]);
    return sizes;
}

Catalogue ReadCatalogue(PipelinedClient& client, std::vector<std::string>& problems) {
    const std::vector<Reply> counted = client.Send(SizeRequests());
    const Sizes sizes = SizesFrom(counted.data());
    if (sizes.audio < 0 || sizes.video < 0 || sizes.subtitles < 0) {
        for (const Reply& reply : counted) {
            problems.push_back("size query answered " + ReturnData(reply));
        }
        return {};
    }
    std::vector<Request> requests;
    const struct {
        const char* method;
        long long size;
    } lists[] = {
        {"GetAudio", sizes.audio}, {"GetVideo", sizes.video}, {"GetSubtitle", sizes.subtitles}};
    for (const auto& list : lists) {
        for (long long index = 0; index <= list.size; ++index) {
            requests.push_back({Body(list.method, index), {}});
        }
    }
    const std::vector<Reply> replies = client.Send(requests);

    static const std::vector<std::string> kAudioNames = {
        "audio_channels", "audio_desc", "comp_tag", "encoding", "encrypted", "lang", "pid"};
    static const std::vector<std::string> kVideoNames = {"aspect_ratio", "ca_sid",    "comp_tag",
                                                         "encoding",     "encrypted", "pid"};
    static const std::vector<std::string> kSubtitleNames = {"comp_tag", "encrypted",
                                                            "hearing_impaired", "lang", "pid"};

    Catalogue catalogue;
    size_t next = 0;
    for (long long index = 0; index < sizes.audio; ++index) {
        const std::string what = "GetAudio " + std::to_string(index);
        const Json::Value f = EntryFields(replies[next++], what, kAudioNames, "ibiibsi", problems);
        if (f.isNull()) continue;
        catalogue.audio.push_back({f["pid"].asInt(), f["encoding"].asInt(), f["encrypted"].asBool(),
                                   f["comp_tag"].asInt(), f["lang"].asString(),
                                   f["audio_channels"].asInt(), f["audio_desc"].asBool()});
    }
    ExpectRefused(replies[next++], "GetAudio", problems);
    for (long long index = 0; index < sizes.video; ++index) {
        const std::string what = "GetVideo " + std::to_string(index);
        const Json::Value f = EntryFields(replies[next++], what, kVideoNames, "iiiibi", problems);
        if (f.isNull()) continue;
        catalogue.video.push_back({f["pid"].asInt(), f["encoding"].asInt(), f["encrypted"].asBool(),
                                   f["ca_sid"].asInt(), f["comp_tag"].asInt(),
                                   f["aspect_ratio"].asInt()});
    }
    ExpectRefused(replies[next++], "GetVideo", problems);
    for (long long index = 0; index < sizes.subtitles; ++index) {
        const std::string what = "GetSubtitle " + std::to_string(index);
        const Json::Value f = EntryFields(replies[next++], what, kSubtitleNames, "ibbsi", problems);
        if (f.isNull()) continue;
        catalogue.subtitles.push_back({f["pid"].asInt(), f["encrypted"].asBool(),
                                       f["comp_tag"].asInt(), f["lang"].asString(),
                                       f["hearing_impaired"].asBool()});
    }
    ExpectRefused(replies[next++], "GetSubtitle", problems);
    return catalogue;
}

std::vector<PidByTag> ReadPids(PipelinedClient& client, const std::vector<int>& tags) {
    std::vector<Request> requests;
    for (int tag : tags) requests.push_back({Body("GetPID", tag), {}});
    const std::vector<Reply> replies = client.Send(requests);
    std::vector<PidByTag> answers;
    for (size_t i = 0; i < tags.size(); ++i) {
        const Json::Value body = replies[i].ok ? ParseJson(replies[i].body) : Json::Value();
        const Json::Value& value = body.isObject() ? body["return_data"] : Json::Value();
        // An answer that is not an integer shows as -1, which no expectation holds.
        answers.push_back({tags[i], IsInteger(value) ? value.asInt() : -1});
    }
    return answers;
}

}  // namespace pmt_bus
