// One fuzz input's run through the PMT parser, shared by the libFuzzer target and the regression
// test that replays every input the fuzzer ever crashed on.
#ifndef FUZZ_SECTIONPARSER_EXERCISE_H
#define FUZZ_SECTIONPARSER_EXERCISE_H

#include <cstddef>
#include <cstdint>

namespace fuzz {

// Hands `data` to a fresh PMT parser the ways a client can (as sent; with its CRC_32 made right
// so that the loops are read too; a second section behind the first; a null pointer), each time
// in a 1024-byte zero-padded buffer, and once as it came in a block of its own length whose
// length is recorded as the framework records a message buffer's; reads every programme, stream and
// descriptor through every accessor, with indexes in and out of range. Aborts when the parser
// breaks one of its own promises (a descriptor of the wrong class for its tag, a pointer outside
// the kept section, a count that does not match what the lookups give).
void ExerciseSectionParser(const uint8_t* data, size_t size);

}  // namespace fuzz

#endif
