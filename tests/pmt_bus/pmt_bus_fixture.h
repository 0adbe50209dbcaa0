// One private bus and one service process shared by the tests of a suite, a bare GDBus client
// that keeps many requests in flight, and the checks the PMT tests share.
#ifndef TESTS_PMT_BUS_PMT_BUS_FIXTURE_H
#define TESTS_PMT_BUS_PMT_BUS_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "bus_fixture.h"
#include "catalogue.h"
#include "known_sections.h"
#include "pipelined_client.h"

class PmtOnBus : public ::testing::Test {
  protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    // Restarts the service when an earlier test of the suite left it dead, and puts the
    // simulated platform back to its defaults.
    void SetUp() override;

    // Replaces the simulated platform state (written aside, then renamed over).
    static void SetPlatformState(const std::string& json);

    // One request through the plain client.
    static test_support::Reply Call(const std::string& body,
                                    const test_support::Bytes& buffer = {});

    // "SendPMTData" with `section`; the "return_data" as ReturnData shows it.
    static std::string SendPmt(const test_support::Bytes& section, long long programme,
                               bool reset = true);

    // Reads the whole catalogue and the PIDs of the expectation's tags and compares.
    static void ExpectCatalogue(const pmt_bus::Expectation& expected);
    static void ExpectCatalogue(const pmt_bus::Catalogue& expected);

    static bool ServiceRunning();
    // The service's log from `from` (a size of the log taken earlier) on.
    static std::string LogSince(size_t from);
    static size_t LogSize();
    // The end of the log, for failure messages.
    static std::string LogTail();

    static std::unique_ptr<test_support::PrivateBus> bus_;
    static std::unique_ptr<test_support::ServiceProcess> service_;
    static std::unique_ptr<test_support::RawClient> client_;
    static std::unique_ptr<pmt_bus::PipelinedClient> pipeline_;
    static std::string state_path_;

  private:
    static void StartService();
    // A child process that kills the service and the bus daemon once this test process is gone,
    // however it ended, so that a crashed test never leaves them running (and holding the output
    // of the test runner open).
    static void StartWatchdog();
    static void StopWatchdog();
    static pid_t watchdog_;
    static int watchdog_pipe_;
};

#endif
