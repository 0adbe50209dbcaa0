#ifndef ONDREL_TCMESSAGE_H
#define ONDREL_TCMESSAGE_H

#include <json/value.h>

#include <memory>
#include <string>

#include "Ondrel/TCData.h"

namespace Ondrel {

// One request, reply or signal: a JSON body and a byte buffer.
class TCMessage : public TCData {
  public:
    TCMessage() = default;
    explicit TCMessage(Json::Value initial_body) : body(std::move(initial_body)) {}
    TCMessage(const TCMessage& other);
    TCMessage& operator=(const TCMessage& other);
    TCMessage(TCMessage&&) noexcept = default;
    TCMessage& operator=(TCMessage&&) noexcept = default;
    ~TCMessage() override = default;

    // The body, compact JSON on one line.
    std::string GetMessage() const override;

    // Points `bytes` at the buffer (null when the message has none) and returns its length. The
    // buffer is exactly that long, and its length is recorded for a reader handed only the
    // pointer (trevalo/readable_extent.h: the section parser reads no further).
    unsigned int GetBuffer(unsigned char*& bytes) const;

    // Replaces the buffer with a copy of `length` bytes from `bytes`; (null, 0) empties it.
    void SetBuffer(const unsigned char* bytes, unsigned int length);

    Json::Value body;

  private:
    // Forgets the block's recorded length as it frees it.
    struct RecordedDelete {
        void operator()(unsigned char* bytes) const;
    };
    std::unique_ptr<unsigned char[], RecordedDelete> m_Storage;  // m_Length bytes
    unsigned int m_Length = 0;
};

}  // namespace Ondrel

#endif
