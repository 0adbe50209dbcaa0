// The playing-time store: save, extrapolation on the monotonic clock, the subtitle delay.
#include <Ecore.h>
#include <dirent.h>
#include <gmock/gmock.h>
#include <time.h>

#include <cstring>

#include "TrevaloClock.h"
#include "handler_fixture.h"
#include "sim_state_file.h"

namespace {

std::vector<unsigned char> TimeBytes(uint32_t milliseconds) {
    std::vector<unsigned char> bytes(4);
    std::memcpy(bytes.data(), &milliseconds, 4);
    return bytes;
}

uint32_t TimeOf(const Ondrel::TCMessage& reply) {
    unsigned char* bytes = nullptr;
    EXPECT_EQ(reply.GetBuffer(bytes), 4u);
    uint32_t time = 0;
    if (bytes != nullptr) std::memcpy(&time, bytes, 4);
    return time;
}

class PlayingTimeTest : public HandlerTest {
  protected:
    void SetUp() override {
        HandlerTest::SetUp();
        TrevaloServiceServer::m_CurrentVideoPlayingTime = 0;
        TrevaloServiceServer::m_TimeTicker = 0.0;
    }
    void TearDown() override {
        sim_state_file::Unset();
        HandlerTest::TearDown();
    }
    // Sets system setting 709 (a JSON text: a number, or null for a failing read).
    static void SetDelay(const std::string& value) {
        sim_state_file::Write("{\"system_info\": {\"709\": " + value + "}}");
    }
    // Pretends the last save was `seconds_ago` seconds ago, with the time `saved`.
    static void SavedAgo(uint32_t saved, double seconds_ago) {
        TrevaloServiceServer::m_CurrentVideoPlayingTime = saved;
        TrevaloServiceServer::m_TimeTicker = ecore_time_get() - seconds_ago;
    }
};

// The descriptors the process holds.
size_t OpenDescriptors() {
    size_t count = 0;
    DIR* directory = opendir("/proc/self/fd");
    while (directory != nullptr && readdir(directory) != nullptr) ++count;
    if (directory != nullptr) closedir(directory);
    return count;
}

}  // namespace

// The clock is CLOCK_MONOTONIC, not the wall clock Ecore keeps without ecore_init, and Ecore's
// main loop leaves none of its descriptors behind (as main starts it; the test's main did too).
TEST(PlayingTimeClock, IsTheMonotonicClockAndHoldsNoDescriptor) {
    const size_t before = OpenDescriptors();
    ASSERT_TRUE(StartMonotonicClock());
    EXPECT_EQ(OpenDescriptors(), before);
    timespec monotonic = {};
    clock_gettime(CLOCK_MONOTONIC, &monotonic);
    EXPECT_NEAR(ecore_time_get(), monotonic.tv_sec + monotonic.tv_nsec / 1e9, 1.0);
}

TEST_F(PlayingTimeTest, SaveStoresTheTimeAndTheClock) {
    const double before = ecore_time_get();
    Ondrel::TCMessage reply = Dispatch(Method("SaveCurrentVideoPlayingTime"), TimeBytes(123456789));
    EXPECT_EQ(reply.body["return_data"], Json::Value(0));
    unsigned char* bytes = nullptr;
    EXPECT_EQ(reply.GetBuffer(bytes), 0u);
    EXPECT_EQ(TrevaloServiceServer::m_CurrentVideoPlayingTime, 123456789u);
    EXPECT_GE(TrevaloServiceServer::m_TimeTicker, before);
    EXPECT_LE(TrevaloServiceServer::m_TimeTicker, ecore_time_get());
    EXPECT_THAT(TakeLog(), testing::ElementsAre(
                               testing::_, "I:", "I: SERVER: SAVED currentVideotime= 123456789",
                               "I:ret_data = 0"));
}

