#include "requests.h"

#include <set>
#include <stdexcept>

#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"

namespace bus_bench {
namespace {

namespace member = trevalo_bus::member;
namespace method = trevalo_bus::method;

Request Query(const std::string& name, const Json::Value& data) {
    Json::Value body;
    body[member::kMethod] = name;
    if (!data.isNull()) body[member::kData] = data;
    return {name, trevalo_json::WriteCompact(body), {}};
}

Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    trevalo_json::Parse(text, value);
    return value;
}

}  // namespace

const CatalogueList kCatalogueLists[3] = {
    {member::kVideo, method::kSizeOfVideo, method::kGetVideo},
    {member::kAudio, method::kSizeOfAudio, method::kGetAudio},
    {member::kSubtitle, method::kSizeOfSubtitle, method::kGetSubtitle},
};

const std::vector<Section>& ReadSections() {
    const std::vector<Section>& sections = pmt_test::CapturedSections();
    if (sections.empty()) throw std::runtime_error("no sections in " TREVALO_TESTDATA_DIR "/pmt");
    return sections;
}

Request Query(const std::string& method) {
    return Query(method, Json::Value());
}

Request Query(const std::string& method, int data) {
    return Query(method, Json::Value(data));
}

Request SendPmt(const Section& section, bool reset) {
    Json::Value data;
    data[member::kReset] = reset;
    data[member::kProgramNum] = section.programNumber;
    Request request = Query(method::kSendPMTData, data);
    request.buffer = section.bytes;
    return request;
}

Json::Value ReturnData(test_support::RawClient& client, const Request& request) {
    const test_support::Reply reply = client.Request(request.body, request.buffer, 30000);
    if (!reply.ok) throw std::runtime_error(request.body + " failed");
    return ParseJson(reply.body)[member::kReturnData];
}

Json::Value EntryOf(const Json::Value& return_data) {
    return ParseJson(return_data.asString());
}

std::vector<Request> ChannelChange(test_support::RawClient& service, const Section& section) {
    std::vector<Request> burst{SendPmt(section, true)};
    if (ReturnData(service, burst.front()).asInt() != 0) {
        throw std::runtime_error(section.name + " is not accepted by the service");
    }
    std::set<int> tags;
    for (const int list : {1, 0, 2}) {  // audio, video, subtitle
        const Request size = Query(kCatalogueLists[list].size_of);
        burst.push_back(size);
        const int entries = ReturnData(service, size).asInt();
        for (int index = 0; index < entries; ++index) {
            const Request entry = Query(kCatalogueLists[list].get, index);
            burst.push_back(entry);
            tags.insert(EntryOf(ReturnData(service, entry))[member::kCompTag].asInt());
        }
    }
    for (int tag : tags) burst.push_back(Query(method::kGetPID, tag));
    return burst;
}

void ChangeChannel(test_support::RawClient& service, const Section& section) {
    if (ReturnData(service, SendPmt(section, true)).asInt() != 0) {
        throw std::runtime_error(section.name + " is not accepted by the service");
    }
}

}  // namespace bus_bench
