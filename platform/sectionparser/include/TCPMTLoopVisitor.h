#ifndef SECTIONPARSER_TCPMTLOOPVISITOR_H
#define SECTIONPARSER_TCPMTLOOPVISITOR_H

// What TCPMTInstance::ReadLoops hands out of a PMT section, in section order: each descriptor of
// the program_info loop, then each elementary-stream entry followed by the descriptors of its
// ES_info loop. A descriptor comes as a pointer to its descriptor_tag byte, its
// descriptor_length + 2 bytes lying inside its loop: a TCDescriptor of the class matching the tag
// may be built over it (TCDescLanguage for tag 0x0A, and so on). The bytes are those of the
// section given to ReadLoops and live as long as it does.
class TCPMTLoopVisitor {
  public:
    virtual ~TCPMTLoopVisitor() = default;

    virtual void ProgramDescriptor(const unsigned char* descriptor) = 0;
    // An elementary-stream entry whose ES_info loop (esInfoLength bytes at esInfo) lies inside
    // the section; its descriptors follow.
    virtual void Elementary(unsigned char streamType, short elementaryPID,
                            const unsigned char* esInfo, int esInfoLength) = 0;
    virtual void ElementaryDescriptor(const unsigned char* descriptor) = 0;
};

#endif
