#include "trevalo/crc32_mpeg2.h"

namespace trevalo_mpeg {
namespace {

constexpr uint32_t kPolynomial = 0x04C11DB7u;

// Table k gives the CRC contribution of a byte followed by k zero bytes, so that four bytes are
// folded in with four look-ups instead of four dependent steps (slicing by four).
struct CrcTables {
    uint32_t byWord[4][256];
};

constexpr CrcTables MakeCrcTables() {
    CrcTables tables{};
    for (uint32_t value = 0; value < 256; ++value) {
        uint32_t crc = value << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x80000000u) != 0 ? (crc << 1) ^ kPolynomial : crc << 1;
        }
        tables.byWord[0][value] = crc;
    }
    for (int shift = 1; shift < 4; ++shift) {
        for (uint32_t value = 0; value < 256; ++value) {
            const uint32_t previous = tables.byWord[shift - 1][value];
            tables.byWord[shift][value] = (previous << 8) ^ tables.byWord[0][previous >> 24];
        }
    }
    return tables;
}

constexpr CrcTables kCrcTables = MakeCrcTables();

}  // namespace

uint32_t Crc32Mpeg2(const unsigned char* data, size_t size) {
    const auto& table = kCrcTables.byWord;
    uint32_t crc = 0xFFFFFFFFu;
    while (size >= 4) {
        crc ^= (uint32_t{data[0]} << 24) | (uint32_t{data[1]} << 16) | (uint32_t{data[2]} << 8) |
               uint32_t{data[3]};
        crc = table[3][crc >> 24] ^ table[2][(crc >> 16) & 0xFF] ^ table[1][(crc >> 8) & 0xFF] ^
              table[0][crc & 0xFF];
        data += 4;
        size -= 4;
    }
    while (size-- > 0) {
        crc = (crc << 8) ^ table[0][(crc >> 24) ^ *data++];
    }
    return crc;
}

}  // namespace trevalo_mpeg
