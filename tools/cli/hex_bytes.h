// Reply and signal buffers as the client prints them.
#ifndef TREVALO_CLI_HEX_BYTES_H
#define TREVALO_CLI_HEX_BYTES_H

#include <cstddef>
#include <string>

namespace trevalo_cli {

// "e8 03 00 00".
std::string HexBytes(const unsigned char* bytes, size_t length);

}  // namespace trevalo_cli

#endif
