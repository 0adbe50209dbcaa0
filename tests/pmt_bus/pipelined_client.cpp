#include "pipelined_client.h"

#include <memory>

namespace pmt_bus {

struct PipelinedClient::Pending {
    std::vector<test_support::Reply>* replies;
    size_t index;
    size_t* unanswered;
};

void PipelinedClient::OnReply(GObject* source, GAsyncResult* result, gpointer data) {
    std::unique_ptr<Pending> pending(static_cast<Pending*>(data));
    test_support::Reply& reply = (*pending->replies)[pending->index];
    GError* error = nullptr;
    GVariant* answer = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
    --*pending->unanswered;
    if (answer == nullptr) {
        reply = test_support::ReplyFromError(error);
        g_error_free(error);
        return;
    }
    reply = test_support::ReplyFromTuple(answer);
    g_variant_unref(answer);
}

std::vector<test_support::Reply> PipelinedClient::Send(const std::vector<Request>& requests,
                                                       int timeout_ms) {
    std::vector<test_support::Reply> replies(requests.size());
    size_t unanswered = 0;
    size_t next = 0;
    while (next < requests.size() || unanswered > 0) {
        while (next < requests.size() && unanswered < kWindow) {
            const Request& request = requests[next];
            GVariant* children[] = {
                g_variant_new_string(request.body.c_str()),
                g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, request.buffer.data(),
                                          request.buffer.size(), 1)};
            ++unanswered;
            g_dbus_connection_call(
                m_Client.Connection(), m_Client.BusName().c_str(), m_Client.ObjectPath().c_str(),
                "org.ondrel.TCServer", "Request", g_variant_new_tuple(children, 2),
                G_VARIANT_TYPE("(say)"), G_DBUS_CALL_FLAGS_NONE, timeout_ms, nullptr,
                &PipelinedClient::OnReply, new Pending{&replies, next, &unanswered});
            ++next;
        }
        g_main_context_iteration(nullptr, TRUE);
    }
    return replies;
}

}  // namespace pmt_bus
