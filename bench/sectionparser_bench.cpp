// The section parser against libdvbpsi on every captured PMT section: each side takes the section
// in and then reads every stream and every descriptor the service reads, decoding their fields.
// After the runs, a table gives the time of each side per section and their ratio.
//
//   parser       one TCPMTParser fed every section in turn, as the service keeps one
//   parser_cold  a new TCPMTParser per section (its first allocations included)
//   libdvbpsi    the section in TS packets through a PMT decoder, then dvbpsi_Decode*Dr
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "TCPMTParser.h"
#include "captured_sections.h"
#include "dvbpsi_reference.h"
#include "pmt_section_builder.h"

extern "C" {
#include <dvbpsi/dr_09.h>
#include <dvbpsi/dr_0a.h>
#include <dvbpsi/dr_52.h>
#include <dvbpsi/dr_56.h>
#include <dvbpsi/dr_59.h>
}

namespace {

using pmt_test::CapturedSection;

unsigned WalkDescriptor(const TCDescriptor& descriptor) {
    unsigned sum = static_cast<unsigned>(descriptor.Tag());
    switch (descriptor.Tag()) {
        case TCDescStreamIdentifier::kTag:
            sum += static_cast<const TCDescStreamIdentifier&>(descriptor).ComponentTag();
            break;
        case TCDescCA::kTag:
            sum += static_cast<const TCDescCA&>(descriptor).CASystemID();
            break;
        case TCDescLanguage::kTag: {
            const auto& language = static_cast<const TCDescLanguage&>(descriptor);
            for (int index = 0; index < language.NumOfLanguage(); ++index) {
                ELanguageCode code;
                EAudioType type;
                language.Language(index, &code, &type);
                sum += code + type;
            }
            break;
        }
        case TCDescSubtitling::kTag: {
            const auto& subtitling = static_cast<const TCDescSubtitling&>(descriptor);
            for (int index = 0; index < subtitling.NumOfSubtitling(); ++index) {
                sum += subtitling.Iso639LangCode(index);
            }
            break;
        }
        case TCDescTeletext::kTag: {
            const auto& teletext = static_cast<const TCDescTeletext&>(descriptor);
            for (int index = 0; index < teletext.NumOfTeletext(); ++index) {
                sum += teletext.TeletextType(index) + teletext.Iso639LangCode(index);
            }
            break;
        }
        default:
            break;
    }
    return sum;
}

unsigned WalkParser(TCPMTParser& parser, unsigned short programNumber) {
    TCPMTInstance* instance = parser.PMTInstance(programNumber);
    if (instance == nullptr || !instance->IsValid()) return 0;
    unsigned sum = 0;
    for (int index = 0; index < instance->NumOfElementary(); ++index) {
        TCPMTElementary* stream = instance->PMTElementary(static_cast<unsigned>(index));
        sum += stream->StreamType() + static_cast<unsigned>(stream->ElementaryPID());
        for (int position = 0; position < stream->NumOfDescriptor(); ++position) {
            sum += WalkDescriptor(*stream->Descriptor(position));
        }
    }
    return sum;
}

unsigned WalkDvbpsiDescriptor(dvbpsi_descriptor_t* descriptor) {
    unsigned sum = descriptor->i_tag;
    switch (descriptor->i_tag) {
        case 0x52:
            if (auto* decoded = dvbpsi_DecodeStreamIdentifierDr(descriptor)) {
                sum += decoded->i_component_tag;
            }
            break;
        case 0x09:
            if (auto* decoded = dvbpsi_DecodeCADr(descriptor)) sum += decoded->i_ca_system_id;
            break;
        case 0x0A:
            if (auto* decoded = dvbpsi_DecodeISO639Dr(descriptor)) {
                for (int index = 0; index < decoded->i_code_count; ++index) {
                    const uint8_t* code = decoded->code[index].iso_639_code;
                    sum += PackLanguageCode(code[0], code[1], code[2]) +
                           decoded->code[index].i_audio_type;
                }
            }
            break;
        case 0x59:
            if (auto* decoded = dvbpsi_DecodeSubtitlingDr(descriptor)) {
                for (int index = 0; index < decoded->i_subtitles_number; ++index) {
                    const uint8_t* code = decoded->p_subtitle[index].i_iso6392_language_code;
                    sum += PackLanguageCode(code[0], code[1], code[2]);
                }
            }
            break;
        case 0x56:
            if (auto* decoded = dvbpsi_DecodeTeletextDr(descriptor)) {
                for (int index = 0; index < decoded->i_pages_number; ++index) {
                    const uint8_t* code = decoded->p_pages[index].i_iso6392_language_code;
                    sum += decoded->p_pages[index].i_teletext_type +
                           PackLanguageCode(code[0], code[1], code[2]);
                }
            }
            break;
        default:
            break;
    }
    return sum;
}

unsigned WalkDvbpsi(const dvbpsi_pmt_t* pmt) {
    if (pmt == nullptr) return 0;
    unsigned sum = 0;
    for (const dvbpsi_pmt_es_t* es = pmt->p_first_es; es != nullptr; es = es->p_next) {
        sum += es->i_type + es->i_pid;
        for (dvbpsi_descriptor_t* descriptor = es->p_first_descriptor; descriptor != nullptr;
             descriptor = descriptor->p_next) {
            sum += WalkDvbpsiDescriptor(descriptor);
        }
    }
    return sum;
}

void ParserSteady(benchmark::State& state, const CapturedSection& section) {
    const auto frame = pmt_test::Framed(section.bytes);
    const auto programNumber = static_cast<unsigned short>(section.programNumber);
    TCPMTParser parser(TVSHandle{1, 0, 0});
    parser.Initialize();
    for (auto _ : state) {
        parser.Parse(0, frame.data());
        benchmark::DoNotOptimize(WalkParser(parser, programNumber));
    }
    if (WalkParser(parser, programNumber) == 0) state.SkipWithError("section not valid");
}

void ParserCold(benchmark::State& state, const CapturedSection& section) {
    const auto frame = pmt_test::Framed(section.bytes);
    const auto programNumber = static_cast<unsigned short>(section.programNumber);
    for (auto _ : state) {
        TCPMTParser parser(TVSHandle{1, 0, 0});
        parser.Initialize();
        parser.Parse(0, frame.data());
        benchmark::DoNotOptimize(WalkParser(parser, programNumber));
    }
}

void Libdvbpsi(benchmark::State& state, const CapturedSection& section) {
    const auto packets = ts_test::Packetize(section.bytes, 0x0100);
    const auto programNumber = static_cast<uint16_t>(section.programNumber);
    pmt_test::DvbpsiPmtDecoder decoder;
    for (auto _ : state) {
        benchmark::DoNotOptimize(WalkDvbpsi(decoder.Decode(packets, programNumber)));
    }
    if (WalkDvbpsi(decoder.Decode(packets, programNumber)) == 0) {
        state.SkipWithError("libdvbpsi delivered no PMT");
    }
}

// Prints as usual and keeps each run's time per iteration for the closing table.
class RecordingReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                m_Nanoseconds[run.benchmark_name()] = run.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Time in ns, or a negative value when the benchmark did not run.
    double Time(const std::string& name) const {
        const auto found = m_Nanoseconds.find(name);
        return found != m_Nanoseconds.end() ? found->second : -1.0;
    }

