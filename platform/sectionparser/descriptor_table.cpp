#include "descriptor_table.h"

void DescriptorTable::Prepare(size_t capacity) {
    Clear();
    m_Objects.reserve(capacity);
    m_Pointers.reserve(capacity);
}

void DescriptorTable::Clear() {
    m_Objects.clear();
    m_Pointers.clear();
}

template <typename Descriptor>
int DescriptorTable::Emplace(const unsigned char* raw) {
    auto& object = m_Objects.emplace_back(std::in_place_type<Descriptor>, raw);
    m_Pointers.push_back(std::get_if<Descriptor>(&object));
    return static_cast<int>(m_Pointers.size()) - 1;
}

int DescriptorTable::Add(const unsigned char* raw) {
    switch (raw[0]) {
        case TCDescStreamIdentifier::kTag:
            return Emplace<TCDescStreamIdentifier>(raw);
        case TCDescCA::kTag:
            return Emplace<TCDescCA>(raw);
        case TCDescLanguage::kTag:
            return Emplace<TCDescLanguage>(raw);
        case TCDescSubtitling::kTag:
            return Emplace<TCDescSubtitling>(raw);
        case TCDescTeletext::kTag:
            return Emplace<TCDescTeletext>(raw);
        case TCDescAC3::kTag:
            return Emplace<TCDescAC3>(raw);
        case TCDescEnhancedAC3::kTag:
            return Emplace<TCDescEnhancedAC3>(raw);
        case TCDescExtension::kTag:
            // The extension is named by the payload's first byte, which an empty one lacks.
            if (raw[1] >= 1 && raw[2] == TCDescSupplementaryAudio::kTagExtension) {
                return Emplace<TCDescSupplementaryAudio>(raw);
            }
            return Emplace<TCDescExtension>(raw);
        default:
            return Emplace<TCDescriptor>(raw);
    }
}
