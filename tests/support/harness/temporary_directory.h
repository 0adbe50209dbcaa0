// Harness: a fresh directory in /tmp for a bus, a child's output or a state file.
#ifndef TESTS_HARNESS_TEMPORARY_DIRECTORY_H
#define TESTS_HARNESS_TEMPORARY_DIRECTORY_H

#include <string>

namespace test_support {

// /tmp/<prefix>-XXXXXX, removed with all it holds by the destructor unless kept. In /tmp whatever
// TMPDIR says: a bus socket in it must keep to the short path a unix socket allows.
class TemporaryDirectory {
  public:
    explicit TemporaryDirectory(const std::string& prefix);
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& Path() const { return m_Path; }
    // Leaves it in place at the end, for a person to look into.
    void Keep() { m_Keep = true; }

  private:
    std::string m_Path;
    bool m_Keep = false;
};

}  // namespace test_support

#endif
