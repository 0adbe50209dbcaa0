#include "pmt_section_builder.h"

#include <algorithm>

namespace pmt_test {

uint32_t ReferenceCrc32(const unsigned char* data, size_t size) {
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t index = 0; index < size; ++index) {
        for (int bit = 7; bit >= 0; --bit) {
            const bool inBit = ((data[index] >> bit) & 1) != 0;
            const bool topBit = (crc & 0x80000000u) != 0;
            crc <<= 1;
            if (inBit != topBit) crc ^= 0x04C11DB7u;
        }
    }
    return crc;
}

Bytes Concat(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

Bytes Descriptor(uint8_t tag, const Bytes& payload) {
    // Sized once and filled in place: growing a two-byte vector by insert() trips GCC 12's
    // -Warray-bounds at -O3 on the reallocation it cannot see through.
    Bytes descriptor(2 + payload.size());
    descriptor[0] = tag;
    descriptor[1] = static_cast<unsigned char>(payload.size());
    std::copy(payload.begin(), payload.end(), descriptor.begin() + 2);
    return descriptor;
}

namespace {

void AppendCode(Bytes& bytes, const std::string& code) {
    for (size_t index = 0; index < 3; ++index) {
        bytes.push_back(index < code.size() ? static_cast<unsigned char>(code[index]) : 0);
    }
}

void AppendU16(Bytes& bytes, unsigned value) {
    bytes.push_back(static_cast<unsigned char>(value >> 8));
    bytes.push_back(static_cast<unsigned char>(value));
}

}  // namespace

Bytes StreamIdentifier(uint8_t componentTag) {
    return Descriptor(0x52, {componentTag});
}

Bytes CA(uint16_t systemId, uint16_t caPid, const Bytes& privateData) {
    Bytes payload;
    AppendU16(payload, systemId);
    AppendU16(payload, 0xE000u | caPid);
    payload.insert(payload.end(), privateData.begin(), privateData.end());
    return Descriptor(0x09, payload);
}

Bytes Language(const std::vector<LanguageEntry>& entries) {
    Bytes payload;
    for (const auto& entry : entries) {
        AppendCode(payload, entry.code);
        payload.push_back(entry.audioType);
    }
    return Descriptor(0x0A, payload);
}

Bytes AC3Audio(uint8_t tag, uint8_t componentType) {
    return Descriptor(tag, {0x80, componentType});
}

Bytes SupplementaryAudio(uint8_t mixType, uint8_t editorialClassification,
                         const std::string& code) {
    Bytes payload = {
        0x06, static_cast<unsigned char>((mixType << 7) | ((editorialClassification & 0x1F) << 2) |
                                         (code.empty() ? 0 : 1))};
    if (!code.empty()) AppendCode(payload, code);
    return Descriptor(0x7F, payload);
}

Bytes Subtitling(const std::vector<SubtitlingEntry>& entries) {
    Bytes payload;
    for (const auto& entry : entries) {
        AppendCode(payload, entry.code);
        payload.push_back(entry.subtitlingType);
        AppendU16(payload, entry.compositionPageId);
        AppendU16(payload, entry.ancillaryPageId);
    }
    return Descriptor(0x59, payload);
}

Bytes Teletext(const std::vector<TeletextEntry>& entries) {
    Bytes payload;
    for (const auto& entry : entries) {
        AppendCode(payload, entry.code);
        payload.push_back(static_cast<unsigned char>((entry.type << 3) | (entry.magazine & 0x07)));
        payload.push_back(entry.page);
    }
    return Descriptor(0x56, payload);
}

PmtBuilder& PmtBuilder::ProgramDescriptor(const Bytes& descriptor) {
    m_ProgramDescriptors.push_back(descriptor);
    return *this;
}

PmtBuilder& PmtBuilder::Stream(uint8_t streamType, uint16_t pid,
                               const std::vector<Bytes>& descriptors) {
    m_Streams.push_back({streamType, pid, descriptors});
    return *this;
}

Bytes LongFormHeader(uint8_t tableId, uint16_t extension, uint8_t version, bool currentNext) {
    // section_syntax_indicator 1, the '0' bit, two reserved bits; the length comes last.
    Bytes section{tableId, 0xB0, 0};
    AppendU16(section, extension);
    section.push_back(
        static_cast<unsigned char>(0xC0 | ((version & 0x1F) << 1) | (currentNext ? 1 : 0)));
    section.push_back(0);  // section_number
    section.push_back(0);  // last_section_number
    return section;
}

void FinishLongForm(Bytes& section) {
    section.resize(section.size() + 4);  // CRC_32
    SetLengthField(section, kSectionLengthOffset, static_cast<int>(section.size() - 3));
    RestampCrc(section);
}

Bytes PmtBuilder::Build() const {
    Bytes section = LongFormHeader(0x02, m_ProgramNumber, m_Version, m_CurrentNext);
    AppendU16(section, 0xE000u | m_PcrPid);
    const Bytes programInfo = Concat(m_ProgramDescriptors);
    AppendU16(section, 0xF000u | programInfo.size());
    section.insert(section.end(), programInfo.begin(), programInfo.end());
    for (const auto& stream : m_Streams) {
        const Bytes esInfo = Concat(stream.descriptors);
        section.push_back(stream.type);
        AppendU16(section, 0xE000u | stream.pid);
        AppendU16(section, 0xF000u | esInfo.size());
        section.insert(section.end(), esInfo.begin(), esInfo.end());
    }
    FinishLongForm(section);
    return section;
}

int LengthField(const Bytes& section, size_t offset) {
    return ((section.at(offset) & 0x0F) << 8) | section.at(offset + 1);
}

void SetLengthField(Bytes& section, size_t offset, int value) {
    section.at(offset) =
        static_cast<unsigned char>((section.at(offset) & 0xF0) | ((value >> 8) & 0x0F));
    section.at(offset + 1) = static_cast<unsigned char>(value);
}

void RestampCrc(Bytes& section) {
    const size_t size = 3 + static_cast<size_t>(LengthField(section, kSectionLengthOffset));
    if (size < 4) return;
    if (size > section.size()) {
        // Grow before the CRC_32, so the added bytes fall at the end of the loops.
        section.insert(section.end() - std::min<size_t>(4, section.size()), size - section.size(),
                       0);
    }
    section.resize(size);
    const uint32_t crc = ReferenceCrc32(section.data(), size - 4);
    for (int index = 0; index < 4; ++index) {
        section[size - 4 + index] = static_cast<unsigned char>(crc >> (24 - 8 * index));
    }
}

Bytes Renumbered(Bytes section, int program_number, int version) {
    section[3] = static_cast<unsigned char>(program_number >> 8);
    section[4] = static_cast<unsigned char>(program_number);
    section[5] = static_cast<unsigned char>((section[5] & 0xC1) | ((version & 0x1F) << 1));
    RestampCrc(section);
    return section;
}

size_t FirstStreamOffset(const Bytes& section) {
    return kFirstLoopOffset + static_cast<size_t>(LengthField(section, kProgramInfoLengthOffset));
}

Bytes Framed(const Bytes& section) {
    Bytes frame(1024, 0);
    std::copy_n(section.begin(), std::min<size_t>(section.size(), frame.size()), frame.begin());
    return frame;
}

}  // namespace pmt_test
