#include "catalogue_scenario.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <future>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

#include "statistics.h"
#include "trevalo/bus_contract.h"

namespace bus_bench {
namespace {

using test_support::RawClient;
namespace member = trevalo_bus::member;
namespace method = trevalo_bus::method;

// The catalogue as {"video": [...], "audio": [...], "subtitle": [...]}, plus "pids" by tag for
// the classic way; counts the requests it took in `requests`.
Json::Value CatalogueTheClassicWay(RawClient& service, size_t& requests) {
    Json::Value catalogue(Json::objectValue);
    std::set<int> tags;
    for (const CatalogueList& list : kCatalogueLists) {
        Json::Value& entries = catalogue[list.list] = Json::Value(Json::arrayValue);
        const int size = ReturnData(service, Query(list.size_of)).asInt();
        ++requests;
        for (int index = 0; index < size; ++index) {
            const Json::Value text = ReturnData(service, Query(list.get, index));
            ++requests;
            tags.insert(entries.append(EntryOf(text))[member::kCompTag].asInt());
        }
    }
    Json::Value& pids = catalogue["pids"] = Json::Value(Json::objectValue);
    for (int tag : tags) {
        pids[std::to_string(tag)] = ReturnData(service, Query(method::kGetPID, tag));
        ++requests;
    }
    return catalogue;
}

Json::Value CatalogueInOneCall(RawClient& service) {
    return ReturnData(service, Query(method::kGetCatalogue));
}

// A second client on a thread of its own: reads the whole catalogue whenever the service
// announces one, and notes when it holds it.
class CatalogueListener {
  public:
    explicit CatalogueListener(const test_support::PrivateBus& bus)
        : m_Context(g_main_context_new()) {
        std::promise<void> subscribed;
        m_Thread = std::thread([this, &bus, &subscribed] {
            g_main_context_push_thread_default(m_Context);
            {
                RawClient service(bus);
                RawClient announcements(bus);
                announcements.Subscribe(
                    trevalo_bus::kCatalogueChanged,
                    [this, &service](const test_support::Reply&) { OnCatalogueChanged(service); });
                subscribed.set_value();
                while (!m_Stop) g_main_context_iteration(m_Context, TRUE);
            }
            while (g_main_context_iteration(m_Context, FALSE)) {
            }
            g_main_context_pop_thread_default(m_Context);
        });
        subscribed.get_future().wait();
    }
    ~CatalogueListener() {
        m_Stop = true;
        g_main_context_wakeup(m_Context);
        m_Thread.join();
        g_main_context_unref(m_Context);
    }
    CatalogueListener(const CatalogueListener&) = delete;
    CatalogueListener& operator=(const CatalogueListener&) = delete;

    // The moment the listener held the catalogue of the `count`-th announcement (from 1).
    Clock::time_point WaitForCatalogue(size_t count) {
        std::unique_lock<std::mutex> lock(m_Mutex);
        if (!m_Changed.wait_for(lock, std::chrono::seconds(10),
                                [&] { return m_Held.size() >= count || m_Failed; })) {
            throw std::runtime_error("no CatalogueChanged from the service");
        }
        if (m_Failed) throw std::runtime_error("the listener could not read the catalogue");
        return m_Held[count - 1];
    }

  private:
    void OnCatalogueChanged(RawClient& service) {
        bool held_it = true;
        try {
            held_it = CatalogueInOneCall(service).isObject();
        } catch (const std::exception&) {
            held_it = false;
        }
        const Clock::time_point held = Clock::now();
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Held.push_back(held);
        m_Failed = m_Failed || !held_it;
        m_Changed.notify_one();
    }

