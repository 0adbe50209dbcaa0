// Test support: collects what the platform log writes to stderr while it is alive.
#ifndef TESTS_LOG_CAPTURE_H
#define TESTS_LOG_CAPTURE_H

#include <string>
#include <vector>

namespace test_support {

class LogCapture {
  public:
    LogCapture();   // stderr now goes to a temporary file
    ~LogCapture();  // stderr restored
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Everything written since construction or the last Clear.
    std::string Text() const;
    // The messages of the service's log lines, without the "<P>/<TAG>(<pid>): " header and the
    // "<file>: <function>(<line>) > [<function>:<line>] " prefix, each with its priority letter
    // in front ("I:Get Audio"); a message spanning lines keeps its inner newlines.
    std::vector<std::string> Messages() const;
    void Clear();

  private:
    int m_SavedStderr = -1;
    int m_File = -1;
};

}  // namespace test_support

#endif
