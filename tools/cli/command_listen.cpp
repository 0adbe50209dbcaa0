// listen: every TrevaloSignal, one line each, until SIGINT or SIGTERM.
#include <glib-unix.h>
#include <glib.h>
#include <signal.h>

#include <algorithm>
#include <iostream>

#include "command_error.h"
#include "commands.h"
#include "hex_bytes.h"
#include "interruption.h"
#include "output_names.h"
#include "service_connection.h"
#include "service_wait.h"
#include "trevalo/bus_contract.h"
#include "trevalo/json_text.h"

namespace trevalo_cli {
namespace {

void PrintSignal(const std::string& name, const Ondrel::TCMessage& message) {
    std::cout << name << " " << trevalo_json::WriteCompact(message.body);
    unsigned char* bytes = nullptr;
    const unsigned int length = message.GetBuffer(bytes);
    if (length != 0) std::cout << " buffer (" << length << " bytes): " << HexBytes(bytes, length);
    std::cout << std::endl;  // a line at a time, also into a pipe
}

void PrintSignalJson(const std::string& name, const Ondrel::TCMessage& message) {
    unsigned char* bytes = nullptr;
    const unsigned int length = message.GetBuffer(bytes);
    std::string hex = HexBytes(bytes, length);
    hex.erase(std::remove(hex.begin(), hex.end(), ' '), hex.end());
    Json::Value line(Json::objectValue);
    line[output::kSignal] = name;
    line[output::kBody] = message.body;
    line[output::kBuffer] = hex;
    std::cout << trevalo_json::WriteCompact(line) << std::endl;
}

}  // namespace

int RunListen(const CommandContext& context, const Arguments& arguments) {
    if (!arguments.Operands().empty()) {
        throw UsageError("unexpected '" + arguments.Operands()[0] + "'");
    }
    ServiceConnection service(context);
    service.Subscribe(trevalo_bus::kTrevaloSignal,
                      arguments.Flag("--json") ? PrintSignalJson : PrintSignal);
    if (!WaitForService(service, "listen")) return kExitSuccess;
    service.Client().AddressOwnerOnly(true);
    std::cerr << "listening for " << trevalo_bus::kTrevaloSignal << " from "
              << service.Client().BusName() << " (Ctrl-C stops)" << std::endl;

    service.ListenUntilInterrupted();
    return kExitSuccess;
}

}  // namespace trevalo_cli
