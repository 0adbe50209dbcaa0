#include "installed_tree.h"

#include <unistd.h>

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

std::string ExecutableOf(pid_t pid) {
    char target[4096];
    const ssize_t length =
        readlink(("/proc/" + std::to_string(pid) + "/exe").c_str(), target, sizeof target - 1);
    if (length <= 0) return "";
    return std::string(target, static_cast<size_t>(length));
}

}  // namespace activation_test
