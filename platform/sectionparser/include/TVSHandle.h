#ifndef SECTIONPARSER_TVSHANDLE_H
#define SECTIONPARSER_TVSHANDLE_H

#include <cstdint>

// Names the TV source whose sections a parser is fed. A parser keeps its handle and gives it back
// through TCSectionParser::Handle(); the values label the parser and never change how a section
// is read, so any handle works for sections that arrive from elsewhere (a client, a file).
//
// The service's own parser uses {1, 0, 0}: the main source, first tuner, first demultiplexer.
struct TVSHandle {
    uint32_t sourceId;   // which TV source the sections belong to; 1 is the main source
    uint8_t tunerIndex;  // tuner of that source, from 0
    uint8_t demuxIndex;  // demultiplexer on that tuner, from 0
};

#endif
