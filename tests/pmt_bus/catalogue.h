// The component catalogue as a client sees it over the bus: the three lists of entries and the
// PIDs behind component tags, read with "SizeOf*", "Get*" and "GetPID".
#ifndef TESTS_PMT_BUS_CATALOGUE_H
#define TESTS_PMT_BUS_CATALOGUE_H

#include <ostream>
#include <string>
#include <vector>

#include "pipelined_client.h"

namespace pmt_bus {

struct AudioEntry {
    int pid;
    int encoding;
    bool encrypted;
    int comp_tag;
    std::string lang;
    int audio_channels;
    bool audio_desc;
};

struct VideoEntry {
    int pid;
    int encoding;
    bool encrypted;
    int ca_sid;
    int comp_tag;
    int aspect_ratio;
};

struct SubtitleEntry {
    int pid;
    bool encrypted;
    int comp_tag;
    std::string lang;
    bool hearing_impaired;
};

struct Catalogue {
    std::vector<AudioEntry> audio;
    std::vector<VideoEntry> video;
    std::vector<SubtitleEntry> subtitles;
};

// "GetPID" with `tag` in "data" answers `pid`.
struct PidByTag {
    int tag;
    int pid;
};

bool operator==(const AudioEntry& a, const AudioEntry& b);
bool operator==(const VideoEntry& a, const VideoEntry& b);
bool operator==(const SubtitleEntry& a, const SubtitleEntry& b);
bool operator==(const Catalogue& a, const Catalogue& b);
bool operator==(const PidByTag& a, const PidByTag& b);
std::ostream& operator<<(std::ostream& out, const AudioEntry& entry);
std::ostream& operator<<(std::ostream& out, const VideoEntry& entry);
std::ostream& operator<<(std::ostream& out, const SubtitleEntry& entry);
std::ostream& operator<<(std::ostream& out, const Catalogue& catalogue);
std::ostream& operator<<(std::ostream& out, const PidByTag& lookup);

// The body of a "SendPMTData" request.
std::string SendPmtBody(long long programme, bool reset = true);

// The "return_data" of a reply as text: the integer, the quoted string, or what went wrong
// (a D-Bus error, a body that is not a JSON object, no "return_data").
std::string ReturnData(const test_support::Reply& reply);

// Reads the whole catalogue: the three sizes, every entry below them, and one index past the
// end of each list, which must be refused. Every entry's JSON (kinds, member set, member order,
// "call_api_success") is checked as it is read; what is wrong is added to `problems`.
Catalogue ReadCatalogue(PipelinedClient& client, std::vector<std::string>& problems);

// "GetPID" for each tag of `tags`, in one batch.
std::vector<PidByTag> ReadPids(PipelinedClient& client, const std::vector<int>& tags);

// The three sizes only.
struct Sizes {
    long long audio = -1;
    long long video = -1;
    long long subtitles = -1;
    bool operator==(const Sizes& other) const {
        return audio == other.audio && video == other.video && subtitles == other.subtitles;
    }
};
std::ostream& operator<<(std::ostream& out, const Sizes& sizes);
Sizes SizesOf(const Catalogue& catalogue);
std::vector<Request> SizeRequests();
// The sizes from the three replies of SizeRequests(); -1 where a reply is not an unsigned count.
Sizes SizesFrom(const test_support::Reply* replies);

}  // namespace pmt_bus

#endif
