// Sends hand-built PMT sections through the dispatcher with a chosen TV-service state.
#ifndef TESTS_SERVICE_PMT_FIXTURE_H
#define TESTS_SERVICE_PMT_FIXTURE_H

#include "handler_fixture.h"
#include "pmt_section_builder.h"
#include "sim_state_file.h"

class PmtHandlerTest : public HandlerTest {
  protected:
    void SetUp() override {
        HandlerTest::SetUp();
        SetTvService("{}");
    }
    void TearDown() override {
        sim_state_file::Unset();
        HandlerTest::TearDown();
    }

    // The "tv_service" block of the simulated platform (a JSON object text).
    static void SetTvService(const std::string& block) { sim_state_file::WriteTvService(block); }

    // "SendPMTData" with the section; returns "return_data".
    Json::Value SendPmt(const pmt_test::Bytes& section, int program_number = 1,
                        bool reset = false) {
        Json::Value data;
        data["reset"] = reset;
        data["programNum"] = program_number;
        return Dispatch(Method("SendPMTData", data), section).body["return_data"];
    }

    static const AudioComponent& Audio(size_t index) {
        return *TrevaloServiceServer::audList->at(index);
    }
    static const VideoComponent& Video(size_t index) {
        return *TrevaloServiceServer::vidList->at(index);
    }
    static const SbtComponent& Subtitle(size_t index) {
        return *TrevaloServiceServer::sbtList->at(index);
    }
    // The list sizes, "video V, audio A, subtitle S".
    static std::string Sizes() {
        return "video " + std::to_string(TrevaloServiceServer::vidList->size()) + ", audio " +
               std::to_string(TrevaloServiceServer::audList->size()) + ", subtitle " +
               std::to_string(TrevaloServiceServer::sbtList->size());
    }

    // Log messages (priority letter first) that contain `needle`.
    static std::vector<std::string> Matching(const std::vector<std::string>& log,
                                             const std::string& needle) {
        std::vector<std::string> found;
        for (const std::string& line : log) {
            if (line.find(needle) != std::string::npos) found.push_back(line);
        }
        return found;
    }
};

#endif
