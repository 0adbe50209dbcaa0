#include "installed_tree.h"

#include <cstdio>
#include <cstdlib>

namespace activation_test {

InstalledTree::InstalledTree() {
    const std::string log = Prefix() + ".log";
    const std::string command = std::string("'") + TREVALO_CMAKE + "' --install '" +
                                TREVALO_BUILD_DIR + "' --prefix '" + Prefix() + "' >'" + log +
                                "' 2>&1";
    m_Succeeded = std::system(command.c_str()) == 0;
    m_Log = test_support::ReadText(log);
    std::remove(log.c_str());
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
