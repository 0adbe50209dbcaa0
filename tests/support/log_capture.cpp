#include "log_capture.h"

#include <stdio.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace test_support {

LogCapture::LogCapture() {
    FILE* file = tmpfile();
    if (file == nullptr) throw std::runtime_error("tmpfile failed");
    m_File = dup(fileno(file));
    fclose(file);
    fflush(stderr);
    m_SavedStderr = dup(STDERR_FILENO);
    dup2(m_File, STDERR_FILENO);
}

LogCapture::~LogCapture() {
    fflush(stderr);
    dup2(m_SavedStderr, STDERR_FILENO);
    close(m_SavedStderr);
    close(m_File);
}

std::string LogCapture::Text() const {
    std::string text;
    char chunk[4096];
    off_t offset = 0;
    ssize_t n;
    while ((n = pread(m_File, chunk, sizeof chunk, offset)) > 0) {
        text.append(chunk, static_cast<size_t>(n));
        offset += n;
    }
    return text;
}

namespace {

// The length of the "<P>/<TAG>(<pid>): " header the line starts with, with its tag; 0 when it
// starts with none.
size_t HeaderLength(const std::string& line, std::string& tag) {
    if (line.size() < 3 || std::strchr("VDIWEF?", line[0]) == nullptr || line[1] != '/') return 0;
    size_t p = 2;
    while (p < line.size() && (std::isalpha(static_cast<unsigned char>(line[p])) || line[p] == '_'))
        ++p;
    if (p == 2 || p >= line.size() || line[p] != '(') return 0;
    tag = line.substr(2, p - 2);
    const size_t digits = ++p;
    while (p < line.size() && std::isdigit(static_cast<unsigned char>(line[p]))) ++p;
    if (p == digits || line.compare(p, 3, "): ") != 0) return 0;
    return p + 3;
}

}  // namespace

std::vector<std::string> LogCapture::Messages() const {
    std::vector<std::string> messages;
    bool in_service_record = false;  // a line without a header continues the record before it
    std::istringstream lines(Text());
    for (std::string line, tag; std::getline(lines, line);) {
        const size_t header = HeaderLength(line, tag);
        if (header == 0) {
            if (in_service_record) messages.back() += "\n" + line;
            continue;
        }
        in_service_record = tag == "TREVALO_SERVICE";
        if (!in_service_record) continue;
        const size_t prefix_end = line.find("] ", header);
        const size_t start = prefix_end == std::string::npos ? header : prefix_end + 2;
        messages.push_back(std::string(1, line[0]) + ":" + line.substr(start));
    }
    return messages;
}

void LogCapture::Clear() {
    if (ftruncate(m_File, 0) != 0) throw std::runtime_error("ftruncate failed");
    lseek(m_File, 0, SEEK_SET);
}

}  // namespace test_support
