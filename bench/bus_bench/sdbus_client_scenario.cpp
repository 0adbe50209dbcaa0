#include "sdbus_client_scenario.h"

#include <poll.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <stdexcept>

#include "statistics.h"
#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"

namespace bus_bench {
namespace {

namespace catalogue = trevalo_bus::catalogue;

void Check(int result, const char* what) {
    if (result < 0) throw std::runtime_error(std::string(what) + " failed: " + strerror(-result));
}

// An sd-bus connection of its own to the private bus.
class Connection {
  public:
    explicit Connection(const std::string& address) {
        Check(sd_bus_new(&m_Bus), "sd_bus_new");
        Check(sd_bus_set_address(m_Bus, address.c_str()), "sd_bus_set_address");
        Check(sd_bus_set_bus_client(m_Bus, 1), "sd_bus_set_bus_client");
        Check(sd_bus_start(m_Bus), "sd_bus_start");
    }
    ~Connection() { sd_bus_flush_close_unref(m_Bus); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    sd_bus* get() const { return m_Bus; }

    // Processes messages until `done` holds.
    void RunUntil(const std::function<bool()>& done) const {
        while (!done()) {
            const int result = sd_bus_process(m_Bus, nullptr);
            Check(result, "sd_bus_process");
            if (result == 0) Check(sd_bus_wait(m_Bus, 5000000), "sd_bus_wait");
        }
    }

  private:
    sd_bus* m_Bus = nullptr;
};

// Reads every value of the message from the read position on, as a client holding its contents
// would; returns how many basic values it read.
size_t ReadEverything(sd_bus_message* message) {
    size_t values = 0;
    char type = 0;
    const char* contents = nullptr;
    while (sd_bus_message_peek_type(message, &type, &contents) > 0) {
        if (type == SD_BUS_TYPE_ARRAY || type == SD_BUS_TYPE_VARIANT ||
            type == SD_BUS_TYPE_STRUCT || type == SD_BUS_TYPE_DICT_ENTRY) {
            Check(sd_bus_message_enter_container(message, type, contents), "enter");
            values += ReadEverything(message);
            Check(sd_bus_message_exit_container(message), "exit");
        } else {
            union {
                uint64_t number;
                const char* text;
                double real;
            } basic;
            Check(sd_bus_message_read_basic(message, type, &basic), "read");
            ++values;
        }
    }
    return values;
}

// A TCServer request: (s ay) in, (s ay) out.
sd_bus_message* NewRequest(sd_bus* bus, const std::string& server, const Request& request) {
    sd_bus_message* call = nullptr;
    Check(sd_bus_message_new_method_call(bus, &call, test_support::BusNameOf(server).c_str(),
                                         test_support::ObjectPathOf(server).c_str(),
                                         trevalo_bus::kInterface, "Request"),
          "new call");
    Check(sd_bus_message_append_basic(call, 's', request.body.c_str()), "append");
    Check(sd_bus_message_append_array(call, 'y', request.buffer.data(), request.buffer.size()),
          "append");
    return call;
}

// A TCServer reply as a client holds it: the body parsed, the buffer read.
void ReadTextReply(sd_bus_message* reply) {
    const char* body = nullptr;
    const void* buffer = nullptr;
    size_t size = 0;
    Check(sd_bus_message_read_basic(reply, 's', &body), "read body");
    Check(sd_bus_message_read_array(reply, 'y', &buffer, &size), "read buffer");
    Json::Value parsed;
    if (!trevalo_json::Parse(body, parsed)) throw std::runtime_error("reply body not JSON");
}

// Sends `call` (and unrefs it), reads the whole reply with `read`: the round trip in us.
double TimedCall(sd_bus* bus, sd_bus_message* call, void (*read)(sd_bus_message*)) {
    sd_bus_message* reply = nullptr;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const Clock::time_point start = Clock::now();
    const int result = sd_bus_call(bus, call, 0, &error, &reply);
    if (result >= 0) read(reply);
    const double us = Microseconds(Clock::now() - start);
    sd_bus_message_unref(call);
    sd_bus_message_unref(reply);
    if (result < 0) {
        const std::string name = error.name != nullptr ? error.name : strerror(-result);
        sd_bus_error_free(&error);
        throw std::runtime_error("call failed: " + name);
    }
    return us;
}

void ReadWhole(sd_bus_message* reply) {
    ReadEverything(reply);
}

sd_bus_message* NewGetAll(sd_bus* bus) {
    sd_bus_message* call = nullptr;
    Check(
        sd_bus_message_new_method_call(bus, &call, trevalo_bus::kBusName, trevalo_bus::kObjectPath,
                                       catalogue::kPropertiesInterface, "GetAll"),
        "new call");
    Check(sd_bus_message_append_basic(call, 's', catalogue::kInterface), "append");
    return call;
}

// What the listener and the requester have of the current channel change, and when.
struct ChangeSeen {
    bool properties = false;  // the new values from PropertiesChanged, read
    bool replied = false;     // the reply to SendPMTData, read
    Clock::time_point properties_at;
    Clock::time_point replied_at;
};

int OnPropertiesChanged(sd_bus_message* signal, void* data, sd_bus_error*) {
    const char* interface = nullptr;
    if (sd_bus_message_read_basic(signal, 's', &interface) < 0 ||
        std::strcmp(interface, catalogue::kInterface) != 0) {
        return 0;
    }
    ReadEverything(signal);
    auto* seen = static_cast<ChangeSeen*>(data);
    seen->properties = true;
    seen->properties_at = Clock::now();
    return 0;
}

int OnReply(sd_bus_message* reply, void* data, sd_bus_error*) {
    ReadTextReply(reply);
    auto* seen = static_cast<ChangeSeen*>(data);
    seen->replied = true;
    seen->replied_at = Clock::now();
    return 0;
}

// Processes the messages of both connections as they come, until `done` holds: neither waits
// while the other has something to read.
void RunBothUntil(const Connection& first, const Connection& second,
                  const std::function<bool()>& done) {
    while (!done()) {
        bool processed = false;
        for (const Connection* connection : {&first, &second}) {
            const int result = sd_bus_process(connection->get(), nullptr);
            Check(result, "sd_bus_process");
            processed = processed || result > 0;
        }
        if (processed) continue;
        pollfd fds[2];
        for (int k = 0; k < 2; ++k) {
            sd_bus* bus = (k == 0 ? first : second).get();
            fds[k] = {sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0};
        }
        if (poll(fds, 2, 5000) == 0) throw std::runtime_error("no message for 5 s");
    }
}

void PrintRatio(const char* what, const std::vector<double>& service_us,
                const std::vector<double>& echo_us) {
    std::vector<double> paired;
    for (size_t i = 0; i < service_us.size(); ++i) paired.push_back(echo_us[i] / service_us[i]);
    std::printf("  %-34s %9.1f %9.1f %10.2f %12.2f\n", what, Median(service_us), Median(echo_us),
                Median(echo_us) / Median(service_us), Median(paired));
}

const Section& OtherProgramme(const std::vector<Section>& sections, const Section& largest) {
    const Section* other = nullptr;
    for (const Section& section : sections) {
        if (section.programNumber == largest.programNumber) continue;
        if (other == nullptr || section.bytes.size() > other->bytes.size()) other = &section;
    }
    if (other == nullptr) throw std::runtime_error("no section of another programme");
    return *other;
}

}  // namespace

void RunSdBusClientScenario(const std::string& bus_address, const std::string& echo_server,
                            const std::vector<Section>& sections, const Section& largest,
                            int audio_tag, int rounds, const std::string& part) {
    namespace method = trevalo_bus::method;
    const Connection caller(bus_address);
    const Connection listener(bus_address);
    const std::string service = trevalo_bus::kServerName;
    const int count = rounds * 25;
    const Section& other = OtherProgramme(sections, largest);
    std::printf(
        "\nsd-bus clients, %d of each (p50 in us; rate vs echo = echo p50 / service p50, "
        "paired = median of echo/service over back-to-back pairs); channel change between "
        "%s.sec and %s.sec\n",
        count, largest.name.c_str(), other.name.c_str());
    std::printf("  %-34s %9s %9s %10s %12s\n", "request", "service", "sd-echo", "rate/echo",
                "paired");

    // The two SendPMTData side by side, and the queries, each paired with the same message to
    // the echo, the order alternating. A request of two forms alternates between them.
    struct Paired {
        const char* part;
        const char* name;
        Request first;
        Request second;
    };
    const Request resend = SendPmt(largest, false);
    const Paired requests[] = {
        {"resend", "SendPMTData, largest resent", resend, resend},
        {"change", "SendPMTData, channel change", SendPmt(largest, true), SendPmt(other, true)},
        {"", "SizeOfAudio", Query(method::kSizeOfAudio), Query(method::kSizeOfAudio)},
        {"", "GetAudio 0", Query(method::kGetAudio, 0), Query(method::kGetAudio, 0)},
        {"", "GetPID", Query(method::kGetPID, audio_tag), Query(method::kGetPID, audio_tag)}};
    for (const Paired& paired : requests) {
        if (!part.empty() && part != paired.part) continue;
        std::vector<double> service_us, echo_us;
        for (int i = 0; i < count; ++i) {
            const Request& request = i % 2 == 0 ? paired.first : paired.second;
            for (int k = 0; k < 2; ++k) {
                const bool to_service = (k == 0) == (i % 2 == 0);
                const double us =
                    TimedCall(caller.get(),
                              NewRequest(caller.get(), to_service ? service : echo_server, request),
                              ReadTextReply);
                (to_service ? service_us : echo_us).push_back(us);
            }
        }
        PrintRatio(paired.name, service_us, echo_us);
    }
    if (!part.empty()) return;

    // The rest needs the catalogue interface (--service may name a build from before it).
    try {
        TimedCall(caller.get(), NewGetAll(caller.get()), ReadWhole);
    } catch (const std::runtime_error& failure) {
        std::printf("  no catalogue interface (%s): nothing more to measure\n", failure.what());
        return;
    }

    // The whole catalogue in one call: the interface's GetAll against GetCatalogue.
    {
        std::vector<double> get_all_us, get_catalogue_us;
        const Request whole = Query(method::kGetCatalogue);
        for (int i = 0; i < count; ++i) {
            for (int k = 0; k < 2; ++k) {
                if ((k == 0) == (i % 2 == 0)) {
                    get_all_us.push_back(
                        TimedCall(caller.get(), NewGetAll(caller.get()), ReadWhole));
                } else {
                    get_catalogue_us.push_back(TimedCall(
                        caller.get(), NewRequest(caller.get(), service, whole), ReadTextReply));
                }
            }
        }
        std::vector<double> paired;
        for (int i = 0; i < count; ++i) paired.push_back(get_catalogue_us[i] / get_all_us[i]);
        std::printf(
            "  GetAll(Catalogue1) p50 %.1f us, GetCatalogue p50 %.1f us: GetAll faster "
            "%.2fx (paired median %.2fx)\n",
            Median(get_all_us), Median(get_catalogue_us),
            Median(get_catalogue_us) / Median(get_all_us), Median(paired));
    }

    // The channel change as a listener on a second connection sees it: when it holds the new
    // values from PropertiesChanged, against when the requester holds its reply, both from
    // sending SendPMTData; the echo's round trip of the same request is the yardstick.
    ChangeSeen seen;
    sd_bus_slot* properties_match = nullptr;
    Check(sd_bus_match_signal(listener.get(), &properties_match, nullptr, trevalo_bus::kObjectPath,
                              catalogue::kPropertiesInterface, catalogue::kPropertiesChanged,
                              OnPropertiesChanged, &seen),
          "match");
    std::vector<double> properties_us, reply_us, echo_us;
    // Each change must change the catalogue: the service holds the largest section first, and
    // the signal that may have announced it is read (it came before the reply to the Ping).
    TimedCall(caller.get(), NewRequest(caller.get(), service, SendPmt(largest, true)),
              ReadTextReply);
    sd_bus_message* pong = nullptr;
    Check(sd_bus_call_method(listener.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus.Peer", "Ping", nullptr, &pong, ""),
          "Ping");
    sd_bus_message_unref(pong);
    while (sd_bus_process(listener.get(), nullptr) > 0) {
    }
    for (int i = 0; i < count; ++i) {
        const Request change = SendPmt(i % 2 == 0 ? other : largest, true);
        echo_us.push_back(
            TimedCall(caller.get(), NewRequest(caller.get(), echo_server, change), ReadTextReply));
        seen = ChangeSeen();
        sd_bus_message* call = NewRequest(caller.get(), service, change);
        const Clock::time_point start = Clock::now();
        Check(sd_bus_call_async(caller.get(), nullptr, call, OnReply, &seen, 0), "send");
        sd_bus_message_unref(call);
        RunBothUntil(caller, listener, [&] { return seen.properties && seen.replied; });
        properties_us.push_back(Microseconds(seen.properties_at - start));
        reply_us.push_back(Microseconds(seen.replied_at - start));
    }
    sd_bus_slot_unref(properties_match);
    std::vector<double> signal_first;
    for (size_t i = 0; i < properties_us.size(); ++i) {
        signal_first.push_back(properties_us[i] <= reply_us[i] ? 1 : 0);
    }
    const double echo = Median(echo_us);
    std::printf(
        "  channel change, from sending SendPMTData (echo round trip of that request p50 "
        "%.1f us):\n"
        "    the listener holds the new values from PropertiesChanged p50 %.1f us = %.2f echo "
        "round trips\n"
        "    the requester holds its reply                            p50 %.1f us = %.2f echo "
        "round trips\n"
        "    the listener first in %.0f %% of the changes\n",
        echo, Median(properties_us), Median(properties_us) / echo, Median(reply_us),
        Median(reply_us) / echo,
        100.0 * std::count(signal_first.begin(), signal_first.end(), 1.0) /
            static_cast<double>(signal_first.size()));
}

}  // namespace bus_bench
