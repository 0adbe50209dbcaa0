#include "dlog.h"

#include <strings.h>
#include <unistd.h>

#include <atomic>
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

// The prefix the platform's lines start with, and its arguments: the source file's base name,
// the function and the line, then the function and the line again.
constexpr char kSitePrefix[] = "%s: %s(%d) > [%s:%d] ";
constexpr size_t kSitePrefixLength = sizeof kSitePrefix - 1;

struct SiteArguments {
    const char* file;
    const char* function;
    int line;
    const char* function_again;
    int line_again;
};

const char* TextOrNull(const char* text) {
    return text != nullptr ? text : "(null)";
}

void AppendSitePrefix(Line& out, const SiteArguments& site) {
    out.append(TextOrNull(site.file));
    out.append(": ");
    out.append(TextOrNull(site.function));
    out.push_back('(');
    AppendSigned(out, site.line);
    out.append(") > [");
    out.append(TextOrNull(site.function_again));
    out.push_back(':');
    AppendSigned(out, site.line_again);
    out.append("] ");
}

// A call site's prefix, formatted at its first line. The format's address only finds the entry:
// a compiler merges equal formats of two calls, and a caller may log twice from one buffer, so
// the entry serves a line whose five arguments equal those it was made from.
struct CachedSite {
    const char* format;
    std::string file;
    std::string function;
    int line;
    std::string function_again;
    int line_again;
    bool function_repeated;  // function_again is the same text as function
    std::string prefix;

    // strcmp rather than std::string's compare, which measures the argument first: a kept
    // prefix is checked at every line.
    bool Serves(const char* fmt, const SiteArguments& site) const {
        return format == fmt && line == site.line && line_again == site.line_again &&
               std::strcmp(file.c_str(), site.file) == 0 &&
               std::strcmp(function.c_str(), site.function) == 0 &&
               (site.function_again == site.function
                    ? function_repeated
                    : std::strcmp(function_again.c_str(), site.function_again) == 0);
    }
};

// The prefixes kept, found by format address and line: entries are added without a lock, from
// any thread, and never freed (a line may be logged during exit). Bounded: a site that finds no
// place within a few slots of its own has its prefix formatted at each line.
constexpr size_t kCachedSites = 1024;
constexpr size_t kProbes = 32;
std::atomic<const CachedSite*> g_CachedSites[kCachedSites];

// The cached prefix for `site`, added at its first line; null when it cannot be kept.
const CachedSite* FindSite(const char* fmt, const SiteArguments& site) {
    if (site.file == nullptr || site.function == nullptr || site.function_again == nullptr) {
        return nullptr;
    }
    const uint64_t key = reinterpret_cast<uintptr_t>(fmt) ^ static_cast<uint32_t>(site.line);
    const size_t start = static_cast<size_t>((key * 0x9E3779B97F4A7C15ULL) >> 54);  // 10 bits
    static_assert(kCachedSites == 1024, "the hash yields 10 bits");
    for (size_t probe = 0; probe < kProbes; ++probe) {
        std::atomic<const CachedSite*>& slot = g_CachedSites[(start + probe) % kCachedSites];
        const CachedSite* cached = slot.load(std::memory_order_acquire);
        if (cached == nullptr) {
            Line prefix;
            AppendSitePrefix(prefix, site);
            auto* made = new CachedSite{fmt,
                                        site.file,
                                        site.function,
                                        site.line,
                                        site.function_again,
                                        site.line_again,
                                        std::strcmp(site.function, site.function_again) == 0,
                                        std::string(prefix.data(), prefix.size())};
            if (slot.compare_exchange_strong(cached, made, std::memory_order_acq_rel)) {
                return made;
            }
            delete made;  // another thread filled the slot first: `cached` is its entry
        }
        if (cached->format == fmt && cached->line == site.line) {
            // The same call, or a format whose arguments changed: then formatted every time.
            return cached->Serves(fmt, site) ? cached : nullptr;
        }
    }
    return nullptr;
}

// One line: the header, then `fmt` formatted with `args`. A format that starts with the
// platform's prefix has the prefix formatted once per call site, and gives the journal the
// source location; one that starts with its first part ("%s: %s(%d) > ") gives the location.
int PrintLine(log_id_t log_id, int prio, const char* tag, const char* fmt, va_list args) {
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

    dlog::CodeLocation code;
    if (std::strncmp(fmt, kSitePrefix, kSitePrefixLength) == 0) {
        // Read here, where `args` belongs: a va_list handed to a function may come back unread.
        SiteArguments site;
        site.file = va_arg(args, const char*);
        site.function = va_arg(args, const char*);
        site.line = va_arg(args, int);
        site.function_again = va_arg(args, const char*);
        site.line_again = va_arg(args, int);
        if (const CachedSite* cached = FindSite(fmt, site)) {
            line.append(cached->prefix.data(), cached->prefix.size());
        } else {
            AppendSitePrefix(line, site);
        }
        code = {site.file, site.function, site.line};
        fmt += kSitePrefixLength;
    } else if (settings.journal) {
        code = CodeLocationOf(fmt, args);
    }
    const size_t prefix = line.size();

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
    const int length = PrintLine(log_id, prio, tag, fmt, args);
    va_end(args);
    return length;
}

extern "C" void dlog_flush(void) {
    dlog::FlushStderr();
}
