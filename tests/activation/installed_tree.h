// Test support for installation and activation: the project installed into a temporary prefix.
#ifndef TESTS_ACTIVATION_INSTALLED_TREE_H
#define TESTS_ACTIVATION_INSTALLED_TREE_H

#include <sys/types.h>

#include <string>

#include "files.h"
#include "private_bus.h"

namespace activation_test {

// The default policy of a system bus: nothing may be owned or called unless a policy file says.
constexpr const char kSystemBusDefaults[] =
    "<type>system</type>"
    "<policy context=\"default\"><allow user=\"*\"/><deny own=\"*\"/>"
    "<deny send_type=\"method_call\"/><allow send_type=\"signal\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
    "<allow receive_type=\"method_call\"/><allow receive_type=\"method_return\"/>"
    "<allow receive_type=\"error\"/><allow receive_type=\"signal\"/>"
    "<allow send_destination=\"org.freedesktop.DBus\"/></policy>";

// `cmake --install` of the build tree into a fresh temporary directory, removed at the end.
class InstalledTree {
  public:
    InstalledTree();
    InstalledTree(const InstalledTree&) = delete;
    InstalledTree& operator=(const InstalledTree&) = delete;

    const std::string& Prefix() const { return m_Prefix.Path(); }
    // What `cmake --install` printed.
    const std::string& Log() const { return m_Log; }
    bool Succeeded() const { return m_Succeeded; }

  private:
    test_support::TemporaryDirectory m_Prefix{"trevalo-install"};
    std::string m_Log;
    bool m_Succeeded = false;
};

// One installation shared by the tests of this process.
const InstalledTree& SharedInstall();

// Whether `pid` runs the program file `path`: it has the file mapped. Not /proc/<pid>/exe, which
// names the emulator when binfmt_misc runs the program under one (qemu-user, in a cross build).
bool RunsProgram(pid_t pid, const std::string& path);

}  // namespace activation_test

#endif
