// The CRC_32 that closes MPEG-2 PSI sections.
#ifndef TREVALO_CRC32_MPEG2_H
#define TREVALO_CRC32_MPEG2_H

#include <cstddef>
#include <cstdint>

namespace trevalo_mpeg {

// CRC_32 of ISO/IEC 13818-1 Annex A: polynomial 0x04C11DB7, initial value 0xFFFFFFFF, bits taken
// most significant first, no final inversion. Run over a whole section including its CRC_32
// field, it yields 0 exactly when the section is intact.
uint32_t Crc32Mpeg2(const unsigned char* data, size_t size);

}  // namespace trevalo_mpeg

#endif
