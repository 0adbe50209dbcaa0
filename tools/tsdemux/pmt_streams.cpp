#include "tsdemux/pmt_streams.h"

#include <algorithm>

#include "trevalo/mpeg_constants.h"

namespace tsdemux {
namespace {

namespace descriptor_tag = trevalo_mpeg::descriptor_tag;

constexpr size_t kLongHeaderSize = 8;
constexpr size_t kCrcSize = 4;

uint16_t Read13Bits(const uint8_t* at) {
    return static_cast<uint16_t>((at[0] & 0x1F) << 8 | at[1]);
}

uint16_t Read12Bits(const uint8_t* at) {
    return static_cast<uint16_t>((at[0] & 0x0F) << 8 | at[1]);
}

// Each of these descriptors is a loop of entries that start with a 3-byte language code.
size_t LanguageEntrySize(uint8_t tag) {
    switch (tag) {
        case trevalo_mpeg::descriptor_tag::kIso639Language:
            return 4;  // code, audio_type
        case trevalo_mpeg::descriptor_tag::kTeletext:
            return 5;  // code, type and magazine, page
        case trevalo_mpeg::descriptor_tag::kSubtitling:
            return 8;  // code, type, composition and ancillary page ids
        default:
            return 0;
    }
}

void AddLanguage(std::vector<std::string>& languages, const uint8_t* code) {
    const std::string language(reinterpret_cast<const char*>(code), 3);
    if (std::find(languages.begin(), languages.end(), language) == languages.end()) {
        languages.push_back(language);
    }
}

uint16_t Read16Bits(const uint8_t* at) {
    return static_cast<uint16_t>(at[0] << 8 | at[1]);
}

// One entry of a language loop, `at` its language code.
void AddEntry(uint8_t tag, const uint8_t* at, ElementaryStream& stream) {
    const std::string code(reinterpret_cast<const char*>(at), 3);
    if (tag == descriptor_tag::kIso639Language) {
        stream.iso639_languages.push_back({code, at[3]});
    } else if (tag == descriptor_tag::kSubtitling) {
        stream.subtitling.push_back({code, at[3], Read16Bits(at + 4), Read16Bits(at + 6)});
    } else if (tag == descriptor_tag::kTeletext) {
        stream.teletext.push_back(
            {code, static_cast<uint8_t>(at[3] >> 3), static_cast<uint8_t>(at[3] & 0x07), at[4]});
    }
}

// The descriptors in [at, end): false when one runs past `end`.
bool ReadDescriptors(const uint8_t* at, const uint8_t* end, ElementaryStream& stream) {
    while (end - at >= 2) {
        const uint8_t tag = at[0];
        const size_t length = at[1];
        const uint8_t* body = at + 2;
        if (static_cast<size_t>(end - body) < length) return false;
        stream.descriptor_tags.push_back(tag);
        const size_t entry = LanguageEntrySize(tag);
        for (size_t offset = 0; entry != 0 && offset + entry <= length; offset += entry) {
            AddLanguage(stream.languages, body + offset);
            AddEntry(tag, body + offset, stream);
        }
        if (tag == descriptor_tag::kStreamIdentifier && length >= 1 && stream.component_tag < 0) {
            stream.component_tag = body[0];
        }
        if (tag == descriptor_tag::kCa && length >= 4) {
            stream.ca.push_back({Read16Bits(body), Read13Bits(body + 2)});
        }
        at = body + length;
    }
    return at == end;
}

}  // namespace

PmtStreams ReadPmtStreams(const std::vector<uint8_t>& section) {
    PmtStreams result;
    const uint8_t* at = section.data() + kLongHeaderSize;
    const uint8_t* end = section.data() + section.size() - kCrcSize;
    if (end - at < 4) {
        result.truncated = true;
        return result;
    }
    result.pcr_pid = Read13Bits(at);
    const size_t program_info_length = Read12Bits(at + 2);
    at += 4;
    if (static_cast<size_t>(end - at) < program_info_length) {
        result.truncated = true;
        return result;
    }
    at += program_info_length;
    while (end - at >= 5) {
        ElementaryStream stream;
        stream.stream_type = at[0];
        stream.pid = Read13Bits(at + 1);
        const size_t info_length = Read12Bits(at + 3);
        at += 5;
        if (static_cast<size_t>(end - at) < info_length) {
            result.truncated = true;
            return result;
        }
        if (!ReadDescriptors(at, at + info_length, stream)) result.truncated = true;
        result.streams.push_back(std::move(stream));
        at += info_length;
    }
    if (at != end) result.truncated = true;
    return result;
}

}  // namespace tsdemux
