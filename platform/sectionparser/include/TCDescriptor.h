#ifndef SECTIONPARSER_TCDESCRIPTOR_H
#define SECTIONPARSER_TCDESCRIPTOR_H

// One descriptor of a descriptor loop, kept as its raw bytes inside the parser's copy of the
// section and decoded only when an accessor asks. The classes derived from it add the accessors
// of one descriptor_tag; the parser always hands out the class that matches Tag(), so a caller may
// static_cast after looking at the tag (and, for the extension descriptor 0x7F, at its
// TagExtension()). Descriptors of other tags come as plain TCDescriptor.
//
// Every accessor reads inside descriptor_length only. When the payload is too short for a field,
// the field is answered as absent (documented per class) and entry counts leave out a trailing
// partial entry, so a short payload answers a count of 0.
class TCDescriptor {
  public:
    // `raw` points at the descriptor_tag byte; descriptor_length + 2 bytes must stay readable for
    // the object's life. The parser builds these; tests may build them over their own bytes.
    explicit TCDescriptor(const unsigned char* raw) : m_Raw(raw) {}
    virtual ~TCDescriptor() = default;

    // descriptor_tag.
    virtual int Tag() const { return m_Raw[0]; }

    // descriptor_length: the number of payload bytes after the two header bytes.
    int Length() const { return m_Raw[1]; }
    const unsigned char* Payload() const { return m_Raw + 2; }

    // The whole descriptor, header included: Length() + 2 bytes.
    const unsigned char* Raw() const { return m_Raw; }

    // True when the payload has exactly the shape the descriptor's syntax asks for: no field
    // missing and no trailing partial entry. Plain descriptors are always well formed.
    virtual bool IsWellFormed() const { return true; }

  protected:
    const unsigned char* m_Raw;
};

#endif
