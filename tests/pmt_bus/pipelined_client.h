// Many requests in flight on one bare GDBus connection: the service answers them one at a time,
// in the order they were sent, so a long run of requests costs little more than the service's
// own work.
#ifndef TESTS_PMT_BUS_PIPELINED_CLIENT_H
#define TESTS_PMT_BUS_PIPELINED_CLIENT_H

#include <gio/gio.h>

#include <string>
#include <vector>

#include "bus_fixture.h"

namespace pmt_bus {

struct Request {
    std::string body;
    test_support::Bytes buffer;
};

class PipelinedClient {
  public:
    // Uses the connection of `client` (which must outlive this object) and its server names.
    explicit PipelinedClient(const test_support::RawClient& client) : m_Client(client) {}

    // Sends every request, keeping at most `window` unanswered, and returns the replies in the
    // order of the requests. A reply that does not come within `timeout_ms` is a failed reply
    // whose error_name says so.
    std::vector<test_support::Reply> Send(const std::vector<Request>& requests,
                                          int timeout_ms = 60000);

  private:
    struct Pending;
    static void OnReply(GObject* source, GAsyncResult* result, gpointer data);

    const test_support::RawClient& m_Client;
    static constexpr size_t kWindow = 64;
};

}  // namespace pmt_bus

#endif
