#include "TCPMTElementary.h"

int TCPMTElementary::NumOfDescriptorByTag(int tag) const {
    int count = 0;
    for (int index = 0; index < m_NumOfDescriptor; ++index) {
        if (m_Descriptors[index]->Tag() == tag) ++count;
    }
    return count;
}

TCDescriptor* TCPMTElementary::DescriptorByTag(int tag, int index) const {
    if (index < 0) return nullptr;
    for (int position = 0; position < m_NumOfDescriptor; ++position) {
        TCDescriptor* descriptor = m_Descriptors[position];
        if (descriptor->Tag() == tag && index-- == 0) return descriptor;
    }
    return nullptr;
}

TCDescriptor* TCPMTElementary::Descriptor(int index) const {
    if (index < 0 || index >= m_NumOfDescriptor) return nullptr;
    return m_Descriptors[index];
}
