#include "input_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "arguments.h"
#include "command_error.h"

namespace trevalo_cli {

std::chrono::milliseconds PatPatience() {
    const char* text = std::getenv("TREVALO_CLI_PAT_PATIENCE_MS");
    const std::optional<long long> ms =
        text != nullptr ? ParseInteger(text, 0, 24LL * 60 * 60 * 1000) : std::nullopt;
    return std::chrono::milliseconds(ms ? *ms : 5000);
}

InputStream::InputStream(const std::string& path) {
    if (path == "-") {
        m_Fd = STDIN_FILENO;
        m_Name = "standard input";
    } else {
        m_Fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (m_Fd < 0) throw UnreadableInput("cannot open " + path + ": " + std::strerror(errno));
        m_OwnsFd = true;
        m_Name = path;
        m_Path = path;
    }
    struct stat status {};
    if (fstat(m_Fd, &status) != 0) {  // EOVERFLOW: a file beyond what off_t holds
        const int error = errno;
        if (m_OwnsFd) close(m_Fd);
        throw UnreadableInput("cannot read " + m_Name + ": " + std::strerror(error));
    }
    if (S_ISDIR(status.st_mode)) {
        if (m_OwnsFd) close(m_Fd);
        throw UnreadableInput(m_Name + " is a directory");
    }
    m_RegularFile = S_ISREG(status.st_mode);
}

InputStream::~InputStream() {
    if (m_OwnsFd) close(m_Fd);
}

ssize_t InputStream::Read(uint8_t* into, size_t capacity) {
    const ssize_t count = read(m_Fd, into, capacity);
    if (count >= 0) return count;
    if (errno == EINTR) return -1;
    throw UnreadableInput("cannot read " + m_Name + ": " + std::strerror(errno));
}

void InputStream::Rewind() {
    if (lseek(m_Fd, 0, SEEK_SET) < 0) {
        throw UnreadableInput("cannot read " + m_Name + " again: " + std::strerror(errno));
    }
}

InputStream::PathNow InputStream::Follow() const {
    if (m_Path.empty()) return PathNow::kSameFile;
    struct stat now {};
    struct stat open {};
    if (stat(m_Path.c_str(), &now) != 0) return PathNow::kGone;
    if (fstat(m_Fd, &open) != 0) return PathNow::kSameFile;
    return now.st_dev == open.st_dev && now.st_ino == open.st_ino ? PathNow::kSameFile
                                                                  : PathNow::kAnotherFile;
}

void InputStream::Reopen() {
    const int fd = open(m_Path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw UnreadableInput("cannot open " + m_Path + " again: " + std::strerror(errno));
    if (m_OwnsFd) close(m_Fd);
    m_Fd = fd;
    m_OwnsFd = true;
}

std::vector<uint8_t> InputStream::ReadAll() {
    std::vector<uint8_t> bytes;
    uint8_t chunk[64 * 1024];
    while (true) {
        const ssize_t count = Read(chunk, sizeof chunk);
        if (count == 0) return bytes;
        if (count > 0) bytes.insert(bytes.end(), chunk, chunk + count);
    }
}

uint64_t InputStream::Size() const {
    struct stat status {};
    if (!m_RegularFile || fstat(m_Fd, &status) != 0) return 0;
    return static_cast<uint64_t>(status.st_size);
}

}  // namespace trevalo_cli
