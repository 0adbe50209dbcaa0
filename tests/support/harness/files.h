// Harness: bytes as the tests and benchmarks hold them, whole files read into them, and fresh
// directories for a bus, a child's output or a state file.
#ifndef TESTS_HARNESS_FILES_H
#define TESTS_HARNESS_FILES_H

#include <string>
#include <vector>

namespace test_support {

using Bytes = std::vector<unsigned char>;

Bytes ReadFile(const std::string& path);        // empty when it cannot be read
std::string ReadText(const std::string& path);  // empty when it cannot be read

// A file name as a test name: "test-020.p8803.v13.2.sec" gives "test_020_p8803_v13_2".
std::string TestNameOf(const std::string& file);

// /tmp/<prefix>-XXXXXX, removed with all it holds by the destructor unless kept. In /tmp whatever
// TMPDIR says: a bus socket in it must keep to the short path a unix socket allows.
class TemporaryDirectory {
  public:
    explicit TemporaryDirectory(const std::string& prefix);
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& Path() const { return m_Path; }
    void Keep() { m_Keep = true; }  // for a person to look into afterwards

  private:
    std::string m_Path;
    bool m_Keep = false;
};

}  // namespace test_support

#endif