  private:
    std::map<std::string, double> m_Nanoseconds;
};

}  // namespace

int main(int argc, char** argv) {
    const auto& sections = pmt_test::CapturedSections();
    if (sections.empty()) {
        std::fprintf(stderr, "no captured sections under %s/pmt\n", TREVALO_TESTDATA_DIR);
        return 1;
    }
    for (const auto& section : sections) {
        benchmark::RegisterBenchmark(("parser/" + section.name).c_str(), ParserSteady, section);
        benchmark::RegisterBenchmark(("parser_cold/" + section.name).c_str(), ParserCold, section);
        benchmark::RegisterBenchmark(("libdvbpsi/" + section.name).c_str(), Libdvbpsi, section);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("\n%-28s %6s %11s %11s %11s %9s %9s\n", "section", "bytes", "parser ns", "cold ns",
                "libdvbpsi ns", "ratio", "cold");
    int slower = 0;
    for (const auto& section : sections) {
        const double parser = reporter.Time("parser/" + section.name);
        const double cold = reporter.Time("parser_cold/" + section.name);
        const double libdvbpsi = reporter.Time("libdvbpsi/" + section.name);
        if (parser < 0 || libdvbpsi <= 0) continue;
        // Below 1: the parser is faster than libdvbpsi.
        const double ratio = parser / libdvbpsi;
        if (ratio > 1.0) ++slower;
        std::printf("%-28s %6zu %11.1f %11.1f %11.1f %9.3f %9.3f\n", section.name.c_str(),
                    section.bytes.size(), parser, cold, libdvbpsi, ratio,
                    cold > 0 ? cold / libdvbpsi : 0.0);
    }
    std::printf("ratio = parser time / libdvbpsi time; sections where the parser is slower: %d\n",
                slower);
    benchmark::Shutdown();
    return 0;
}
