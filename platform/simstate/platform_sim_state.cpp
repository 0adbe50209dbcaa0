#include "platform_sim_state.h"

#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>

#include "dlog.h"
#include "trevalo/json_text.h"

namespace platform_sim {
namespace {

struct FileIdentity {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};

    bool operator==(const FileIdentity& other) const {
        return exists == other.exists && device == other.device && inode == other.inode &&
               size == other.size && modified.tv_sec == other.modified.tv_sec &&
               modified.tv_nsec == other.modified.tv_nsec;
    }
};

struct Cache {
    bool loaded = false;
    bool read_in_request = false;  // already looked at within the request being served
    FileIdentity identity;
    std::string text;  // what the file held when last read
    Json::Value state;
    unsigned long generation = 0;  // advanced at every new document
};

void Warn(const char* path, const std::string& why) {
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "PLATFORM_SIM", "cannot use platform state %s (%s)\n",
                 path, why.c_str());
}

bool ReadText(const char* path, std::string& text) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    std::ostringstream content;
    content << file.rdbuf();
    text = content.str();
    return true;
}

Json::Value Parse(const char* path, const std::string& document) {
    Json::Value state;
    std::string error;
    if (!trevalo_json::Parse(document, state, &error)) {
        Warn(path, "not JSON: " + error);
        return Json::Value();
    }
    if (!state.isObject()) {
        Warn(path, "not a JSON object");
        return Json::Value();
    }
    return state;
}

FileIdentity Identify(const char* path) {
    FileIdentity identity;
    struct stat info;
    if (stat(path, &info) == 0) {
        identity.exists = true;
        identity.device = info.st_dev;
        identity.inode = info.st_ino;
        identity.size = info.st_size;
        identity.modified = info.st_mtim;
    }
    return identity;
}

// File times advance in clock ticks of a few milliseconds, and a replaced file's inode may be
// reused: two versions written within one tick can look the same to stat. Within this window
// after a change the content is compared as well.
bool ChangedRecently(const FileIdentity& identity) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec - identity.modified.tv_sec <= 2;
}

Cache& TheCache() {
    static Cache cache;
    return cache;
}

int g_open_requests = 0;

}  // namespace

void BeginRequest() {
    ++g_open_requests;
}

void EndRequest() {
    if (g_open_requests > 0 && --g_open_requests == 0) TheCache().read_in_request = false;
}

const Json::Value& CurrentState() {
    unsigned long generation = 0;
    return CurrentState(generation);
}

const Json::Value& CurrentState(unsigned long& generation) {
    Cache& cache = TheCache();
    static const Json::Value kNone;
    generation = cache.generation;
    if (cache.read_in_request) return cache.state;
    const char* path = std::getenv("PLATFORM_SIM_STATE");
    if (path == nullptr || *path == '\0') {
        generation = 0;
        return kNone;
    }
    cache.read_in_request = g_open_requests > 0;

    const FileIdentity now = Identify(path);
    const bool same_identity = cache.loaded && cache.identity == now;
    if (same_identity && (!now.exists || !ChangedRecently(now))) return cache.state;

    std::string text;
    const bool readable = now.exists && ReadText(path, text);
    if (same_identity && (!readable || text == cache.text)) return cache.state;

    cache.loaded = true;
    cache.identity = now;
    cache.text = text;
    if (!now.exists) {
        cache.state = Json::Value();
    } else if (!readable) {
        Warn(path, "unreadable");
        cache.state = Json::Value();
    } else {
        cache.state = Parse(path, text);
    }
    generation = ++cache.generation;
    return cache.state;
}

const Json::Value* FindStateMember(const char* block, const char* name) {
    const Json::Value& state = CurrentState();
    if (!state.isObject()) return nullptr;
    const Json::Value* section = state.find(block, block + std::char_traits<char>::length(block));
    if (section == nullptr || !section->isObject()) return nullptr;
    return section->find(name, name + std::char_traits<char>::length(name));
}

}  // namespace platform_sim
