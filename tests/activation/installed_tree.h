// Test support for installation and activation: the project installed into a temporary prefix.
#ifndef TESTS_ACTIVATION_INSTALLED_TREE_H
#define TESTS_ACTIVATION_INSTALLED_TREE_H

#include <sys/types.h>

#include <string>

#include "bus_fixture.h"

namespace activation_test {

constexpr const char kBusName[] = "org.ondrel.TCServer.trevalo_service";

// `cmake --install` of the build tree into a fresh temporary directory, removed at the end.
class InstalledTree {
  public:
    InstalledTree();
    ~InstalledTree();
    InstalledTree(const InstalledTree&) = delete;
    InstalledTree& operator=(const InstalledTree&) = delete;

    const std::string& Prefix() const { return m_Prefix; }
    // What `cmake --install` printed.
    const std::string& Log() const { return m_Log; }
    bool Succeeded() const { return m_Succeeded; }

  private:
    std::string m_Prefix;
    std::string m_Log;
    bool m_Succeeded = false;
};

// One installation shared by the tests of this process.
const InstalledTree& SharedInstall();

// Where /proc says the program of `pid` lives.
std::string ExecutableOf(pid_t pid);

}  // namespace activation_test

#endif
