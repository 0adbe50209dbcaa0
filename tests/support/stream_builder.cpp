#include "stream_builder.h"

#include <algorithm>
#include <stdexcept>

#include "pmt_section_builder.h"

namespace ts_test {
namespace {

// A small deterministic generator; std::minstd_rand would do, but this keeps byte streams
// identical across standard libraries.
uint32_t Next(uint32_t& state) {
    state = state * 1664525u + 1013904223u;
    return state >> 24;
}

}  // namespace

Bytes MakePacket(const PacketFields& fields) {
    Bytes packet = {
        0x47,
        static_cast<uint8_t>((fields.transport_error ? 0x80 : 0) |
                             (fields.payload_unit_start ? 0x40 : 0) | (fields.pid >> 8)),
        static_cast<uint8_t>(fields.pid),
        static_cast<uint8_t>((fields.adaptation_length >= 0 ? 0x20 : 0) |
                             (fields.has_payload ? 0x10 : 0) | (fields.continuity_counter & 0x0F))};
    if (fields.adaptation_length >= 0) {
        packet.push_back(static_cast<uint8_t>(fields.adaptation_length));
        if (fields.adaptation_length > 0) {
            packet.push_back(fields.discontinuity ? 0x80 : 0x00);
            packet.resize(packet.size() + fields.adaptation_length - 1, 0xFF);
        }
    }
    if (packet.size() + fields.payload.size() > 188) throw std::logic_error("payload too long");
    packet.insert(packet.end(), fields.payload.begin(), fields.payload.end());
    packet.resize(188, 0xFF);
    return packet;
}

Bytes MakePatSection(uint16_t transport_stream_id, uint8_t version,
                     const std::vector<std::pair<uint16_t, uint16_t>>& programmes_and_pids,
                     bool current_next) {
    Bytes section = pmt_test::LongFormHeader(0x00, transport_stream_id, version, current_next);
    for (const auto& [programme, pid] : programmes_and_pids) {
        section.insert(section.end(),
                       {static_cast<uint8_t>(programme >> 8), static_cast<uint8_t>(programme),
                        static_cast<uint8_t>(0xE0 | pid >> 8), static_cast<uint8_t>(pid)});
    }
    pmt_test::FinishLongForm(section);
    return section;
}

Bytes MakePmtSection(uint16_t program_number, uint8_t version,
                     const std::vector<std::pair<uint8_t, uint16_t>>& types_and_pids,
                     bool current_next) {
    pmt_test::PmtBuilder builder;
    builder.ProgramNumber(program_number).Version(version).CurrentNext(current_next);
    builder.PcrPid(types_and_pids.empty() ? 0x1FFF : types_and_pids.front().second);
    for (const auto& [type, pid] : types_and_pids) builder.Stream(type, pid);
    return builder.Build();
}

Bytes Packetize(const Bytes& section, uint16_t pid, uint8_t& counter) {
    Bytes stream;
    size_t at = 0;
    bool first = true;
    while (first || at < section.size()) {
        PacketFields fields;
        fields.pid = pid;
        fields.payload_unit_start = first;
        fields.continuity_counter = counter;
        counter = static_cast<uint8_t>((counter + 1) & 0x0F);
        if (first) fields.payload.push_back(0x00);  // pointer_field
        const size_t room = 184 - fields.payload.size();
        const size_t take = std::min(room, section.size() - at);
        fields.payload.insert(fields.payload.end(), section.begin() + at,
                              section.begin() + at + take);
        at += take;
        first = false;
        const Bytes packet = MakePacket(fields);
        stream.insert(stream.end(), packet.begin(), packet.end());
    }
    return stream;
}

Bytes Packetize(const Bytes& section, uint16_t pid) {
    uint8_t counter = 0;
    return Packetize(section, pid, counter);
}

Bytes Restride(const Bytes& stream, size_t stride, uint32_t seed) {
    Bytes out;
    for (size_t at = 0; at + 188 <= stream.size(); at += 188) {
        if (stride == 192) {
            // The top byte of the timestamp changes slowly; let it look like a sync byte.
            out.push_back(0x47);
            for (int i = 1; i < 4; ++i) out.push_back(static_cast<uint8_t>(Next(seed)));
        }
        out.insert(out.end(), stream.begin() + at, stream.begin() + at + 188);
        if (stride == 204) {
            for (int i = 0; i < 16; ++i) {
                out.push_back(i % 5 == 0 ? 0x47 : static_cast<uint8_t>(Next(seed)));
            }
        }
    }
    return out;
}

Bytes Garbage(size_t count, uint32_t seed) {
    Bytes bytes(count);
    for (uint8_t& byte : bytes) {
        const uint32_t value = Next(seed);
        byte = value % 32 == 0 ? 0x47 : static_cast<uint8_t>(value);
    }
    return bytes;
}

}  // namespace ts_test
