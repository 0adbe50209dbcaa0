// Drives the service's handlers directly, with a fresh catalogue and the log captured.
#ifndef TESTS_SERVICE_HANDLER_FIXTURE_H
#define TESTS_SERVICE_HANDLER_FIXTURE_H

#include <gtest/gtest.h>
#include <json/value.h>

#include <memory>
#include <string>
#include <vector>

#include "Ondrel/TCMessage.h"
#include "TrevaloService.h"
#include "TrevaloServiceServer.h"
#include "log_capture.h"

// Readable JSON in test failures.
namespace Json {
inline void PrintTo(const Value& value, std::ostream* out) {
    *out << value.toStyledString();
}
}  // namespace Json

class HandlerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TrevaloServiceServer::InitTrevaloServiceServer();
        log_ = std::make_unique<test_support::LogCapture>();
    }
    void TearDown() override {
        log_.reset();
        TrevaloServiceServer::FiniTrevaloServiceServer();
    }

    // Sends `body` (and `buffer`) through the dispatcher, as the framework does.
    Ondrel::TCMessage Dispatch(const Json::Value& body,
                               const std::vector<unsigned char>& buffer = {}) {
        Ondrel::TCMessage request(body);
        request.SetBuffer(buffer.data(), static_cast<unsigned int>(buffer.size()));
        Ondrel::TCMessage reply;
        EXPECT_TRUE(service_.IfMessageReceived(":1.42", &request, &reply, "/test"));
        return reply;
    }

    static Json::Value Method(const char* name) {
        Json::Value body;
        body["method"] = name;
        return body;
    }
    static Json::Value Method(const char* name, const Json::Value& data) {
        Json::Value body = Method(name);
        body["data"] = data;
        return body;
    }

    // The log messages of the service since the last call, priority letter first.
    std::vector<std::string> TakeLog() {
        std::vector<std::string> messages = log_->Messages();
        log_->Clear();
        return messages;
    }

    static void AddAudio(int16_t pid, uint8_t tag, const std::string& lang = "eng",
                         int32_t encoding = 2) {
        TrevaloServiceServer::audList->push_back(std::unique_ptr<AudioComponent>(
            new AudioComponent{pid, encoding, false, tag, lang, 2, false, {}}));
    }
    static void AddVideo(int16_t pid, uint8_t tag, uint16_t ca_sid = 0) {
        TrevaloServiceServer::vidList->push_back(std::unique_ptr<VideoComponent>(
            new VideoComponent{pid, 1, ca_sid != 0, ca_sid, tag, 100}));
    }
    static void AddSubtitle(int16_t pid, uint8_t tag, const std::string& lang = "fin") {
        TrevaloServiceServer::sbtList->push_back(std::unique_ptr<SbtComponent>(
            new SbtComponent{pid, false, tag, lang, false, false, 0x10, 0, 0, 1, 1}));
    }

    TrevaloService service_;
    std::unique_ptr<test_support::LogCapture> log_;
};

#endif
