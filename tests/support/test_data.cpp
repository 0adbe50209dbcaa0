#include "test_data.h"

#include <unistd.h>

#include <stdexcept>

#include "trevalo/json_text.h"

namespace test_support {

std::string TestDataPath(const std::string& relative_path) {
    const std::string path = std::string(TREVALO_TESTDATA_DIR) + "/" + relative_path;
    if (access(path.c_str(), R_OK) != 0) throw std::runtime_error("missing test data: " + path);
    return path;
}

Bytes ReadTestData(const std::string& relative_path) {
    const std::string path = TestDataPath(relative_path);
    const Bytes bytes = ReadFile(path);
    if (bytes.empty()) throw std::runtime_error("empty or unreadable test data: " + path);
    return bytes;
}

std::string GoldenPath(const std::string& name) {
    return std::string(TREVALO_GOLDEN_DIR) + "/" + name;
}

Json::Value ParseJson(const std::string& text) {
    Json::Value value;
    return trevalo_json::Parse(text, value) ? value : Json::Value();
}

Json::Value ReadJsonFile(const std::string& path) {
    const Json::Value value = ParseJson(ReadText(path));
    if (value.isNull()) throw std::runtime_error(path + " is not JSON");
    return value;
}

}  // namespace test_support
