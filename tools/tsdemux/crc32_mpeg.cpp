#include "tsdemux/crc32_mpeg.h"

#include <array>

namespace tsdemux {
namespace {

std::array<uint32_t, 256> MakeTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t crc = byte << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x80000000u) != 0 ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
        }
        table[byte] = crc;
    }
    return table;
}

}  // namespace

uint32_t Crc32Mpeg(const uint8_t* bytes, size_t length) {
    static const std::array<uint32_t, 256> table = MakeTable();
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < length; ++i) {
        crc = (crc << 8) ^ table[((crc >> 24) ^ bytes[i]) & 0xFF];
    }
    return crc;
}

}  // namespace tsdemux
