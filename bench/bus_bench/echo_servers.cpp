#include "echo_servers.h"

#include <gio/gio.h>
#include <glib-unix.h>
#include <signal.h>
#include <systemd/sd-bus.h>

#include <cstdio>
#include <cstdlib>

#include "private_bus.h"
#include "trevalo/bus_contract.h"

namespace bus_bench {
namespace {

using test_support::BusNameOf;
using test_support::ObjectPathOf;

gboolean QuitLoop(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

// Runs the default main context until SIGTERM or SIGINT.
void RunUntilSignalled() {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    g_unix_signal_add(SIGTERM, QuitLoop, loop);
    g_unix_signal_add(SIGINT, QuitLoop, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
}

// ---------------------------------------------------------------------------------------------
// GDBus

void EchoRequest(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                 GVariant* parameters, GDBusMethodInvocation* invocation, gpointer) {
    g_dbus_method_invocation_return_value(invocation, parameters);
}

std::string Introspection() {
    return std::string("<node><interface name='") + trevalo_bus::kInterface + "'><method name='" +
           trevalo_bus::kRequestMethod +
           "'>"
           "<arg type='s' name='body' direction='in'/>"
           "<arg type='ay' name='buffer' direction='in'/>"
           "<arg type='s' name='body' direction='out'/>"
           "<arg type='ay' name='buffer' direction='out'/>"
           "</method></interface></node>";
}

// ---------------------------------------------------------------------------------------------
// sd-bus

int SdEchoRequest(sd_bus_message* call, void*, sd_bus_error*) {
    const char* text = nullptr;
    const void* bytes = nullptr;
    size_t length = 0;
    int result = sd_bus_message_read_basic(call, 's', &text);
    if (result >= 0) result = sd_bus_message_read_array(call, 'y', &bytes, &length);
    if (result < 0) return result;
    sd_bus_message* reply = nullptr;
    result = sd_bus_message_new_method_return(call, &reply);
    if (result < 0) return result;
    result = sd_bus_message_append_basic(reply, 's', text);
    if (result >= 0) result = sd_bus_message_append_array(reply, 'y', bytes, length);
    if (result >= 0) result = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return result;
}

const sd_bus_vtable kSdEchoVTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD(trevalo_bus::kRequestMethod, "say", "say", SdEchoRequest,
                  SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

struct SdBusSource {
    GSource base;
    sd_bus* bus;
    GPollFD poll_fd;
};

bool SdBusDue(sd_bus* bus, gint* wait_ms) {
    uint64_t until = 0;
    if (sd_bus_get_timeout(bus, &until) < 0) return true;
    if (until == UINT64_MAX) return false;
    const uint64_t now = static_cast<uint64_t>(g_get_monotonic_time());
    if (until <= now) return true;
    if (wait_ms != nullptr) *wait_ms = static_cast<gint>((until - now + 999) / 1000);
    return false;
}

gboolean SdBusPrepare(GSource* source, gint* wait_ms) {
    auto* self = reinterpret_cast<SdBusSource*>(source);
    const int events = sd_bus_get_events(self->bus);
    if (events < 0) return TRUE;
    self->poll_fd.events = static_cast<gushort>(events);
    *wait_ms = -1;
    if (!SdBusDue(self->bus, wait_ms)) return FALSE;
    *wait_ms = 0;
    return TRUE;
}

gboolean SdBusCheck(GSource* source) {
    auto* self = reinterpret_cast<SdBusSource*>(source);
    return (self->poll_fd.revents & (self->poll_fd.events | G_IO_HUP | G_IO_ERR)) != 0 ||
           SdBusDue(self->bus, nullptr);
}

gboolean SdBusDispatch(GSource* source, GSourceFunc, gpointer) {
    auto* self = reinterpret_cast<SdBusSource*>(source);
    int result = 0;
    do {
        result = sd_bus_process(self->bus, nullptr);
    } while (result > 0);
    if (result >= 0) result = sd_bus_flush(self->bus);
    if (result < 0) std::exit(1);  // the bus is gone
    return G_SOURCE_CONTINUE;
}

GSourceFuncs kSdBusSourceFuncs = {SdBusPrepare, SdBusCheck, SdBusDispatch,
                                  nullptr,      nullptr,    nullptr};

}  // namespace

int RunGDBusEchoServer(const std::string& name) {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address == nullptr) return 2;
    GDBusConnection* bus = test_support::ConnectToBus(address);
    if (bus == nullptr) {
        std::fprintf(stderr, "echo: cannot connect to %s\n", address);
        return 1;
    }
    g_dbus_connection_set_exit_on_close(bus, TRUE);
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(Introspection().c_str(), nullptr);
    const GDBusInterfaceVTable vtable = {EchoRequest, nullptr, nullptr, {nullptr}};
    GError* error = nullptr;
    const guint registration = g_dbus_connection_register_object(
        bus, ObjectPathOf(name).c_str(), node->interfaces[0], &vtable, nullptr, nullptr, &error);
    if (registration == 0) {
        std::fprintf(stderr, "echo: cannot export: %s\n", error->message);
        return 1;
    }
    // DBUS_NAME_FLAG_DO_NOT_QUEUE, as the framework asks.
    GVariant* result = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", BusNameOf(name).c_str(), 4u), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (result == nullptr) {
        std::fprintf(stderr, "echo: cannot request the name: %s\n", error->message);
        return 1;
    }
    g_variant_unref(result);
    RunUntilSignalled();
    g_dbus_connection_unregister_object(bus, registration);
    g_dbus_connection_set_exit_on_close(bus, FALSE);
    g_dbus_connection_close_sync(bus, nullptr, nullptr);
    g_object_unref(bus);
    g_dbus_node_info_unref(node);
    return 0;
}

int RunSdBusEchoServer(const std::string& name) {
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) return 2;
    sd_bus_slot* object = nullptr;
    if (sd_bus_add_object_vtable(bus, &object, ObjectPathOf(name).c_str(), trevalo_bus::kInterface,
                                 kSdEchoVTable, nullptr) < 0 ||
        sd_bus_request_name(bus, BusNameOf(name).c_str(), 0) < 0) {
        std::fprintf(stderr, "sd-bus echo: cannot export or take the name\n");
        return 1;
    }
    GSource* source = g_source_new(&kSdBusSourceFuncs, sizeof(SdBusSource));
    auto* self = reinterpret_cast<SdBusSource*>(source);
    self->bus = bus;
    self->poll_fd = {sd_bus_get_fd(bus), G_IO_IN, 0};
    g_source_add_poll(source, &self->poll_fd);
    g_source_attach(source, nullptr);
    RunUntilSignalled();
    g_source_destroy(source);
    g_source_unref(source);
    sd_bus_slot_unref(object);
    sd_bus_flush_close_unref(bus);
    return 0;
}

}  // namespace bus_bench
