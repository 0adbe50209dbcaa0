// call METHOD [--data JSON] [--buffer-file FILE|-]: one raw request.
#include <iostream>

#include "command_error.h"
#include "commands.h"
#include "hex_bytes.h"
#include "input_stream.h"
#include "service_connection.h"
#include "trevalo/json_text.h"

namespace trevalo_cli {
int RunCall(const CommandContext& context, const Arguments& arguments) {
    if (arguments.Operands().size() != 1) throw UsageError("give one METHOD");
    const std::string& method = arguments.Operands()[0];

    Json::Value data;
    if (const auto text = arguments.Value("--data")) {
        std::string error;
        // Nested as deep as the service takes (deeper is bad usage, not a crash).
        if (!trevalo_json::Parse(*text, data, &error)) {
            throw UsageError("--data is not JSON: " + error);
        }
    }
    std::vector<unsigned char> buffer;
    if (const auto file = arguments.Value("--buffer-file")) buffer = InputStream(*file).ReadAll();

    ServiceConnection service(context);
    const Ondrel::TCMessage reply = service.Request(method, data, buffer);
    std::cout << trevalo_json::WriteCompact(reply.body) << "\n";
    unsigned char* bytes = nullptr;
    const unsigned int length = reply.GetBuffer(bytes);
    if (length != 0) {
        std::cout << "buffer (" << length << " bytes): " << HexBytes(bytes, length) << "\n";
    }
    return kExitSuccess;
}

}  // namespace trevalo_cli
