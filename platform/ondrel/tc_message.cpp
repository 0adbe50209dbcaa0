#include <cstring>

#include "Ondrel/TCMessage.h"
#include "trevalo/json_text.h"
#include "trevalo/readable_extent.h"

namespace Ondrel {

TCMessage::TCMessage(const TCMessage& other) : TCData(other), body(other.body) {
    SetBuffer(other.m_Storage.get(), other.m_Length);
}

TCMessage& TCMessage::operator=(const TCMessage& other) {
    if (this != &other) {
        body = other.body;
        SetBuffer(other.m_Storage.get(), other.m_Length);
    }
    return *this;
}

std::string TCMessage::GetMessage() const {
    return trevalo_json::WriteCompact(body);
}

unsigned int TCMessage::GetBuffer(unsigned char*& bytes) const {
    bytes = m_Length > 0 ? m_Storage.get() : nullptr;
    return m_Length;
}

void TCMessage::SetBuffer(const unsigned char* bytes, unsigned int length) {
    if (bytes == nullptr || length == 0) {
        m_Storage.reset();
        m_Length = 0;
        return;
    }
    std::unique_ptr<unsigned char[], RecordedDelete> storage(new unsigned char[length]);
    std::memcpy(storage.get(), bytes, length);
    trevalo_extent::Record(storage.get(), length);
    m_Storage = std::move(storage);
    m_Length = length;
}

void TCMessage::RecordedDelete::operator()(unsigned char* bytes) const {
    trevalo_extent::Forget(bytes);
    delete[] bytes;
}

}  // namespace Ondrel
