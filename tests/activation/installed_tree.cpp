#include "installed_tree.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace activation_test {

InstalledTree::InstalledTree() {
    char pattern[] = "/tmp/trevalo-install-XXXXXX";
    if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp failed");
    m_Prefix = pattern;
    const std::string log = m_Prefix + ".log";
    const std::string command = std::string("'") + TREVALO_CMAKE + "' --install '" +
                                TREVALO_BUILD_DIR + "' --prefix '" + m_Prefix + "' >'" + log +
                                "' 2>&1";
    m_Succeeded = std::system(command.c_str()) == 0;
    m_Log = test_support::ReadText(log);
    std::remove(log.c_str());
}

InstalledTree::~InstalledTree() {
    const std::string command = "rm -rf '" + m_Prefix + "'";
    if (std::system(command.c_str()) != 0) {
        // A leftover directory in /tmp harms nothing.
    }
}

const InstalledTree& SharedInstall() {
    static const InstalledTree tree;
    return tree;
}

bool RunsProgram(pid_t pid, const std::string& path) {
    const std::string maps = test_support::ReadText("/proc/" + std::to_string(pid) + "/maps");
    return maps.find(" " + path + "\n") != std::string::npos;
}

}  // namespace activation_test
