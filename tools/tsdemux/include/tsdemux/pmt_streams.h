// The elementary streams a PMT section lists (ISO/IEC 13818-1, 2.4.4.8), with what their
// descriptors say about what they carry and in which languages (ETSI EN 300 468), as the section
// parser's loop reader and descriptor classes read them.
#ifndef TSDEMUX_PMT_STREAMS_H
#define TSDEMUX_PMT_STREAMS_H

#include <cstdint>
#include <string>
#include <vector>

namespace tsdemux {

struct ElementaryStream {
    uint8_t stream_type = 0;
    uint16_t pid = 0;
    // The tags of its descriptors, in order.
    std::vector<uint8_t> descriptor_tags;
    // The language codes of its ISO 639 language, subtitling and teletext descriptors, in
    // order, each once; bytes as broadcast.
    std::vector<std::string> languages;

    // What the descriptors say in detail, each entry in order.
    int component_tag = -1;  // of its first stream identifier descriptor; -1 when none
    struct Language {
        std::string code;
        uint8_t audio_type = 0;
    };
    std::vector<Language> iso639_languages;
    struct Ca {
        uint16_t system_id = 0;
        uint16_t pid = 0;
    };
    std::vector<Ca> ca;
    struct Subtitling {
        std::string language;
        uint8_t type = 0;
        uint16_t composition_page = 0;
        uint16_t ancillary_page = 0;
    };
    std::vector<Subtitling> subtitling;
    struct Teletext {
        std::string language;
        uint8_t type = 0;
        uint8_t magazine = 0;
        uint8_t page = 0;
    };
    std::vector<Teletext> teletext;
};

struct PmtStreams {
    uint16_t pcr_pid = 0;
    std::vector<ElementaryStream> streams;
    // A length field ran past the section: the streams before that point are listed.
    bool truncated = false;
};

// Reads a PMT section (table_id to CRC_32) that passed CheckLongSection. Unlike the service's
// parser it lists what comes before a length that runs past what holds it, and takes sections of
// any length up to kMaxSectionSize.
PmtStreams ReadPmtStreams(const std::vector<uint8_t>& section);

}  // namespace tsdemux

#endif
