// Harness: bytes as the tests and benchmarks hold them, and whole files read into them.
#ifndef TESTS_HARNESS_FILE_CONTENTS_H
#define TESTS_HARNESS_FILE_CONTENTS_H

#include <string>
#include <vector>

namespace test_support {

using Bytes = std::vector<unsigned char>;

Bytes ReadFile(const std::string& path);        // empty when it cannot be read
std::string ReadText(const std::string& path);  // empty when it cannot be read

}  // namespace test_support

#endif
