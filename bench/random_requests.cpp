#include "random_requests.h"

#include <iterator>

#include "trevalo/bus_contract.h"

namespace abuse {
namespace {

namespace member = trevalo_bus::member;
namespace method = trevalo_bus::method;

const char* const kMethods[] = {
    method::kSendPMTData,
    method::kGetPID,
    method::kGetAudio,
    method::kSizeOfAudio,
    method::kGetVideo,
    method::kSizeOfVideo,
    method::kGetSubtitle,
    method::kSizeOfSubtitle,
    method::kGetCurrentVideoPlayingTime,
    method::kSaveCurrentVideoPlayingTime,
    method::kSendPESDataWithFirstPTS,
    "sendpmtdata",
    "",
    "GetAudio ",
};

const char* const kScalars[] = {
    "0",
    "1",
    "-1",
    "255",
    "256",
    "2147483647",
    "2147483648",
    "-2147483649",
    "4294967296",
    "1e300",
    "-0.5",
    "1.5",
    "true",
    "false",
    "null",
    "\"0\"",
    "\"\"",
    "\"\\u0000\"",
    "[]",
    "{}",
    "[1,2]",
    "\"\\u00e9\"",
    "18446744073709551615",
    "-9223372036854775808",
};

// A member's name and colon, as JSON text.
std::string Key(const char* name) {
    return std::string("\"") + name + "\":";
}

}  // namespace

RandomRequests::RandomRequests(unsigned seed, std::vector<Bytes> sections)
    : m_Random(seed), m_Sections(std::move(sections)) {}

std::string RandomRequests::Data() {
    const std::string scalar = kScalars[Below(std::size(kScalars))];
    switch (Below(4)) {
        case 0:
            return scalar;
        case 1: {
            const std::string reset = Below(4) == 0 ? scalar : (Below(2) ? "true" : "false");
            const std::string program =
                Below(4) == 0 ? scalar : std::to_string(static_cast<int>(Below(70000)) - 100);
            return "{" + Key(member::kReset) + reset + "," + Key(member::kProgramNum) + program +
                   "}";
        }
        case 2:
            return std::to_string(Below(8));
        default: {  // nested beyond what any handler reads
            const size_t depth = 1 + Below(600);
            return std::string(depth, '[') + scalar + std::string(depth, ']');
        }
    }
}

Bytes RandomRequests::Buffer() {
    Bytes bytes;
    switch (Below(5)) {
        case 0:
            break;
        case 1:
            bytes.resize(Below(9));
            break;
        case 2:
            bytes.resize(Below(4096));
            break;
        default:
            if (m_Sections.empty()) break;
            bytes = m_Sections[Below(m_Sections.size())];
            for (size_t flips = Below(4); flips > 0; --flips) {
                bytes[Below(bytes.size())] ^= static_cast<unsigned char>(1 + Below(255));
            }
            return bytes;
    }
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(Below(256));
    return bytes;
}

RandomRequest RandomRequests::Next() {
    RandomRequest request;
    const std::string method = "\"" + std::string(kMethods[Below(std::size(kMethods))]) + "\"";
    switch (Below(10)) {
        case 0:  // not JSON: printable text cut anywhere
            request.body = "{" + Key(member::kMethod) + method + "," + Key(member::kData) + Data();
            request.body.resize(Below(request.body.size()));
            request.body += "\x01";
            request.json = false;
            break;
        case 1:  // "method" of another kind, or a body that is no object
            request.body = Below(2) ? "{" + Key(member::kMethod) + Data() + "}" : Data();
            break;
        default:
            request.body = "{" + Key(member::kMethod) + method +
                           (Below(5) ? "," + Key(member::kData) + Data() : "") + "}";
    }
    request.buffer = Buffer();
    return request;
}

}  // namespace abuse
