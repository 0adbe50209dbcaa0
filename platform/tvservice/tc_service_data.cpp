#include "TCServiceData.h"

const TCServiceAttribute* TCServiceAttributeStore::Find(int attribute) const {
    const auto found = m_Attributes.find(attribute);
    return found != m_Attributes.end() ? &found->second : nullptr;
}

void TCServiceAttributeStore::Set(int attribute, unsigned long long value) {
    m_Attributes.insert_or_assign(attribute, TCServiceAttribute(value));
}

const TCServiceAttributeStore* TCServiceData::AttributeStore() const {
    return m_Store ? &*m_Store : nullptr;
}

TCServiceAttributeStore& TCServiceData::ResetAttributeStore() {
    return m_Store.emplace();
}
