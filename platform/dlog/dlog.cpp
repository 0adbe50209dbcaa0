#include "dlog.h"

#include <strings.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "dlog_environment.h"
#include "journal.h"
#include "stderr_gatherer.h"

namespace {

// A prefix this long or longer (a tag of a thousand characters) is cut to one byte less, as the
// stack buffer of the first version of this file cut it.
constexpr size_t kPrefixLimit = 1024;

char PriorityLetter(int prio) {
    static const char kLetters[] = "??VDIWEF";
    return (prio >= DLOG_VERBOSE && prio <= DLOG_FATAL) ? kLetters[prio] : '?';
}

// The bytes of one line: on the stack while they fit, as the platform's own lines always do; on
// the heap past that. A local of each call: nothing outlives it, whatever thread or moment logs.
class Line {
  public:
    void append(const char* bytes, size_t length) {
        if (m_Heap.empty() && m_Length + length <= sizeof m_Stack) {
            std::memcpy(m_Stack + m_Length, bytes, length);
            m_Length += length;
            return;
        }
        if (m_Heap.empty()) m_Heap.assign(m_Stack, m_Length);
        m_Heap.append(bytes, length);
    }
    void append(const char* text) { append(text, std::strlen(text)); }
    void push_back(char c) { append(&c, 1); }
    size_t size() const { return m_Heap.empty() ? m_Length : m_Heap.size(); }
    const char* data() const { return m_Heap.empty() ? m_Stack : m_Heap.data(); }
    void resize(size_t length) {  // shorter only
        if (m_Heap.empty()) {
            m_Length = length;
        } else {
            m_Heap.resize(length);
        }
    }

  private:
    char m_Stack[1024];
    size_t m_Length = 0;
    std::string m_Heap;
};

void AppendUnsigned(Line& out, unsigned long long value, unsigned base) {
    char digits[24];
    char* end = digits + sizeof digits;
    char* p = end;
    do {
        *--p = "0123456789abcdef"[value % base];
        value /= base;
    } while (value != 0);
    out.append(p, static_cast<size_t>(end - p));
}

void AppendSigned(Line& out, long long value) {
    if (value < 0) {
        out.push_back('-');
        AppendUnsigned(out, 0ULL - static_cast<unsigned long long>(value), 10);
    } else {
        AppendUnsigned(out, static_cast<unsigned long long>(value), 10);
    }
}

// Appends `fmt` formatted with `args`, as vsnprintf would, for the conversions the platform's
// lines use: %d %i %u %x %c %s %p %% with no length modifier or with l, ll or z, and no flags,
// width or precision. False at anything else, `out` then holding a part: the caller formats with
// vsnprintf instead. One pass, no locale, no stdio stream.
bool AppendFormatted(Line& out, const char* fmt, va_list args) {
    const char* literal = fmt;
    while (true) {
        const char* p = strchrnul(literal, '%');
        out.append(literal, static_cast<size_t>(p - literal));
        if (*p == '\0') return true;
        ++p;  // past '%'
        int longs = 0;
        bool size = false;
        if (*p == 'l') {
            ++longs;
            if (*++p == 'l') {
                ++longs;
                ++p;
            }
        } else if (*p == 'z') {
            size = true;
            ++p;
        }
        const bool modified = longs > 0 || size;
        switch (*p) {
            case 'd':
            case 'i':
                if (size) return false;  // %zd: ssize_t, not met in practice
                AppendSigned(out, longs == 2   ? va_arg(args, long long)
                                  : longs == 1 ? va_arg(args, long)
                                               : va_arg(args, int));
                break;
            case 'u':
            case 'x': {
                const unsigned base = *p == 'u' ? 10 : 16;
                AppendUnsigned(out,
                               longs == 2   ? va_arg(args, unsigned long long)
                               : longs == 1 ? va_arg(args, unsigned long)
                               : size       ? va_arg(args, size_t)
                                            : va_arg(args, unsigned int),
                               base);
                break;
            }
            case 'c':
                if (modified) return false;
                out.push_back(static_cast<char>(static_cast<unsigned char>(va_arg(args, int))));
                break;
            case 's': {
                if (modified) return false;
                const char* text = va_arg(args, const char*);
                out.append(text != nullptr ? text : "(null)");
                break;
            }
            case 'p': {
                if (modified) return false;
                const void* pointer = va_arg(args, void*);
                if (pointer == nullptr) {
                    out.append("(nil)");
                } else {
                    out.append("0x");
                    AppendUnsigned(out, reinterpret_cast<uintptr_t>(pointer), 16);
                }
                break;
            }
            case '%':
                if (modified) return false;
                out.push_back('%');
                break;
            default:
                return false;  // flags, width, precision, floating point, ...
        }
        literal = p + 1;
    }
}

// The lowest priority DLOG_MIN_PRIORITY names: a priority's number, letter or name, any case.
// -1 when the value is none of these.
int ParseMinPriority(const char* text) {
    static const char* const kNames[] = {"unknown", "default", "verbose", "debug", "info",
                                         "warn",    "error",   "fatal",   "silent"};
    static const char kLetters[] = "??VDIWEFS";
    if (text[0] >= '0' && text[0] <= '8' && text[1] == '\0') return text[0] - '0';
    for (int prio = DLOG_UNKNOWN; prio <= DLOG_SILENT; ++prio) {
        if (strcasecmp(text, kNames[prio]) == 0) return prio;
        if (prio >= DLOG_VERBOSE && text[1] == '\0' && std::toupper(text[0]) == kLetters[prio]) {
            return prio;
        }
    }
    return strcasecmp(text, "warning") == 0 ? DLOG_WARN : -1;
}

struct Settings {
    int min_priority = DLOG_UNKNOWN;
    bool journal = false;
};
Settings g_Settings;

const Settings& CurrentSettings() {
    static const bool read = (dlog::ReadEnvironment(), true);
    (void)read;
    return g_Settings;
}

// Said directly, not through __dlog_print: the settings are being read.
void WarnBadMinPriority(const char* value) {
    const std::string line = "W/DLOG(" + std::to_string(getpid()) + "): DLOG_MIN_PRIORITY=\"" +
                             value +
                             "\" is not a priority (V D I W E F S, verbose ... silent, or 0-8): "
                             "every line is written\n";
    dlog::WriteToStderr(line.data(), line.size(), false);
}

// The file, function and line a line's format starts with, by the platform's convention.
dlog::CodeLocation CodeLocationOf(const char* fmt, va_list args) {
    static const char kCodePrefix[] = "%s: %s(%d) > ";
    dlog::CodeLocation code;
    if (std::strncmp(fmt, kCodePrefix, sizeof kCodePrefix - 1) != 0) return code;
    va_list copy;
    va_copy(copy, args);
    code.file = va_arg(copy, const char*);
    code.function = va_arg(copy, const char*);
    code.line = va_arg(copy, int);
    va_end(copy);
    return code;
}

}  // namespace

