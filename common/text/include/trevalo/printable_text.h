// Bytes as broadcast (a language code, a name) made safe to print and to send as a D-Bus string.
#ifndef TREVALO_PRINTABLE_TEXT_H
#define TREVALO_PRINTABLE_TEXT_H

#include <string>

namespace trevalo_text {

// Printable ASCII passes unchanged; any other byte, and the backslash (so that a text never
// reads ambiguously beside the escapes), reads \xNN with upper-case hex digits.
std::string PrintableText(const std::string& bytes);

}  // namespace trevalo_text

#endif
