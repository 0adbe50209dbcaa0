// Harness: load put on a server over a private bus. A flooder sends no-reply requests from a
// thread of its own as fast as the bus daemon takes them; a stalled listener subscribes to a
// signal and then never reads its socket, as a hung client does.
#ifndef TESTS_HARNESS_BUS_LOAD_H
#define TESTS_HARNESS_BUS_LOAD_H

#include <atomic>
#include <string>
#include <thread>

#include "files.h"
#include "private_bus.h"

namespace test_support {

// How long a stop may take: SIGTERM or SIGINT to the process gone, whatever the bus is doing.
constexpr int kStopBoundMs = 1000;

class Flooder {
  public:
    // Sends Request(body, buffer) with no reply expected to the service, until destroyed, the
    // connection fails, or a bounded flood (kMaxSeconds, kMaxMessages) is over.
    Flooder(const PrivateBus& bus, std::string body, Bytes buffer = {});
    ~Flooder();
    Flooder(const Flooder&) = delete;
    Flooder& operator=(const Flooder&) = delete;

    // Waits until `count` requests have reached the bus daemon; false after `timeout_ms`.
    bool WaitForSent(size_t count, int timeout_ms = 10000) const;
    size_t Sent() const { return m_Sent.load(); }

    static constexpr int kMaxSeconds = 30;
    static constexpr size_t kMaxMessages = 2000000;

  private:
    void Run(std::string address, std::string body, Bytes buffer);

    std::atomic<bool> m_Stop{false};
    std::atomic<size_t> m_Sent{0};
    std::thread m_Thread;
};

// A connection to `bus` that has subscribed to `signal_name` from the service and reads nothing
// more: the daemon queues every such signal for it.
class StalledListener {
  public:
    StalledListener(const PrivateBus& bus, const std::string& signal_name);
    ~StalledListener();
    StalledListener(const StalledListener&) = delete;
    StalledListener& operator=(const StalledListener&) = delete;

    // True once the subscription is in force.
    bool Subscribed() const { return m_Subscribed; }

  private:
    int m_Socket = -1;
    bool m_Subscribed = false;
};

}  // namespace test_support

#endif
