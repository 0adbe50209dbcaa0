#include "journal.h"

#include <sys/stat.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>

#include "dlog.h"

namespace dlog {
namespace {

JournalSend g_Send = sd_journal_sendv;

int SyslogPriority(int prio) {
    switch (prio) {
        case DLOG_VERBOSE:
        case DLOG_DEBUG:
            return LOG_DEBUG;
        case DLOG_WARN:
            return LOG_WARNING;
        case DLOG_ERROR:
            return LOG_ERR;
        case DLOG_FATAL:
            return LOG_CRIT;
        default:
            return LOG_INFO;
    }
}

}  // namespace

bool StderrIsJournal(const char* journal_stream) {
    if (journal_stream == nullptr) return false;
    uintmax_t device = 0;
    uintmax_t inode = 0;
    char end = 0;
    if (std::sscanf(journal_stream, "%" SCNuMAX ":%" SCNuMAX "%c", &device, &inode, &end) != 2) {
        return false;
    }
    struct stat status;
    return fstat(STDERR_FILENO, &status) == 0 && status.st_dev == device && status.st_ino == inode;
}

bool SendToJournal(int prio, const char* tag, const char* message, size_t length,
                   const CodeLocation& code) {
    // The short fields side by side in one string, reserved up front so the views stay valid.
    std::string fields;
    fields.reserve(96 + std::strlen(tag) + (code.file != nullptr ? std::strlen(code.file) : 0) +
                   (code.function != nullptr ? std::strlen(code.function) : 0));
    iovec entry[6];
    int count = 0;
    entry[count++] = {const_cast<char*>(message), length};
    auto add = [&](const char* name, const char* value) {
        const size_t start = fields.size();
        fields.append(name).append(value);
        entry[count++] = {&fields[start], fields.size() - start};
    };
    add("PRIORITY=", std::to_string(SyslogPriority(prio)).c_str());
    add("SYSLOG_IDENTIFIER=", tag);
    if (code.file != nullptr && code.function != nullptr) {
        add("CODE_FILE=", code.file);
        add("CODE_LINE=", std::to_string(code.line).c_str());
        add("CODE_FUNC=", code.function);
    }
    return g_Send(entry, count) >= 0;
}

void SetJournalSend(JournalSend send) {
    g_Send = send != nullptr ? send : sd_journal_sendv;
}

}  // namespace dlog
