#include "log_capture.h"

#include <stdio.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
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

// The length of a "<P>/<TAG>(<pid>): " header at `at`, with its tag; 0 when there is none.
size_t HeaderAt(const std::string& text, size_t at, std::string& tag) {
    if (at + 2 >= text.size() || std::strchr("VDIWEF?", text[at]) == nullptr ||
        text[at + 1] != '/') {
        return 0;
    }
    size_t p = at + 2;
    while (p < text.size() && (std::isalpha(static_cast<unsigned char>(text[p])) || text[p] == '_'))
        ++p;
    if (p == at + 2 || p >= text.size() || text[p] != '(') return 0;
    tag = text.substr(at + 2, p - at - 2);
    const size_t digits = ++p;
    while (p < text.size() && std::isdigit(static_cast<unsigned char>(text[p]))) ++p;
    if (p == digits || text.compare(p, 3, "): ") != 0) return 0;
    return p + 3 - at;
}

// The start of the next header after `from` (at a line start), or the end of the text.
size_t NextHeader(const std::string& text, size_t from) {
    std::string tag;
    for (size_t line = text.find('\n', from); line != std::string::npos;
         line = text.find('\n', line + 1)) {
        if (HeaderAt(text, line + 1, tag) != 0) return line + 1;
    }
    return text.size();
}

}  // namespace

std::vector<std::string> LogCapture::Messages() const {
    const std::string text = Text();
    std::vector<std::string> messages;
    std::string tag;
    size_t at = HeaderAt(text, 0, tag) != 0 ? 0 : NextHeader(text, 0);
    while (at < text.size()) {
        const size_t header = HeaderAt(text, at, tag);
        const size_t end = NextHeader(text, at);
        if (tag == "TREVALO_SERVICE") {
            std::string record = text.substr(at + header, end - at - header);
            const size_t prefix_end = record.find("] ");
            std::string message =
                prefix_end == std::string::npos ? record : record.substr(prefix_end + 2);
            if (!message.empty() && message.back() == '\n') message.pop_back();
            messages.push_back(std::string(1, text[at]) + ":" + message);
        }
        at = end;
    }
    return messages;
}

void LogCapture::Clear() {
    if (ftruncate(m_File, 0) != 0) throw std::runtime_error("ftruncate failed");
    lseek(m_File, 0, SEEK_SET);
}

}  // namespace test_support
