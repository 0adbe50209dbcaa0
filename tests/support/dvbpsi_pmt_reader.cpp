#include "dvbpsi_pmt_reader.h"

// libdvbpsi's headers rely on these being included first.
#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>

extern "C" {
#include <dvbpsi/dvbpsi.h>
#include <dvbpsi/pat.h>
#include <dvbpsi/psi.h>
}

#include <stdexcept>

namespace ts_test {
namespace {

constexpr size_t kPacket = 188;
constexpr int kMaxSection = 4096;

uint16_t PidOf(const uint8_t* packet) {
    return static_cast<uint16_t>((packet[1] & 0x1F) << 8 | packet[2]);
}

struct PatResult {
    bool seen = false;
    std::vector<ReferenceProgramme> programmes;
};

void OnPat(void* data, dvbpsi_pat_t* pat) {
    auto* result = static_cast<PatResult*>(data);
    if (!result->seen) {
        result->seen = true;
        for (dvbpsi_pat_program_t* p = pat->p_first_program; p != nullptr; p = p->p_next) {
            if (p->i_number == 0) continue;
            ReferenceProgramme programme;
            programme.program_number = p->i_number;
            programme.pmt_pid = p->i_pid;
            result->programmes.push_back(programme);
        }
    }
    dvbpsi_pat_delete(pat);
}

std::vector<ReferenceProgramme> ReadPat(const Bytes& stream) {
    PatResult result;
    dvbpsi_t* handle = dvbpsi_new(nullptr, DVBPSI_MSG_NONE);
    if (handle == nullptr || !dvbpsi_pat_attach(handle, OnPat, &result)) {
        throw std::runtime_error("libdvbpsi: cannot attach a PAT decoder");
    }
    for (size_t at = 0; at + kPacket <= stream.size() && !result.seen; at += kPacket) {
        if (PidOf(&stream[at]) == 0) dvbpsi_packet_push(handle, const_cast<uint8_t*>(&stream[at]));
    }
    dvbpsi_pat_detach(handle);
    dvbpsi_delete(handle);
    return result.programmes;
}

// Receives every section libdvbpsi gathers on the PID; it owns the section from here on.
void OnSection(dvbpsi_t* handle, dvbpsi_psi_section_t* section) {
    auto* programme = static_cast<ReferenceProgramme*>(handle->p_sys);
    if (section->i_table_id == 0x02 && section->b_syntax_indicator && section->b_current_next &&
        section->i_extension == programme->program_number && dvbpsi_ValidPSISection(section)) {
        Bytes bytes(section->p_data, section->p_data + 3 + section->i_length);
        if (programme->sections.empty() || programme->sections.back() != bytes) {
            programme->sections.push_back(std::move(bytes));
        }
    }
    dvbpsi_DeletePSISections(section);
}

void ReadPmtSections(const Bytes& stream, ReferenceProgramme& programme) {
    dvbpsi_t* handle = dvbpsi_new(nullptr, DVBPSI_MSG_NONE);
    if (handle == nullptr) throw std::runtime_error("libdvbpsi: no handle");
    handle->p_sys = &programme;
    handle->p_decoder = static_cast<dvbpsi_decoder_t*>(
        dvbpsi_decoder_new(OnSection, kMaxSection, true, sizeof(dvbpsi_decoder_t)));
    if (handle->p_decoder == nullptr) throw std::runtime_error("libdvbpsi: no decoder");
    for (size_t at = 0; at + kPacket <= stream.size(); at += kPacket) {
        if (PidOf(&stream[at]) == programme.pmt_pid) {
            dvbpsi_packet_push(handle, const_cast<uint8_t*>(&stream[at]));
        }
    }
    dvbpsi_decoder_delete(handle->p_decoder);
    handle->p_decoder = nullptr;
    dvbpsi_delete(handle);
}

}  // namespace

std::vector<ReferenceProgramme> ReadWithDvbpsi(const Bytes& stream) {
    std::vector<ReferenceProgramme> programmes = ReadPat(stream);
    for (ReferenceProgramme& programme : programmes) ReadPmtSections(stream, programme);
    return programmes;
}

}  // namespace ts_test
