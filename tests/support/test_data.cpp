#include "test_data.h"

#include <json/reader.h>

#include <cctype>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace test_support {

Bytes ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::string ReadText(const std::string& path) {
    const Bytes bytes = ReadFile(path);
    return std::string(bytes.begin(), bytes.end());
}

std::string TestDataPath(const std::string& relative_path) {
    return std::string(TREVALO_TESTDATA_DIR) + "/" + relative_path;
}

Bytes ReadTestData(const std::string& relative_path) {
    const Bytes bytes = ReadFile(TestDataPath(relative_path));
    if (bytes.empty()) throw std::runtime_error("cannot read " + TestDataPath(relative_path));
    return bytes;
}

std::string GoldenPath(const std::string& name) {
    return std::string(TREVALO_GOLDEN_DIR) + "/" + name;
}

Json::Value ParseJson(const std::string& text) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) return {};
    return value;
}

Json::Value ReadJsonFile(const std::string& path) {
    const Bytes bytes = ReadFile(path);
    const Json::Value value = ParseJson(std::string(bytes.begin(), bytes.end()));
    if (value.isNull()) throw std::runtime_error(path + " is not JSON");
    return value;
}

std::string TestNameOf(const std::string& file) {
    std::string name;
    for (char c : file.substr(0, file.rfind('.'))) {
        name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    }
    return name;
}

}  // namespace test_support
