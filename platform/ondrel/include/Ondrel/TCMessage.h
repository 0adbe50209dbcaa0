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
    // Bytes that GetBuffer guarantees to be readable from the pointer it hands out: the buffer's
    // own bytes followed by zeros. A reader that sizes a record from its own header (one MPEG
    // section is at most this long) therefore never leaves the allocation.
    static constexpr unsigned int kReadableBytes = 1024;

    TCMessage() = default;
    explicit TCMessage(Json::Value initial_body) : body(std::move(initial_body)) {}
    TCMessage(const TCMessage& other);
    TCMessage& operator=(const TCMessage& other);
    TCMessage(TCMessage&&) noexcept = default;
    TCMessage& operator=(TCMessage&&) noexcept = default;
    ~TCMessage() override = default;

    // The body, compact JSON on one line.
    std::string GetMessage() const override;

    // Points `bytes` at the buffer (null when the message has none) and returns its length.
    unsigned int GetBuffer(unsigned char*& bytes) const;

    // Replaces the buffer with a copy of `length` bytes from `bytes`; (null, 0) empties it.
    void SetBuffer(const unsigned char* bytes, unsigned int length);

    Json::Value body;

  private:
    std::unique_ptr<unsigned char[]> m_Storage;  // length max(m_Length, kReadableBytes)
    unsigned int m_Length = 0;
};

}  // namespace Ondrel

#endif
