// A flood of SendPMTData requests as a busy or buggy client sends them: one PMT section, back to
// back, from one or more sd-bus connections (a thread each), every call with a time-out. It runs
// on a box beside the installed service (the system test copies it into its container) and
// prints one line: requests sent, the rate answered, D-Bus errors by name, the longest call.
// Exits 1 when a call took longer than its time-out and a second (a client would hang), or when
// no call was answered.
//
//   bus_flood --section FILE [--address ADDRESS] [--clients N] [--seconds S | --requests N]
//             [--timeout-ms T]
//
//   --section     a PMT section (a .sec file); its program_number goes in "programNum"
//   --address     the bus (default: the system bus)
//   --clients     concurrent connections (default 1)
//   --seconds     how long each client sends (default 10); --requests: how many each sends
//   --timeout-ms  each call's time-out (default 5000)
#include <systemd/sd-bus.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "trevalo/bus_contract.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    std::string section;
    std::string address;  // empty: the system bus
    int clients = 1;
    double seconds = 10;
    long requests = 0;  // per client; 0: for `seconds`
    int timeout_ms = 5000;
};

struct Tally {
    std::mutex lock;
    long sent = 0;
    long answered = 0;  // "return_data" 0: the catalogue rebuilt
    long other_answers = 0;
    std::map<std::string, long> errors;  // D-Bus error name, or the errno text without a bus
    double longest_ms = 0;
};

sd_bus* Connect(const std::string& address) {
    sd_bus* bus = nullptr;
    int result = 0;
    if (address.empty()) {
        result = sd_bus_open_system(&bus);
    } else {
        result = sd_bus_new(&bus);
        if (result >= 0) result = sd_bus_set_address(bus, address.c_str());
        if (result >= 0) result = sd_bus_set_bus_client(bus, 1);
        if (result >= 0) result = sd_bus_start(bus);
    }
    if (result < 0) {
        sd_bus_unref(bus);
        return nullptr;
    }
    return bus;
}

// One call, counted in `tally` by its outcome and length.
void Call(sd_bus* bus, const std::string& body, const std::vector<uint8_t>& section,
          uint64_t timeout_us, Tally& tally) {
    sd_bus_message* call = nullptr;
    sd_bus_message* reply = nullptr;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const Clock::time_point start = Clock::now();
    int result =
        sd_bus_message_new_method_call(bus, &call, trevalo_bus::kBusName, trevalo_bus::kObjectPath,
                                       trevalo_bus::kInterface, trevalo_bus::kRequestMethod);
    if (result >= 0) result = sd_bus_message_append_basic(call, 's', body.c_str());
    if (result >= 0)
        result = sd_bus_message_append_array(call, 'y', section.data(), section.size());
    if (result >= 0) result = sd_bus_call(bus, call, timeout_us, &error, &reply);
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    const char* text = nullptr;
    const bool rebuilt = result >= 0 && sd_bus_message_read_basic(reply, 's', &text) > 0 &&
                         std::strstr(text, "\"return_data\":0") != nullptr;
    std::lock_guard<std::mutex> hold(tally.lock);
    ++tally.sent;
    tally.longest_ms = std::max(tally.longest_ms, ms);
    if (result < 0) {
        ++tally.errors[error.name != nullptr ? error.name : std::strerror(-result)];
    } else if (rebuilt) {
        ++tally.answered;
    } else {
        ++tally.other_answers;
    }
    sd_bus_error_free(&error);
    sd_bus_message_unref(reply);
    sd_bus_message_unref(call);
}

void RunClient(const Options& options, const std::vector<uint8_t>& section, Tally& tally) {
    const int program = section.size() > 4 ? section[3] << 8 | section[4] : 0;
    const std::string body =
        std::string("{\"method\":\"") + trevalo_bus::method::kSendPMTData +
        "\",\"data\":{\"reset\":true,\"programNum\":" + std::to_string(program) + "}}";
    const Clock::time_point end =
        Clock::now() +
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options.seconds));
    sd_bus* bus = Connect(options.address);
    for (long i = 0; options.requests > 0 ? i < options.requests : Clock::now() < end; ++i) {
        if (bus == nullptr || sd_bus_is_open(bus) <= 0) {
            // The bus went away under us: a new connection, as a client that lives on makes.
            bus = sd_bus_flush_close_unref(bus);
            bus = Connect(options.address);
            if (bus == nullptr) {
                std::lock_guard<std::mutex> hold(tally.lock);
                ++tally.sent;
                ++tally.errors["no bus"];
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                continue;
            }
        }
        Call(bus, body, section, static_cast<uint64_t>(options.timeout_ms) * 1000, tally);
    }
    sd_bus_flush_close_unref(bus);
}

int Main(int argc, char** argv) {
    Options options;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string name = argv[i];
        const char* value = argv[i + 1];
        if (name == "--section") {
            options.section = value;
        } else if (name == "--address") {
            options.address = value;
        } else if (name == "--clients") {
            options.clients = std::max(1, std::atoi(value));
        } else if (name == "--seconds") {
            options.seconds = std::atof(value);
        } else if (name == "--requests") {
            options.requests = std::max(1L, std::atol(value));
        } else if (name == "--timeout-ms") {
            options.timeout_ms = std::max(1, std::atoi(value));
        } else {
            options.section.clear();
            break;
        }
    }
    std::ifstream file(options.section, std::ios::binary);
    const std::vector<uint8_t> section{std::istreambuf_iterator<char>(file),
                                       std::istreambuf_iterator<char>()};
    if (argc % 2 == 0 || section.empty()) {
        std::fprintf(stderr,
                     "usage: %s --section FILE [--address ADDRESS] [--clients N] "
                     "[--seconds S | --requests N] [--timeout-ms T]\n",
                     argv[0]);
        return 2;
    }

    Tally tally;
    const Clock::time_point start = Clock::now();
    std::vector<std::thread> clients;
    for (int k = 0; k < options.clients; ++k) {
        clients.emplace_back(RunClient, std::cref(options), std::cref(section), std::ref(tally));
    }
    for (std::thread& client : clients) client.join();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

    std::printf(
        "bus_flood: %d clients, %ld requests in %.1f s: %.0f answered a second; %ld "
        "answered, %ld other answers, %ld errors",
        options.clients, tally.sent, seconds, tally.answered / seconds, tally.answered,
        tally.other_answers, tally.sent - tally.answered - tally.other_answers);
    for (const auto& [name, count] : tally.errors) std::printf(" (%s x%ld)", name.c_str(), count);
    std::printf("; longest call %.0f ms (time-out %d ms)\n", tally.longest_ms, options.timeout_ms);
    const bool hung = tally.longest_ms > options.timeout_ms + 1000;
    return hung || tally.answered == 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    return Main(argc, argv);
}