void dlog::ReadEnvironment() {
    g_Settings = Settings();
    g_Settings.journal = StderrIsJournal(std::getenv("JOURNAL_STREAM"));
    const char* min = std::getenv("DLOG_MIN_PRIORITY");
    if (min == nullptr || min[0] == '\0') return;
    const int prio = ParseMinPriority(min);
    if (prio >= 0) {
        g_Settings.min_priority = prio;
    } else {
        WarnBadMinPriority(min);
    }
}

namespace {

// One line: the header, `site`'s prefix when there is a site, then `fmt` formatted with `args`.
// The source location the journal gets is the site's, else the one `fmt` starts with.
int PrintLine(log_id_t log_id, int prio, const char* tag, const dlog_site* site, const char* fmt,
              va_list args) {
    if (log_id < LOG_ID_MAIN || log_id >= LOG_ID_MAX || fmt == nullptr) return -1;
    if (tag == nullptr) tag = "";
    const Settings& settings = CurrentSettings();
    if (prio < settings.min_priority) return 0;
    static const int pid = static_cast<int>(getpid());

    Line line;
    // The journal's MESSAGE field is the line itself: the field name goes in front of it.
    if (settings.journal) line.append("MESSAGE=");
    const size_t start = line.size();
    line.push_back(PriorityLetter(prio));
    line.push_back('/');
    line.append(tag);
    line.push_back('(');
    AppendSigned(line, pid);
    line.append("): ");
    if (line.size() - start >= kPrefixLimit) line.resize(start + kPrefixLimit - 1);
    if (site != nullptr) line.append(site->prefix, site->prefix_length);
    const size_t prefix = line.size();

    dlog::CodeLocation code;
    if (site != nullptr) {
        code = {site->file, site->function, site->line};
    } else if (settings.journal) {
        code = CodeLocationOf(fmt, args);
    }
    va_list retry;
    va_copy(retry, args);
    const bool formatted = AppendFormatted(line, fmt, args);
    if (!formatted) {
        // A conversion the fast path does not know: the C library formats the text, once when it
        // fits the stack buffer, and once more into the exact size when it does not.
        line.resize(prefix);
        char text[1024];
        va_list first;
        va_copy(first, retry);
        const int length = std::vsnprintf(text, sizeof text, fmt, first);
        va_end(first);
        if (length < 0) {
            va_end(retry);
            return -1;
        }
        if (static_cast<size_t>(length) < sizeof text) {
            line.append(text, static_cast<size_t>(length));
        } else {
            std::string whole(static_cast<size_t>(length) + 1, '\0');
            std::vsnprintf(&whole[0], whole.size(), fmt, retry);
            line.append(whole.data(), static_cast<size_t>(length));
        }
    }
    va_end(retry);
    const size_t length = line.size() - start;
    if (settings.journal) {
        const bool newline = length > 0 && line.data()[line.size() - 1] == '\n';
        if (dlog::SendToJournal(prio, tag, line.data(), line.size() - newline, code)) {
            return static_cast<int>(length);
        }
    }
    return static_cast<int>(dlog::WriteToStderr(line.data() + start, length, prio >= DLOG_ERROR));
}

}  // namespace

extern "C" int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const int length = PrintLine(log_id, prio, tag, nullptr, fmt, args);
    va_end(args);
    return length;
}

extern "C" int __dlog_print_site(log_id_t log_id, int prio, const char* tag, const dlog_site* site,
                                 const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const int length = PrintLine(log_id, prio, tag, site, fmt, args);
    va_end(args);
    return length;
}

extern "C" void dlog_flush(void) {
    dlog::FlushStderr();
}
