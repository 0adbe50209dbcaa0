#include "sim_state_file.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "files.h"

namespace sim_state_file {
namespace {

int g_Versions = 0;

std::string StatePath() {
    return Directory() + "/state.json";
}

}  // namespace

const std::string& Directory() {
    static const test_support::TemporaryDirectory directory("tvservice-test");
    return directory.Path();
}

void Write(const std::string& document) {
    const std::string path = StatePath();
    const std::string version = Directory() + "/version-" + std::to_string(++g_Versions);
    {
        std::ofstream file(version, std::ios::binary | std::ios::trunc);
        file << document;
        if (!file) throw std::runtime_error("cannot write " + version);
    }
    // The state layer knows a file by its inode, size and time stamp. Keeping a link to each
    // replaced version stops a later version from getting its inode back, and with it perhaps
    // the same identity, while the process runs.
    if (access(path.c_str(), F_OK) == 0) {
        const std::string kept = version + ".replaced";
        if (link(path.c_str(), kept.c_str()) != 0) throw std::runtime_error("cannot keep " + path);
    }
    if (std::rename(version.c_str(), path.c_str()) != 0) {
        throw std::runtime_error("cannot rename " + version);
    }
    UsePath(path);
}

void WriteTvService(const std::string& block) {
    Write("{\"tv_service\": " + block + "}");
}

void UsePath(const std::string& path) {
    setenv("PLATFORM_SIM_STATE", path.c_str(), 1);
}

void Unset() {
    unsetenv("PLATFORM_SIM_STATE");
}

}  // namespace sim_state_file