TEST_F(PlayingTimeTest, ShortBufferLeavesTheStoredPair) {
    SavedAgo(5000, 0.0);
    const double ticker = TrevaloServiceServer::m_TimeTicker;
    for (size_t length : {0, 1, 3}) {
        Ondrel::TCMessage reply = Dispatch(Method("SaveCurrentVideoPlayingTime"),
                                           std::vector<unsigned char>(length, 0xAB));
        EXPECT_EQ(reply.body["return_data"], Json::Value(0));
        const auto log = TakeLog();
        ASSERT_EQ(log.size(), 4u);
        EXPECT_EQ(log[2], "E:the playing time needs 4 bytes, the buffer holds " +
                              std::to_string(length) + ": time not saved");
    }
    EXPECT_EQ(TrevaloServiceServer::m_CurrentVideoPlayingTime, 5000u);
    EXPECT_EQ(TrevaloServiceServer::m_TimeTicker, ticker);
}

TEST_F(PlayingTimeTest, ExtraBytesAreIgnored) {
    std::vector<unsigned char> bytes = TimeBytes(77);
    bytes.push_back(0xFF);
    Dispatch(Method("SaveCurrentVideoPlayingTime"), bytes);
    EXPECT_EQ(TrevaloServiceServer::m_CurrentVideoPlayingTime, 77u);
}

// The answer: the saved time plus the elapsed milliseconds (modulo 2^32), less the delay unless
// it exceeds that sum; an unreadable delay counts as zero. Get never moves the stored pair.
TEST_F(PlayingTimeTest, GetAddsTheElapsedTimeLessTheDelay) {
    const struct {
        const char* delay;
        uint32_t saved;
        double seconds_ago;
        uint32_t least;  // the answer lies in [least, least + 100)
        const char* log;
    } cases[] = {
        {"200", 10000, 0.5, 10300, "I:subtitleDelayAdjustment value is 200"},
        {"500", 100, 0.0, 100, "I:subtitleDelayAdjustment value is 500"},
        {"-300", 100000, 0.0, 100000, "I:subtitleDelayAdjustment value is -300"},
        {"null", 2000, 0.0, 2000, "E:failed to get subtitle delay time"},
        {"\"200\"", 2000, 0.0, 2000, "E:failed to get subtitle delay time"},
        // A delay equal to the total is taken off (when no millisecond has passed yet).
        {"1000000", 1000000, 0.0, 0, "I:subtitleDelayAdjustment value is 1000000"},
        {"0", 4294967296u - 16, 1.0, 984, "I:subtitleDelayAdjustment value is 0"},
        // 50 days and 1.5 s: 4,320,001,500 ms, which wraps to 25,034,204 ms.
        {"0", 0, 50.0 * 86400.0 + 1.5, 25034204, "I:subtitleDelayAdjustment value is 0"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.delay) + " " + std::to_string(c.saved));
        SetDelay(c.delay);
        SavedAgo(c.saved, c.seconds_ago);
        TakeLog();
        Ondrel::TCMessage reply = Dispatch(Method("GetCurrentVideoPlayingTime"));
        EXPECT_EQ(reply.body["return_data"], Json::Value(0));
        const uint32_t answer = TimeOf(reply);
        EXPECT_GE(answer, c.least);
        EXPECT_LT(answer, c.least + 100);
        const auto log = TakeLog();
        ASSERT_EQ(log.size(), 4u);
        EXPECT_EQ(log[1], c.log);
        EXPECT_EQ(TrevaloServiceServer::m_CurrentVideoPlayingTime, c.saved);
    }
}

TEST_F(PlayingTimeTest, GetBeforeAnySaveCountsFromTheClockOrigin) {
    SetDelay("0");
    const auto clock_ms = static_cast<uint32_t>(static_cast<int64_t>(ecore_time_get() * 1000.0));
    const uint32_t answer = TimeOf(Dispatch(Method("GetCurrentVideoPlayingTime")));
    EXPECT_GE(answer, clock_ms);
    EXPECT_LT(answer, clock_ms + 100);
}
