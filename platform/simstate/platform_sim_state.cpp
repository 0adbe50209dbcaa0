#include "platform_sim_state.h"

#include <json/reader.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "dlog.h"

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
    FileIdentity identity;
    Json::Value state;
};

void Warn(const char* path, const std::string& why) {
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, "PLATFORM_SIM", "cannot use platform state %s (%s)\n",
                 path, why.c_str());
}

Json::Value Load(const char* path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        Warn(path, "unreadable");
        return Json::Value();
    }
    std::ostringstream text;
    text << file.rdbuf();
    const std::string document = text.str();
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value state;
    std::string errors;
    if (!reader->parse(document.data(), document.data() + document.size(), &state, &errors)) {
        Warn(path, "not JSON: " + errors.substr(0, errors.find('\n')));
        return Json::Value();
    }
    if (!state.isObject()) {
        Warn(path, "not a JSON object");
        return Json::Value();
    }
    return state;
}

}  // namespace

const Json::Value& CurrentState() {
    static Cache cache;
    static const Json::Value kNone;
    const char* path = std::getenv("PLATFORM_SIM_STATE");
    if (path == nullptr || *path == '\0') return kNone;

    FileIdentity now;
    struct stat info;
    if (stat(path, &info) == 0) {
        now.exists = true;
        now.device = info.st_dev;
        now.inode = info.st_ino;
        now.size = info.st_size;
        now.modified = info.st_mtim;
    }
    if (cache.loaded && cache.identity == now) return cache.state;

    cache.loaded = true;
    cache.identity = now;
    cache.state = now.exists ? Load(path) : Json::Value();
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
