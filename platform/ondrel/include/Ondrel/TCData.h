#ifndef ONDREL_TCDATA_H
#define ONDREL_TCDATA_H

#include <string>

namespace Ondrel {

// Anything the framework carries between processes, seen as text.
class TCData {
  public:
    virtual ~TCData() = default;

    // The data as one line of text (for logs).
    virtual std::string GetMessage() const = 0;
};

}  // namespace Ondrel

#endif
