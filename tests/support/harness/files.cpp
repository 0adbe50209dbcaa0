#include "files.h"

#include <stdlib.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace test_support {

Bytes ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::string ReadText(const std::string& path) {
    const Bytes bytes = ReadFile(path);
    return std::string(bytes.begin(), bytes.end());
}

std::string TestNameOf(const std::string& file) {
    std::string name;
    for (char c : file.substr(0, file.rfind('.'))) {
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    }
    return name;
}

TemporaryDirectory::TemporaryDirectory(const std::string& prefix) {
    std::string pattern = "/tmp/" + prefix + "-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    m_Path = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    if (m_Keep) return;
    std::error_code ignored;  // a leftover directory in /tmp harms nothing
    std::filesystem::remove_all(m_Path, ignored);
}

}  // namespace test_support
