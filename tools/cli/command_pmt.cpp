// pmt FILE|- [--program N] [--follow]: a programme's PMT from a transport stream to the service,
// and the catalogue it gives back.
#include <time.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include "catalogue_changes.h"
#include "catalogue_table.h"
#include "command_error.h"
#include "commands.h"
#include "input_stream.h"
#include "interruption.h"
#include "output_names.h"
#include "progress_line.h"
#include "service_requests.h"
#include "service_wait.h"
#include "trevalo/json_text.h"
#include "tsdemux/pmt_extractor.h"

namespace trevalo_cli {
namespace {

constexpr size_t kChunkSize = 64 * 1024;

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

// "programme N is not in the PAT (programmes: ...)", N the programme followed once known.
std::string ProgrammeMissing(const tsdemux::PmtExtractor& extractor, uint16_t requested) {
    std::string listed;
    for (const tsdemux::ProgramEntry& entry : extractor.Programmes()) {
        listed += (listed.empty() ? "" : ", ") + std::to_string(entry.program_number);
    }
    if (listed.empty()) return "the PAT lists no programme";
    const uint16_t followed =
        extractor.ProgramNumber() != 0 ? extractor.ProgramNumber() : requested;
    return "programme " + std::to_string(followed) + " is not in the PAT (programmes: " + listed +
           ")";
}

// Why the input gave no PMT.
std::string NothingFound(const tsdemux::PmtExtractor& extractor, const InputStream& input,
                         uint16_t requested, uint64_t bytes_read) {
    const uint64_t bad_crc = extractor.BadCrcSections();
    const std::string crc_note =
        bad_crc == 0 ? "" : " (" + std::to_string(bad_crc) + " sections failed the CRC check)";
    if (extractor.Reader().Packets() == 0) {
        return "no transport-stream packets in " + input.Name();
    }
    if (!extractor.PatComplete()) {
        return "no PAT in " + std::to_string(bytes_read) + " bytes of " + input.Name() + crc_note;
    }
    if (extractor.ProgrammeMissing()) return ProgrammeMissing(extractor, requested);
    return "no valid PMT of programme " + std::to_string(extractor.ProgramNumber()) + " on PID " +
           PidText(static_cast<unsigned>(extractor.PmtPid())) + " in " + input.Name() + crc_note;
}

void SayOnStderr(const std::string& message) {
    std::cout.flush();
    std::cerr << "trevalo-cli: pmt: " + message + "\n" << std::flush;  // in one write
}

// Sends each PMT found and prints what the service made of it. While following, a service that
// goes away is waited for and refilled with the current PMT. Only the first request goes to
// the service's well-known name, which may start it; after that requests go to the owner
// followed, so that a service someone stopped stays stopped.
class PmtSender {
  public:
    PmtSender(ServiceConnection& service, bool follow, bool json)
        : m_Service(service), m_Follow(follow), m_Json(json) {
        // Before the first request: the owner its reply comes from is then followed already.
        if (m_Follow) m_Service.FollowOwner();
    }

    void Send(const tsdemux::FoundPmt& pmt) {
        m_Current = pmt;
        while (true) {
            try {
                SendOnce(pmt);
                return;
            } catch (const CommandError& error) {
                // Not following, or a service that answers wrongly: that is the answer. A
                // service absent (nothing started it) is not there yet; one that stopped
                // answering after it took a PMT is waited for.
                if (!m_Follow || !NoServiceAnswered(error) ||
                    (m_Accepted == 0 && !ServiceIsAbsent(error))) {
                    throw;
                }
                if (m_Accepted != 0) SayOnStderr(error.what());
            }
            if (!AwaitService()) return;
        }
    }

    // While following: when the name of the service that took the current PMT has no owner or
    // another one now (a restart), waits for the service and sends that PMT again with reset.
    void KeepServiceFilled() {
        if (!m_Follow || m_Accepted == 0) return;
        m_Service.Pause(0);  // the owner's changes that came meanwhile
        if (m_Service.Client().Owner() == m_Owner) return;
        SayOnStderr(m_Service.Client().BusName() + " left the bus or was restarted");
        if (AwaitService()) Send(m_Current);
    }

    uint64_t Sent() const { return m_Sent; }
    uint64_t Accepted() const { return m_Accepted; }
    // The next section starts the catalogue afresh (reset), as after a rewritten recording.
    void StartOver() { m_Reset = true; }

  private:
    // False when interrupted first.
    bool AwaitService() {
        if (!WaitForService(m_Service, "pmt")) return false;
        m_Reset = true;  // a new instance holds an empty catalogue
        return true;
    }

    void SendOnce(const tsdemux::FoundPmt& pmt) {
        ++m_Sent;
        bool accepted = false;
        try {
            accepted = SendPmtSection(m_Service, pmt.section, pmt.program_number, m_Reset);
        } catch (const CommandError&) {
            if (m_Follow) m_Service.Client().AddressOwnerOnly(true);
            throw;
        }
        if (m_Follow) {
            // Who took it: a restart after this reply shows as another owner.
            m_Owner = m_Service.Client().ReplySender();
            m_Service.Client().AddressOwnerOnly(true);
        }
        std::optional<Catalogue> catalogue;
        if (accepted) catalogue = ReadCurrentCatalogue(m_Service);
        if (m_Json) PrintJson(pmt, catalogue);
        if (!accepted) {
            const std::string refused = "the service refused the " + Describe(pmt);
            if (!m_Follow) throw FailureAnswer(refused);
            SayOnStderr(refused);
            return;
        }
        if (!m_Json) PrintTable(pmt, *catalogue);
        m_Reset = false;
        ++m_Accepted;
        m_Last = std::move(*catalogue);
    }

