#include "temporary_directory.h"

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace test_support {

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
