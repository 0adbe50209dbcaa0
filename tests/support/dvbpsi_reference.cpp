#include "dvbpsi_reference.h"

extern "C" {
#include <dvbpsi/pat.h>
#include <dvbpsi/psi.h>
}

#include <stdexcept>

namespace {

constexpr size_t kPacket = 188;
constexpr int kMaxSection = 4096;

void IgnoreMessage(dvbpsi_t*, const dvbpsi_msg_level_t, const char*) {}

dvbpsi_t* NewHandle() {
    dvbpsi_t* handle = dvbpsi_new(&IgnoreMessage, DVBPSI_MSG_NONE);
    if (handle == nullptr) throw std::runtime_error("libdvbpsi: no handle");
    return handle;
}

// Pushes the stream's packets on `pid` (all of them when `pid` is negative).
void PushPackets(dvbpsi_t* handle, const test_support::Bytes& stream, int pid) {
    for (size_t at = 0; at + kPacket <= stream.size(); at += kPacket) {
        const int packet_pid = (stream[at + 1] & 0x1F) << 8 | stream[at + 2];
        if (pid < 0 || packet_pid == pid) {
            dvbpsi_packet_push(handle, const_cast<uint8_t*>(&stream[at]));
        }
    }
}

}  // namespace

namespace pmt_test {

DvbpsiPmtDecoder::DvbpsiPmtDecoder() : m_Handle(NewHandle()) {}

DvbpsiPmtDecoder::~DvbpsiPmtDecoder() {
    if (m_Pmt != nullptr) dvbpsi_pmt_delete(m_Pmt);
    dvbpsi_delete(m_Handle);
}

void DvbpsiPmtDecoder::OnPmt(void* self, dvbpsi_pmt_t* pmt) {
    auto* decoder = static_cast<DvbpsiPmtDecoder*>(self);
    if (decoder->m_Pmt != nullptr) dvbpsi_pmt_delete(decoder->m_Pmt);
    decoder->m_Pmt = pmt;
}

dvbpsi_pmt_t* DvbpsiPmtDecoder::Decode(const Bytes& packets, uint16_t programNumber) {
    if (m_Pmt != nullptr) {
        dvbpsi_pmt_delete(m_Pmt);
        m_Pmt = nullptr;
    }
    if (!dvbpsi_pmt_attach(m_Handle, programNumber, &DvbpsiPmtDecoder::OnPmt, this)) return nullptr;
    PushPackets(m_Handle, packets, -1);
    dvbpsi_pmt_detach(m_Handle);
    return m_Pmt;
}

}  // namespace pmt_test

namespace ts_test {
namespace {

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
    dvbpsi_t* handle = NewHandle();
    if (!dvbpsi_pat_attach(handle, OnPat, &result)) {
        throw std::runtime_error("libdvbpsi: cannot attach a PAT decoder");
    }
    PushPackets(handle, stream, 0);  // what follows the first PAT is left alone by OnPat
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
    dvbpsi_t* handle = NewHandle();
    handle->p_sys = &programme;
    handle->p_decoder = static_cast<dvbpsi_decoder_t*>(
        dvbpsi_decoder_new(OnSection, kMaxSection, true, sizeof(dvbpsi_decoder_t)));
    if (handle->p_decoder == nullptr) throw std::runtime_error("libdvbpsi: no decoder");
    PushPackets(handle, stream, programme.pmt_pid);
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
