// The CRC_32 that closes MPEG-2 PSI sections (polynomial 0x04C11DB7, initial value all ones, no
// reflection, no final inversion).
#ifndef TSDEMUX_CRC32_MPEG_H
#define TSDEMUX_CRC32_MPEG_H

#include <cstddef>
#include <cstdint>

namespace tsdemux {

uint32_t Crc32Mpeg(const uint8_t* bytes, size_t length);

}  // namespace tsdemux

#endif
