// The bus's compact JSON: what the framework writes must be what jsoncpp's own compact writer
// writes, and what it parses must be JSON text and nothing else.
#include "trevalo/json_text.h"

#include <gtest/gtest.h>
#include <json/writer.h>

#include <random>
#include <string>

namespace {

std::string JsoncppCompact(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = false;
    return Json::writeString(builder, value);
}

// A random value of the kinds requests and replies hold, nested a little.
Json::Value RandomValue(std::mt19937& random, int depth) {
    std::uniform_int_distribution<int> kind(0, depth > 2 ? 5 : 7);
    switch (kind(random)) {
        case 0:
            return Json::Value();
        case 1:
            return Json::Value(static_cast<int>(random()));
        case 2:
            return Json::Value(static_cast<unsigned int>(random()));
        case 3:
            return Json::Value(random() % 2 == 0);
        case 4:
            return Json::Value(static_cast<double>(static_cast<int>(random())) / 7.0);
        case 5: {
            std::string text;
            const size_t length = random() % 12;
            for (size_t i = 0; i < length; ++i) text.push_back(static_cast<char>(random() % 256));
            return Json::Value(text);
        }
        case 6: {
            Json::Value array(Json::arrayValue);
            for (unsigned i = random() % 4; i > 0; --i)
                array.append(RandomValue(random, depth + 1));
            return array;
        }
        default: {
            Json::Value object(Json::objectValue);
            for (unsigned i = random() % 4; i > 0; --i) {
                object["k" + std::to_string(random() % 10)] = RandomValue(random, depth + 1);
            }
            return object;
        }
    }
}

}  // namespace

TEST(BusJson, WritesWhatJsoncppWrites) {
    std::mt19937 random(20261123);
    for (int i = 0; i < 20000; ++i) {
        const Json::Value value = RandomValue(random, 0);
        ASSERT_EQ(trevalo_json::WriteCompact(value), JsoncppCompact(value))
            << JsoncppCompact(value);
    }
}

TEST(BusJson, ParsesJsonTextOnly) {
    Json::Value value;
    std::string error;
    for (const char* good : {"{}", "[1,2]", "42", "\"text\"", "null", " {\"a\" : [true]} "}) {
        EXPECT_TRUE(trevalo_json::Parse(good, std::strlen(good), value, &error)) << good;
    }
    for (const char* bad : {"", "{", "{} extra", "{'a':1}", "/* c */ {}", "[1,]x", "nan"}) {
        EXPECT_FALSE(trevalo_json::Parse(bad, std::strlen(bad), value, &error)) << bad;
        EXPECT_FALSE(error.empty());
        EXPECT_EQ(error.find('\n'), std::string::npos);  // one line, for one log line
    }
    const std::string deep(100000, '[');
    EXPECT_FALSE(trevalo_json::Parse(deep.data(), deep.size(), value, &error));
}