    GMainContext* m_Context;
    std::thread m_Thread;
    std::atomic<bool> m_Stop{false};
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::vector<Clock::time_point> m_Held;
    bool m_Failed = false;
};

void PrintLatencies(const char* label, const Series& series, const char* extra) {
    std::printf("  %-34s %7.1f us mean %7.1f p50 %7.1f p99%s\n", label, Mean(series.latency_us),
                series.Percentile(0.50), series.Percentile(0.99), extra);
}

}  // namespace

void RunWholeCatalogueScenario(const test_support::PrivateBus& bus,
                               const std::vector<Section>& sections, int rounds) {
    RawClient service(bus);
    // Both ways must hold the same catalogue; the classic way takes this many requests.
    size_t classic_requests = 0;
    for (const Section& section : sections) {
        ChangeChannel(service, section);
        ++classic_requests;
        const Json::Value classic = CatalogueTheClassicWay(service, classic_requests);
        Json::Value whole = CatalogueInOneCall(service);
        for (const CatalogueList& list : kCatalogueLists) {
            if (whole[list.list] != classic[list.list]) {
                throw std::runtime_error(section.name + ": GetCatalogue differs from the " +
                                         list.list + " entries read one by one");
            }
        }
    }
    std::vector<Series> classic(sections.size()), whole(sections.size());
    for (int round = 0; round < rounds * 5; ++round) {
        for (size_t s = 0; s < sections.size(); ++s) {
            for (int which = 0; which < 2; ++which) {
                const bool classic_turn = (which == 0) == ((round + s) % 2 == 0);
                const auto start = Clock::now();
                ChangeChannel(service, sections[s]);
                size_t ignored = 0;
                const Json::Value held = classic_turn ? CatalogueTheClassicWay(service, ignored)
                                                      : CatalogueInOneCall(service);
                (classic_turn ? classic : whole)[s].latency_us.push_back(
                    Microseconds(Clock::now() - start));
                if (!held.isObject()) throw std::runtime_error("no catalogue");
            }
        }
    }
    Series classic_all, whole_all;
    std::vector<double> ratios;
    for (size_t s = 0; s < sections.size(); ++s) {
        ratios.push_back(classic[s].TrimmedMeanUs() / whole[s].TrimmedMeanUs());
        for (Series* pair : {&classic[s], &whole[s]}) {
            Series& all = pair == &classic[s] ? classic_all : whole_all;
            all.latency_us.insert(all.latency_us.end(), pair->latency_us.begin(),
                                  pair->latency_us.end());
        }
    }
    std::printf(
        "whole catalogue per channel change, from sending the PMT to holding it "
        "(%zu sections, %zu changes each way):\n",
        sections.size(), classic_all.latency_us.size());
    char requests[64];
    std::snprintf(requests, sizeof requests, "  (%.2f requests)",
                  static_cast<double>(classic_requests) / sections.size());
    PrintLatencies("classic: sizes, entries, GetPID", classic_all, requests);
    PrintLatencies("new: GetCatalogue", whole_all, "  (2 requests)");
    std::printf(
        "  new faster by %.2fx on the mean of all changes (%.2fx without the slowest "
        "1 %%); per section %.2fx on average, from %.2fx to %.2fx\n",
        Mean(classic_all.latency_us) / Mean(whole_all.latency_us),
        classic_all.TrimmedMeanUs() / whole_all.TrimmedMeanUs(), Mean(ratios),
        *std::min_element(ratios.begin(), ratios.end()),
        *std::max_element(ratios.begin(), ratios.end()));

    // The listener: from "SendPMTData" answered here to the catalogue held there.
    Series announced;
    {
        CatalogueListener listener(bus);
        size_t changes = 0;
        for (int round = 0; round < rounds; ++round) {
            for (const Section& section : sections) {
                ChangeChannel(service, section);
                const auto answered = Clock::now();
                announced.latency_us.push_back(
                    Microseconds(listener.WaitForCatalogue(++changes) - answered));
            }
        }
    }
    PrintLatencies("listener, answer to catalogue held", announced, "");
    std::printf("\n");
}

}  // namespace bus_bench
