// pmt FILE|- [--program N] [--follow]: a programme's PMT from a transport stream to the service,
// and the catalogue it gives back.
#include <time.h>

#include <cstdio>
#include <iostream>
#include <vector>

#include "catalogue_changes.h"
#include "catalogue_table.h"
#include "command_error.h"
#include "commands.h"
#include "input_stream.h"
#include "interruption.h"
#include "progress_line.h"
#include "service_requests.h"
#include "tsdemux/pmt_extractor.h"

namespace trevalo_cli {
namespace {

constexpr size_t kChunkSize = 64 * 1024;
constexpr long kGrowthPollNanoseconds = 200L * 1000 * 1000;

std::string PidText(unsigned pid) {
    char text[24];
    std::snprintf(text, sizeof text, "%u (0x%04X)", pid, pid);
    return text;
}

std::string Describe(const tsdemux::FoundPmt& pmt) {
    return "programme " + std::to_string(pmt.program_number) + ": PMT version " +
           std::to_string(pmt.version) + " on PID " + PidText(pmt.pid) + ", " +
           std::to_string(pmt.section.size()) + " bytes";
}

std::string ProgrammeMissing(const tsdemux::PmtExtractor& extractor, uint16_t requested) {
    std::string listed;
    for (const tsdemux::ProgramEntry& entry : extractor.Programmes()) {
        listed += (listed.empty() ? "" : ", ") + std::to_string(entry.program_number);
    }
    if (listed.empty()) return "the PAT lists no programme";
    return "programme " + std::to_string(requested) + " is not in the PAT (programmes: " + listed +
           ")";
}

// Why the input gave no PMT.
std::string NothingFound(const tsdemux::PmtExtractor& extractor, const InputStream& input,
                         uint16_t requested) {
    const uint64_t bad_crc = extractor.BadCrcSections();
    const std::string crc_note =
        bad_crc == 0 ? "" : " (" + std::to_string(bad_crc) + " sections failed the CRC check)";
    if (extractor.Reader().Packets() == 0) {
        return "no transport-stream packets in " + input.Name();
    }
    if (!extractor.PatComplete()) return "no PAT in " + input.Name() + crc_note;
    if (extractor.ProgrammeMissing()) return ProgrammeMissing(extractor, requested);
    return "no valid PMT of programme " + std::to_string(extractor.ProgramNumber()) + " on PID " +
           PidText(static_cast<unsigned>(extractor.PmtPid())) + " in " + input.Name() + crc_note;
}

// Sends each PMT found and prints what the service made of it.
class PmtSender {
  public:
    PmtSender(ServiceConnection& service, bool follow) : m_Service(service), m_Follow(follow) {}

    void Send(const tsdemux::FoundPmt& pmt) {
        ++m_Sent;
        // The first section the service takes starts afresh; later ones update it.
        const bool reset = m_Accepted == 0;
        if (!SendPmtSection(m_Service, pmt.section, pmt.program_number, reset)) {
            const std::string refused = "the service refused the " + Describe(pmt);
            if (!m_Follow) throw FailureAnswer(refused);
            std::cout.flush();
            std::cerr << "trevalo-cli: pmt: " << refused << std::endl;
            return;
        }
        Catalogue catalogue = ReadCatalogue(m_Service);
        std::cout << Describe(pmt) << ": catalogue rebuilt\n";
        if (m_Accepted == 0) {
            std::cout << FormatCatalogueTable(AllRows(catalogue));
        } else {
            const std::vector<CatalogueRow> changes = CatalogueChanges(m_Last, catalogue);
            std::cout << (changes.empty() ? "(no component changed)\n"
                                          : FormatCatalogueTable(changes));
        }
        std::cout.flush();
        ++m_Accepted;
        m_Last = std::move(catalogue);
    }

    uint64_t Sent() const { return m_Sent; }
    uint64_t Accepted() const { return m_Accepted; }

  private:
    ServiceConnection& m_Service;
    bool m_Follow;
    uint64_t m_Sent = 0;
    uint64_t m_Accepted = 0;
    Catalogue m_Last;
};

void WaitForGrowth() {
    const timespec pause{0, kGrowthPollNanoseconds};
    nanosleep(&pause, nullptr);  // a signal cuts it short, which is what Ctrl-C wants
}

}  // namespace

int RunPmt(const CommandContext& context, const Arguments& arguments) {
    if (arguments.Operands().size() != 1) {
        throw UsageError("give one FILE, or - for standard input");
    }
    uint16_t program = 0;
    if (const auto text = arguments.Value("--program")) {
        const auto number = ParseInteger(*text, 1, 65535);
        if (!number) throw UsageError("--program takes a programme number from 1 to 65535");
        program = static_cast<uint16_t>(*number);
    }
    const bool follow = arguments.Flag("--follow");

    InputStream input(arguments.Operands()[0]);
    ServiceConnection service(context);
    if (follow) CatchInterruption();

    std::vector<tsdemux::FoundPmt> found;
    tsdemux::PmtExtractor extractor(
        program, [&found](const tsdemux::FoundPmt& pmt) { found.push_back(pmt); });
    PmtSender sender(service, follow);
    ProgressLine progress(input.Name(), input.Size(), input.IsRegularFile());
    std::vector<uint8_t> chunk(kChunkSize);
    uint64_t bytes_read = 0;
    bool ended = false;
    bool reported_missing = false;

    while (!ended && !Interrupted()) {
        const ssize_t count = input.Read(chunk.data(), chunk.size());
        if (count < 0) continue;  // a signal: the loop condition decides
        if (count == 0 && follow && input.IsRegularFile()) {
            WaitForGrowth();
            continue;
        }
        if (count == 0) {
            extractor.Finish();
            ended = true;
        } else {
            bytes_read += static_cast<uint64_t>(count);
            progress.Update(bytes_read);
            extractor.Feed(chunk.data(), static_cast<size_t>(count));
        }
        for (const tsdemux::FoundPmt& pmt : found) {
            progress.Erase();
            sender.Send(pmt);
            if (!follow) return kExitSuccess;
        }
        found.clear();
        if (extractor.ProgrammeMissing() && !reported_missing) {
            if (sender.Sent() == 0) throw FailureAnswer(ProgrammeMissing(extractor, program));
            std::cerr << "trevalo-cli: pmt: " << ProgrammeMissing(extractor, program) << " any more"
                      << std::endl;
            reported_missing = true;
        }
        if (!extractor.ProgrammeMissing()) reported_missing = false;
    }
    progress.Erase();
    if (sender.Sent() == 0) throw FailureAnswer(NothingFound(extractor, input, program));
    if (sender.Accepted() == 0) throw FailureAnswer("the service refused every PMT it was sent");
    return kExitSuccess;
}

}  // namespace trevalo_cli
