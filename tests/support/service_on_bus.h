// A private bus with the real service running on it, and a bare GDBus client.
#ifndef TESTS_SERVICE_ON_BUS_H
#define TESTS_SERVICE_ON_BUS_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>

#include "private_bus.h"
#include "test_data.h"
#include "trevalo/bus_contract.h"

class ServiceOnBus : public ::testing::Test {
  protected:
    void SetUp() override {
        bus_ = std::make_unique<test_support::PrivateBus>(BusConfig());
        state_path_ = bus_->Directory() + "/platform-state.json";
        StartService();
    }
    void TearDown() override {
        client_.reset();
        if (service_) {
            EXPECT_EQ(service_->Stop(SIGTERM), 0) << service_->Log();
        }
        service_.reset();
        bus_.reset();
    }

    // What goes inside <busconfig> for the private bus.
    virtual std::string BusConfig() const { return test_support::PrivateBus::OpenSessionConfig(); }

    void StartService() {
        service_ = std::make_unique<test_support::ServiceProcess>(
            *bus_, TREVALO_SERVICE_BINARY,
            std::vector<std::string>{"PLATFORM_SIM_STATE=" + state_path_});
        ASSERT_TRUE(service_->WaitForName(trevalo_bus::kBusName)) << service_->Log();
        client_ = std::make_unique<test_support::RawClient>(*bus_);
    }

    // Replaces the simulated platform state (written aside, then renamed over, so the service
    // never reads a half-written file).
    void SetPlatformState(const std::string& json) {
        const std::string temporary = state_path_ + ".new";
        std::ofstream(temporary) << json;
        ASSERT_EQ(rename(temporary.c_str(), state_path_.c_str()), 0);
    }

    // One request; the parsed reply body (null on a D-Bus error).
    Json::Value Call(const std::string& body, const test_support::Bytes& buffer = {}) {
        last_ = client_->Request(body, buffer);
        EXPECT_TRUE(last_.ok) << body << " -> " << last_.error_name;
        return test_support::ParseJson(last_.body);
    }

    std::unique_ptr<test_support::PrivateBus> bus_;
    std::unique_ptr<test_support::ServiceProcess> service_;
    std::unique_ptr<test_support::RawClient> client_;
    test_support::Reply last_;
    std::string state_path_;
};

#endif
