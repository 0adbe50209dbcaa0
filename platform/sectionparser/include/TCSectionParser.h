#ifndef SECTIONPARSER_TCSECTIONPARSER_H
#define SECTIONPARSER_TCSECTIONPARSER_H

#include "TVSHandle.h"

// A parser of one kind of PSI table. It is fed one section at a time through Parse and keeps, per
// table, what the derived class documents, until Reset.
//
// A section handed to Parse is read only during the call, and never past the first of: the end its
// section_length gives, TCBaseSection::kMaxSectionSize (1024) bytes from its start, and the end
// of the block that holds it when the block's owner has recorded its length
// (trevalo/readable_extent.h; the framework does so for every message buffer). A section whose
// header claims more than its block holds is taken as far as the block goes and is not valid.
// Whatever is kept is copied, so the caller's buffer may go away once Parse returns.
class TCSectionParser {
  public:
    explicit TCSectionParser(const TVSHandle& handle) : m_Handle(handle) {}
    virtual ~TCSectionParser();
    TCSectionParser(const TCSectionParser&) = delete;
    TCSectionParser& operator=(const TCSectionParser&) = delete;

    // Readies the parser for its first section by dropping anything held (as Reset does).
    // Returns true. Parse also works on a parser that was never initialised.
    bool Initialize();
    bool IsInitialized() const { return m_Initialized; }

    // Drops every section the parser holds.
    virtual void Reset() = 0;

    // Takes in one section. `sourcePID` is the PID the section was filtered from, or 0 when the
    // caller does not know it; it is recorded on what is kept and plays no part in the checks.
    // `section` may be null. Returns true when the section was taken in and is valid.
    virtual bool Parse(int sourcePID, const unsigned char* section) = 0;

    const TVSHandle& Handle() const { return m_Handle; }

  private:
    TVSHandle m_Handle;
    bool m_Initialized = false;
};

#endif
