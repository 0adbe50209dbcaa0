// libFuzzer entry: a transport stream as trevalo-cli pmt and programmes read it, from packet sync
// through section reassembly to the PAT, the programme's PMT and the streams it lists.
//
// Input: programme number (2 bytes, big-endian; 0 follows the PAT's first programme), one byte
// choosing the size of the reads the stream arrives in, then the stream.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "trevalo/crc32_mpeg2.h"
#include "trevalo/mpeg_constants.h"
#include "tsdemux/pmt_extractor.h"
#include "tsdemux/pmt_streams.h"

namespace {

// Read sizes: a byte at a time, odd sizes straddling packets, a packet, the client's chunk.
constexpr size_t kReadSizes[] = {1, 7, 187, 188, 189, 4096, 65536};

// What the reader promises of every PMT it hands out.
void CheckPmt(const tsdemux::FoundPmt& pmt, uint16_t asked) {
    const std::vector<uint8_t>& section = pmt.section;
    if (section.size() < 12 || section.size() > tsdemux::kMaxSectionSize) __builtin_trap();
    if (section[0] != trevalo_mpeg::table_id::kPmt || pmt.pid > 0x1FFF) __builtin_trap();
    if ((section[3] << 8 | section[4]) != pmt.program_number) __builtin_trap();
    if (asked != 0 && pmt.program_number != asked) __builtin_trap();
    const size_t declared = 3 + ((section[1] & 0x0F) << 8 | section[2]);
    if (declared != section.size()) __builtin_trap();
    if (trevalo_mpeg::Crc32Mpeg2(section.data(), section.size()) != 0) __builtin_trap();
    tsdemux::ReadPmtStreams(section);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    const uint16_t program = static_cast<uint16_t>(data[0] << 8 | data[1]);
    const size_t read_size = kReadSizes[data[2] % (sizeof kReadSizes / sizeof kReadSizes[0])];
    data += 3;
    size -= 3;

    tsdemux::PmtExtractor extractor(
        program, [program](const tsdemux::FoundPmt& pmt) { CheckPmt(pmt, program); });
    for (size_t at = 0; at < size; at += read_size) {
        extractor.Feed(data + at, std::min(read_size, size - at));
    }
    extractor.Finish();
    const tsdemux::PacketReader& reader = extractor.Reader();
    if (reader.Packets() * tsdemux::kPacketSize > size) __builtin_trap();
    return 0;
}
