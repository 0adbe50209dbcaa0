#include "bus_load.h"

#include <gio/gio.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace test_support {
namespace {

using Clock = std::chrono::steady_clock;

// Requests written at once, and batches in flight.
constexpr size_t kBatch = 64;
constexpr guint32 kWindow = 4;

GDBusMessage* NoReplyRequest(const std::string& body, const Bytes& buffer) {
    GDBusMessage* message =
        g_dbus_message_new_method_call(trevalo_bus::kBusName, trevalo_bus::kObjectPath,
                                       trevalo_bus::kInterface, trevalo_bus::kRequestMethod);
    GVariant* children[] = {
        g_variant_new_string(body.c_str()),
        g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, buffer.data(), buffer.size(), 1)};
    g_dbus_message_set_body(message, g_variant_new_tuple(children, 2));
    g_dbus_message_set_flags(message, G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED);
    return message;
}

// The unix socket of a "unix:path=..." or "unix:abstract=..." address; -1 when it cannot connect.
int ConnectSocket(const std::string& address) {
    sockaddr_un where = {};
    where.sun_family = AF_UNIX;
    socklen_t length = 0;
    for (const char* key : {"path=", "abstract="}) {
        const size_t at = address.find(key);
        if (at == std::string::npos) continue;
        const size_t from = at + std::strlen(key);
        const std::string value = address.substr(from, address.find(',', from) - from);
        const bool abstract = key[0] == 'a';
        if (value.size() + 1 >= sizeof where.sun_path) return -1;
        std::memcpy(where.sun_path + (abstract ? 1 : 0), value.data(), value.size());
        length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + value.size() +
                                        (abstract ? 1 : 0));
        break;
    }
    if (length == 0) return -1;
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (connect(fd, reinterpret_cast<sockaddr*>(&where), length) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// Writes everything unless `stop` is set meanwhile or the peer goes.
bool WriteAll(int fd, const void* data, size_t length, const std::atomic<bool>& stop) {
    const auto* bytes = static_cast<const char*>(data);
    while (length > 0 && !stop) {
        pollfd wanted = {fd, POLLOUT, 0};
        if (poll(&wanted, 1, 50) <= 0) continue;
        const ssize_t n = send(fd, bytes, length, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (n <= 0) return false;
        bytes += n;
        length -= static_cast<size_t>(n);
    }
    return length == 0;
}

bool WriteAll(int fd, const void* data, size_t length) {
    const std::atomic<bool> never{false};
    return WriteAll(fd, data, length, never);
}

// Reads what arrives within 50 ms and appends it; false when the peer has gone.
bool ReadSome(int fd, std::string& into) {
    pollfd wanted = {fd, POLLIN, 0};
    if (poll(&wanted, 1, 50) <= 0) return true;
    char chunk[4096];
    const ssize_t n = read(fd, chunk, sizeof chunk);
    if (n <= 0) return false;
    into.append(chunk, static_cast<size_t>(n));
    return true;
}

bool SendMessage(int fd, GDBusMessage* message, guint32 serial) {
    g_dbus_message_set_serial(message, serial);
    gsize size = 0;
    guchar* blob = g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
    g_object_unref(message);
    const bool sent = blob != nullptr && WriteAll(fd, blob, size);
    g_free(blob);
    return sent;
}

// Reads messages into `received` until the reply to `serial` arrives: its type (a method return
// or an error), or G_DBUS_MESSAGE_TYPE_INVALID after `deadline`, when `stop` is set or the peer
// goes. What follows the reply stays in `received`.
GDBusMessageType WaitForReply(int fd, std::string& received, guint32 serial,
                              Clock::time_point deadline, const std::atomic<bool>& stop) {
    while (!stop && Clock::now() < deadline) {
        while (received.size() >= 16) {
            auto* bytes = reinterpret_cast<guchar*>(&received[0]);
            const gssize needed = g_dbus_message_bytes_needed(bytes, 16, nullptr);
            if (needed <= 0 || static_cast<size_t>(needed) > received.size()) break;
            GDBusMessage* message = g_dbus_message_new_from_blob(
                bytes, static_cast<gsize>(needed), G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
            received.erase(0, static_cast<size_t>(needed));
            if (message == nullptr) return G_DBUS_MESSAGE_TYPE_INVALID;
            const GDBusMessageType type = g_dbus_message_get_message_type(message);
            const bool answered =
                g_dbus_message_get_reply_serial(message) == serial &&
                (type == G_DBUS_MESSAGE_TYPE_METHOD_RETURN || type == G_DBUS_MESSAGE_TYPE_ERROR);
            g_object_unref(message);
            if (answered) return type;
        }
        if (!ReadSome(fd, received)) break;
    }
    return G_DBUS_MESSAGE_TYPE_INVALID;
}

GDBusMessage* DaemonCall(const char* method, GVariant* arguments) {
    GDBusMessage* message = g_dbus_message_new_method_call(
        "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method);
    if (arguments != nullptr) g_dbus_message_set_body(message, arguments);
    return message;
}

// A connection to the bus at `address`, authenticated and said Hello to, with `match_rule` added
// when not empty; -1 on failure.
int ConnectAsClient(const std::string& address, std::string& received,
                    const std::string& match_rule = "") {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    const std::atomic<bool> never{false};
    const int fd = ConnectSocket(address);
    if (fd < 0) return -1;
    char uid[32];
    std::snprintf(uid, sizeof uid, "%u", static_cast<unsigned>(getuid()));
    std::string auth("\0AUTH EXTERNAL ", 15);
    for (const char* c = uid; *c != '\0'; ++c) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02x", static_cast<unsigned char>(*c));
        auth += hex;
    }
    auth += "\r\n";
    bool ready = WriteAll(fd, auth.data(), auth.size());
    while (ready && received.find("\r\n") == std::string::npos && Clock::now() < deadline) {
        ready = ReadSome(fd, received);
    }
    ready = ready && received.rfind("OK ", 0) == 0 && WriteAll(fd, "BEGIN\r\n", 7) &&
            SendMessage(fd, DaemonCall("Hello", nullptr), 1);
    guint32 last = 1;
    if (ready && !match_rule.empty()) {
        // Sent before any reply is read: the daemon answers in order, so one wait covers both.
        ready = SendMessage(fd, DaemonCall("AddMatch", g_variant_new("(s)", match_rule.c_str())),
                            ++last);
    }
    received.clear();
    ready = ready &&
            WaitForReply(fd, received, last, deadline, never) == G_DBUS_MESSAGE_TYPE_METHOD_RETURN;
    if (!ready) {
        close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

Flooder::Flooder(const PrivateBus& bus, std::string body, Bytes buffer)
    : m_Thread(&Flooder::Run, this, bus.Address(), std::move(body), std::move(buffer)) {}

Flooder::~Flooder() {
    m_Stop = true;
    m_Thread.join();
}

void Flooder::Run(std::string address, std::string body, Bytes buffer) {
    const auto deadline = Clock::now() + std::chrono::seconds(kMaxSeconds);
    std::string received;
    const int fd = ConnectAsClient(address, received);
    if (fd < 0) return;
    // One request's bytes, written again and again: no reply is expected to tell them apart.
    GDBusMessage* request = NoReplyRequest(body, buffer);
    g_dbus_message_set_serial(request, 3);
    gsize size = 0;
    guchar* blob = g_dbus_message_to_blob(request, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
    g_object_unref(request);
    std::string batch;
    for (size_t i = 0; i < kBatch && blob != nullptr; ++i) {
        batch.append(reinterpret_cast<const char*>(blob), size);
    }
    g_free(blob);
    // Each batch is followed by a ping the service answers once it has read the batch. Waiting
    // for the answer to the ping kWindow batches back keeps the service always busy while the
    // daemon never holds more than kWindow batches of ours for it.
    constexpr guint32 kFirstPing = 4;
    for (guint32 serial = kFirstPing;
         !batch.empty() && !m_Stop && m_Sent < kMaxMessages && Clock::now() < deadline; ++serial) {
        GDBusMessage* ping = g_dbus_message_new_method_call(
            trevalo_bus::kBusName, trevalo_bus::kObjectPath, "org.freedesktop.DBus.Peer", "Ping");
        if (!WriteAll(fd, batch.data(), batch.size(), m_Stop) || !SendMessage(fd, ping, serial)) {
            break;
        }
        m_Sent += kBatch;
        // An error: the service has gone.
        if (serial >= kFirstPing + kWindow &&
            WaitForReply(fd, received, serial - kWindow, deadline, m_Stop) !=
                G_DBUS_MESSAGE_TYPE_METHOD_RETURN) {
            break;
        }
    }
    close(fd);
}

bool Flooder::WaitForSent(size_t count, int timeout_ms) const {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    while (m_Sent < count && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return m_Sent >= count;
}

StalledListener::StalledListener(const PrivateBus& bus, const std::string& signal_name) {
    const std::string rule = "type='signal',interface='" + std::string(trevalo_bus::kInterface) +
                             "',member='" + signal_name + "'";
    std::string received;
    m_Socket = ConnectAsClient(bus.Address(), received, rule);
    m_Subscribed = m_Socket >= 0;
}

StalledListener::~StalledListener() {
    if (m_Socket >= 0) close(m_Socket);
}

}  // namespace test_support