    void PrintTable(const tsdemux::FoundPmt& pmt, const Catalogue& catalogue) const {
        std::cout << Describe(pmt) << ": catalogue rebuilt\n";
        if (m_Accepted == 0) {
            std::cout << FormatCatalogueTable(AllRows(catalogue));
        } else {
            const std::vector<CatalogueRow> changes = CatalogueChanges(m_Last, catalogue);
            std::cout << (changes.empty() ? "(no component changed)\n"
                                          : FormatCatalogueTable(changes));
        }
        std::cout.flush();
    }

    static void PrintJson(const tsdemux::FoundPmt& pmt, const std::optional<Catalogue>& catalogue) {
        Json::Value line(Json::objectValue);
        line[output::kProgramNum] = pmt.program_number;
        line[output::kPmtPid] = pmt.pid;
        line[output::kVersion] = pmt.version;
        line[output::kSectionBytes] = static_cast<Json::UInt64>(pmt.section.size());
        line[output::kAnswer] = catalogue ? 0 : 1;
        line[output::kCatalogue] = catalogue ? CatalogueJson(*catalogue) : Json::Value();
        std::cout << trevalo_json::WriteCompact(line) << std::endl;  // a line at a time
    }

    ServiceConnection& m_Service;
    bool m_Follow;
    bool m_Json;
    bool m_Reset = true;  // the first section the service takes starts afresh
    uint64_t m_Sent = 0;
    uint64_t m_Accepted = 0;
    Catalogue m_Last;
    tsdemux::FoundPmt m_Current;  // the PMT of the catalogue the service should hold
    std::string m_Owner;          // the unique name that took m_Current
};

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
    if (follow) CatchInterruption();  // before the bus: Ctrl-C from then on is a request to stop
    ServiceConnection service(context);

    std::vector<tsdemux::FoundPmt> found;
    const auto new_extractor = [&found, program] {
        return std::make_unique<tsdemux::PmtExtractor>(
            program, [&found](const tsdemux::FoundPmt& pmt) { found.push_back(pmt); });
    };
    std::unique_ptr<tsdemux::PmtExtractor> extractor = new_extractor();
    PmtSender sender(service, follow, arguments.Flag("--json"));
    ProgressLine progress(input.Name(), input.Size(), input.IsRegularFile());
    std::vector<uint8_t> chunk(kChunkSize);
    uint64_t bytes_read = 0;
    bool ended = false;
    // A live input (followed, or one that is not a file) may never end: say once when no PAT
    // comes for a while.
    const bool live = follow || !input.IsRegularFile();
    const auto started = std::chrono::steady_clock::now();
    const std::chrono::milliseconds pat_patience = PatPatience();
    bool said_no_pat = false;
    bool said_gone = false;

    while (!ended && !Interrupted()) {
        if (live && !said_no_pat && !extractor->PatComplete() &&
            std::chrono::steady_clock::now() - started >= pat_patience) {
            SayOnStderr("no PAT in the first " + std::to_string(bytes_read) + " bytes of " +
                        input.Name() + "; still reading (Ctrl-C stops)");
            said_no_pat = true;
        }
        // A pipe or a device is waited on with the bus: a lost bus, a restarted service and the
        // PAT's patience do not wait for its next bytes.
        if (!input.IsRegularFile() && !service.Pause(kPauseMs, input.Fd())) break;
        const ssize_t count = input.Read(chunk.data(), chunk.size());
        if (count < 0) continue;  // a signal: the loop condition decides
        if (count == 0 && follow && input.IsRegularFile()) {
            // Deleted: said once, and followed as it was opened until the path names a file
            // again. Renamed over (a new recording in its place): that one is read.
            const InputStream::PathNow path_now = input.Follow();
            if (path_now == InputStream::PathNow::kGone && !said_gone) {
                SayOnStderr(input.Name() + " was deleted: waiting for a file of that name " +
                            "(Ctrl-C stops)");
            }
            said_gone = path_now == InputStream::PathNow::kGone;
            const bool replaced = path_now == InputStream::PathNow::kAnotherFile;
            if (replaced) {
                SayOnStderr(input.Name() + " was replaced: reading the new file from the start");
                input.Reopen();
            }
            if (replaced || input.Size() < bytes_read) {
                // Rewritten from the start, shorter than what was read: read it afresh.
                if (!replaced) {
                    SayOnStderr(input.Name() + " was rewritten: reading it from the start");
                }
                input.Rewind();
                bytes_read = 0;
                found.clear();
                extractor = new_extractor();
                sender.StartOver();
                continue;
            }
            sender.KeepServiceFilled();
            service.Pause(kPauseMs);  // the loop's condition sees an interruption
            continue;
        }
        if (count == 0) {
            extractor->Finish();
            ended = true;
        } else {
            bytes_read += static_cast<uint64_t>(count);
            progress.Update(bytes_read);
            extractor->Feed(chunk.data(), static_cast<size_t>(count));
        }
        for (const tsdemux::FoundPmt& pmt : found) {
            progress.Erase();
            sender.Send(pmt);
            if (!follow) return kExitSuccess;
        }
        found.clear();
        if (extractor->ProgrammeMissing()) {
            progress.Erase();
            throw FailureAnswer(ProgrammeMissing(*extractor, program) +
                                (sender.Sent() == 0 ? "" : " any more"));
        }
        sender.KeepServiceFilled();
    }
    progress.Erase();
    // Ctrl-C before anything was sent is a request to stop, as for watch and listen.
    if (Interrupted() && sender.Sent() == 0) return kExitSuccess;
    if (sender.Sent() == 0) {
        throw FailureAnswer(NothingFound(*extractor, input, program, bytes_read));
    }
    if (sender.Accepted() == 0) throw FailureAnswer("the service refused every PMT it was sent");
    return kExitSuccess;
}

}  // namespace trevalo_cli
