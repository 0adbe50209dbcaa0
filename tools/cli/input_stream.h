// A byte source named on the command line: a file, or standard input for "-".
#ifndef TREVALO_CLI_INPUT_STREAM_H
#define TREVALO_CLI_INPUT_STREAM_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace trevalo_cli {

// How long an input that does not end (a pipe, a device, a followed file) may go without a PAT
// before the command reading it says so: TREVALO_CLI_PAT_PATIENCE_MS, else 5 s.
std::chrono::milliseconds PatPatience();

class InputStream {
  public:
    // Throws UnreadableInput when `path` cannot be opened or is a directory.
    explicit InputStream(const std::string& path);
    ~InputStream();
    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;

    // Up to `capacity` bytes; 0 at the end (for now, if the file may grow); -1 when a signal
    // interrupted the wait. Throws UnreadableInput on a read error.
    ssize_t Read(uint8_t* into, size_t capacity);

    // Back to the first byte of a regular file (one rewritten from the start).
    void Rewind();

    // For a file being followed: what its path names now.
    enum class PathNow { kSameFile, kGone, kAnotherFile };
    PathNow Follow() const;
    // Opens the path again (the other file it names now), from its first byte.
    void Reopen();

    // Everything up to the end.
    std::vector<uint8_t> ReadAll();

    // "standard input", or the path.
    const std::string& Name() const { return m_Name; }
    // A regular file can grow after its end is reached; a pipe ends for good.
    bool IsRegularFile() const { return m_RegularFile; }
    // The file's size now (0 for a pipe).
    uint64_t Size() const;
    // To wait on until there is something to read.
    int Fd() const { return m_Fd; }

  private:
    int m_Fd = -1;
    bool m_OwnsFd = false;
    bool m_RegularFile = false;
    std::string m_Name;
    std::string m_Path;  // empty for standard input
};

}  // namespace trevalo_cli

#endif
