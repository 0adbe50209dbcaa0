// libFuzzer entry: arbitrary bytes into the PMT parser (see sectionparser_exercise.h).
#include <cstddef>
#include <cstdint>

#include "sectionparser_exercise.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::ExerciseSectionParser(data, size);
    return 0;
}
