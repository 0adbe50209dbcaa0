#ifndef SECTIONPARSER_TCPMTELEMENTARY_H
#define SECTIONPARSER_TCPMTELEMENTARY_H

#include "TCDescriptor.h"

class TCPMTInstance;

// One entry of a PMT's elementary-stream loop: stream_type, elementary_PID and the descriptors of
// its ES_info loop, in loop order. It belongs to its TCPMTInstance and lives as long as the
// instance holds the same section.
class TCPMTElementary final {
  public:
    unsigned char StreamType() const { return m_StreamType; }

    // elementary_PID (0 to 8191).
    short ElementaryPID() const { return m_ElementaryPID; }

    // The raw ES_info loop (ES_info_length bytes), for descriptors no accessor decodes.
    virtual const unsigned char* ESInfo() const { return m_ESInfo; }
    virtual int ESInfoLength() const { return m_ESInfoLength; }

    // How many descriptors of descriptor_tag `tag` the loop holds.
    virtual int NumOfDescriptorByTag(int tag) const;

    // The index-th (from 0) descriptor of that tag in loop order; null when `index` is outside
    // 0..NumOfDescriptorByTag(tag)-1.
    virtual TCDescriptor* DescriptorByTag(int tag, int index) const;

    // Number of descriptors in the loop.
    virtual int NumOfDescriptor() const { return m_NumOfDescriptor; }

    // The descriptor at `index` (from 0) in loop order, of the class matching its tag; null
    // outside 0..NumOfDescriptor()-1.
    virtual TCDescriptor* Descriptor(int index) const;

  private:
    friend class TCPMTInstance;

    TCPMTElementary(unsigned char streamType, short elementaryPID, const unsigned char* esInfo,
                    int esInfoLength, TCDescriptor* const* descriptors, int numOfDescriptor)
        : m_StreamType(streamType),
          m_ElementaryPID(elementaryPID),
          m_ESInfo(esInfo),
          m_ESInfoLength(esInfoLength),
          m_Descriptors(descriptors),
          m_NumOfDescriptor(numOfDescriptor) {}

    unsigned char m_StreamType;
    short m_ElementaryPID;
    const unsigned char* m_ESInfo;
    int m_ESInfoLength;
    TCDescriptor* const* m_Descriptors;  // into the instance's descriptor table
    int m_NumOfDescriptor;
};

#endif
