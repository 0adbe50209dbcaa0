#ifndef SECTIONPARSER_ESECTIONSTATUS_H
#define SECTIONPARSER_ESECTIONSTATUS_H

// What the checks of a kept section concluded: SECTION_VALID, or the first rule it broke, in the
// order the checks run (header, length, CRC_32, then the loops front to back).
enum ESectionStatus {
    SECTION_VALID = 0,
    SECTION_NOT_SYNTAX_FORM,       // section_syntax_indicator is 0
    SECTION_LENGTH_TOO_SHORT,      // section_length below what the table's fixed fields need
    SECTION_LENGTH_TOO_LONG,       // section_length above 1021 (a section is at most 1024 bytes),
                                   // or beyond the end of the caller's buffer
    SECTION_CRC_MISMATCH,          // CRC_32 does not match the section's bytes
    SECTION_PROGRAM_INFO_OVERRUN,  // program_info_length runs past the CRC_32
    SECTION_ES_ENTRY_TRUNCATED,    // fewer than 5 bytes left for an elementary-stream entry
    SECTION_ES_INFO_OVERRUN,       // an ES_info_length runs past the CRC_32
    SECTION_DESCRIPTOR_OVERRUN,    // a descriptor's header or payload runs past its loop
};

#endif
