#include "section_bytes.h"

namespace pmt_bus {

uint32_t Crc32Mpeg2(const unsigned char* data, std::size_t size) {
    uint32_t crc = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= static_cast<uint32_t>(data[i]) << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x80000000u) ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
        }
    }
    return crc;
}

bool CrcHolds(const Bytes& buffer) {
    // The parser reads no more than 1024 bytes of a section.
    constexpr std::size_t kView = 1024;
    Bytes view = buffer;
    if (view.size() < kView) view.resize(kView, 0);
    if (view[0] != 0x02) return false;
    const std::size_t length = ((view[1] & 0x0Fu) << 8) | view[2];
    const std::size_t total = 3 + length;
    if (length < 4 || total > kView) return false;
    return Crc32Mpeg2(view.data(), total) == 0;
}

void FixCrc(Bytes& section) {
    if (section.size() < 4) return;
    const uint32_t crc = Crc32Mpeg2(section.data(), section.size() - 4);
    for (std::size_t i = 0; i < 4; ++i) {
        section[section.size() - 4 + i] = static_cast<unsigned char>(crc >> (24 - 8 * i));
    }
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes BuildSection(unsigned programme, const std::vector<Stream>& streams,
                   const Bytes& programme_descriptors) {
    Bytes body = {static_cast<unsigned char>(programme >> 8),
                  static_cast<unsigned char>(programme),
                  0xC1,  // version 0, current
                  0x00,
                  0x00,
                  0xFF,  // PCR PID 0x1FFF
                  0xFF,
                  static_cast<unsigned char>(0xF0 | (programme_descriptors.size() >> 8)),
                  static_cast<unsigned char>(programme_descriptors.size())};
    body = body + programme_descriptors;
    for (const Stream& stream : streams) {
        body.push_back(static_cast<unsigned char>(stream.stream_type));
        body.push_back(static_cast<unsigned char>(0xE0 | (stream.pid >> 8)));
        body.push_back(static_cast<unsigned char>(stream.pid));
        body.push_back(static_cast<unsigned char>(0xF0 | (stream.descriptors.size() >> 8)));
        body.push_back(static_cast<unsigned char>(stream.descriptors.size()));
        body = body + stream.descriptors;
    }
    const std::size_t length = body.size() + 4;
    Bytes section = {0x02, static_cast<unsigned char>(0xB0 | (length >> 8)),
                     static_cast<unsigned char>(length)};
    section = section + body;
    section.resize(section.size() + 4);
    FixCrc(section);
    return section;
}

Bytes Descriptor(unsigned tag, const Bytes& body) {
    return Bytes{static_cast<unsigned char>(tag), static_cast<unsigned char>(body.size())} + body;
}

Bytes Language(const Bytes& code3, unsigned audio_type) {
    return Descriptor(0x0A, code3 + Bytes{static_cast<unsigned char>(audio_type)});
}

Bytes StreamIdentifier(unsigned component_tag) {
    return Descriptor(0x52, {static_cast<unsigned char>(component_tag)});
}

Bytes Subtitling(const std::vector<Bytes>& languages) {
    Bytes body;
    for (const Bytes& code3 : languages) body = body + code3 + Bytes{0x10, 0x00, 0x01, 0x00, 0x01};
    return Descriptor(0x59, body);
}

Bytes Teletext(const std::vector<std::pair<Bytes, unsigned>>& language_and_type) {
    Bytes body;
    for (const auto& [code3, type] : language_and_type) {
        body = body + code3 + Bytes{static_cast<unsigned char>(type << 3), 0x88};
    }
    return Descriptor(0x56, body);
}

Bytes Ac3() {
    return Descriptor(0x6A, {0x00});
}

Bytes EnhancedAc3() {
    return Descriptor(0x7A, {0x00});
}

Bytes Ca(unsigned system_id) {
    return Descriptor(0x09, {static_cast<unsigned char>(system_id >> 8),
                             static_cast<unsigned char>(system_id), 0xE1, 0x00});
}

}  // namespace pmt_bus
