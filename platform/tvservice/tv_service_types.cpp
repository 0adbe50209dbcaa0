#include "TVServiceTypes.h"

bool TCCriteriaHelper::Fetch(int attribute_id) {
    m_Fetched[attribute_id] = true;
    return true;
}

bool TCCriteriaHelper::IsFetched(int attribute_id) const {
    return m_Fetched.count(attribute_id) != 0;
}

const TCServiceAttribute* TCServiceAttributeStore::Find(int attribute_id) const {
    auto found = m_Attributes.find(attribute_id);
    return found != m_Attributes.end() ? &found->second : nullptr;
}

void TCServiceAttributeStore::Set(int attribute_id, unsigned long long value) {
    m_Attributes.insert_or_assign(attribute_id, TCServiceAttribute(value));
}
