// The library owns what it hands out: one object per kind and (profile, index), never released
// by the caller, and nothing leaks however often it is asked for.
#include <gtest/gtest.h>

#include <type_traits>

#include "sim_state_file.h"
#include "tv_service_steps.h"

#if defined(__SANITIZE_ADDRESS__)
#define TVSERVICE_TEST_LEAK_CHECK 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TVSERVICE_TEST_LEAK_CHECK 1
#endif
#endif
#ifdef TVSERVICE_TEST_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using namespace tv_steps;

static_assert(!std::is_destructible_v<IServiceNavigation>, "callers must not delete navigation");
static_assert(!std::is_destructible_v<IAVControl>, "callers must not delete AV control");
static_assert(!std::is_destructible_v<IServiceDataAux>, "callers must not delete service data");

class TvServiceOwnership : public ::testing::Test {
  protected:
    void SetUp() override { sim_state_file::WriteTvService("{}"); }
    void TearDown() override { sim_state_file::Unset(); }
};

TEST_F(TvServiceOwnership, SameObjectsOnEveryRequest) {
    IServiceNavigation* navigation = Navigation();
    IAVControl* avControl = AVControl();
    IServiceDataAux* serviceDataAux = TVServiceAPI::ServiceDataAux(kProfile, kIndex);
    ASSERT_NE(navigation, nullptr);
    ASSERT_NE(avControl, nullptr);
    ASSERT_NE(serviceDataAux, nullptr);
    EXPECT_EQ(Navigation(), navigation);
    EXPECT_EQ(AVControl(), avControl);
    EXPECT_EQ(TVServiceAPI::ServiceDataAux(kProfile, kIndex), serviceDataAux);
}

TEST_F(TvServiceOwnership, EachProfileAndIndexHasItsOwnObjects) {
    IServiceNavigation* mainFirst = nullptr;
    IServiceNavigation* mainSecond = nullptr;
    IServiceNavigation* noneFirst = nullptr;
    ASSERT_EQ(TVServiceAPI::CreateServiceNavigation(PROFILE_MAIN, 0, &mainFirst), 0);
    ASSERT_EQ(TVServiceAPI::CreateServiceNavigation(PROFILE_MAIN, 1, &mainSecond), 0);
    ASSERT_EQ(TVServiceAPI::CreateServiceNavigation(PROFILE_NONE, 0, &noneFirst), 0);
    EXPECT_NE(mainFirst, mainSecond);
    EXPECT_NE(mainFirst, noneFirst);
    EXPECT_NE(mainSecond, noneFirst);

    IAVControl* avFirst = nullptr;
    IAVControl* avSecond = nullptr;
    ASSERT_EQ(TVServiceAPI::CreateAVControl(PROFILE_MAIN, 0, &avFirst), 0);
    ASSERT_EQ(TVServiceAPI::CreateAVControl(PROFILE_MAIN, 1, &avSecond), 0);
    EXPECT_NE(avFirst, avSecond);

    EXPECT_NE(TVServiceAPI::ServiceDataAux(PROFILE_MAIN, 0),
              TVServiceAPI::ServiceDataAux(PROFILE_MAIN, 1));
}

TEST_F(TvServiceOwnership, ObjectsOutliveFailedRequests) {
    IServiceNavigation* navigation = Navigation();
    ASSERT_NE(navigation, nullptr);
    sim_state_file::WriteTvService(R"({"fail": "navigation", "tv_mode": 2})");
    EXPECT_EQ(Navigation(), nullptr);
    EXPECT_EQ(QueryTvMode(*navigation).mode.mode[0], 2);
    sim_state_file::WriteTvService("{}");
    EXPECT_EQ(Navigation(), navigation);
}

TEST_F(TvServiceOwnership, NullOutPointerIsRefused) {
    EXPECT_NE(TVServiceAPI::CreateServiceNavigation(kProfile, kIndex, nullptr), 0);
    EXPECT_NE(TVServiceAPI::CreateAVControl(kProfile, kIndex, nullptr), 0);
}

// The service asks for every object on each lookup and never releases one.
TEST_F(TvServiceOwnership, ThousandsOfLookupsWithoutReleaseLeakNothing) {
    constexpr int kLookups = 5000;
    IServiceNavigation* const navigation = Navigation();
    IAVControl* const avControl = AVControl();
    IServiceDataAux* const serviceDataAux = TVServiceAPI::ServiceDataAux(kProfile, kIndex);
    for (int lookup = 0; lookup < kLookups; ++lookup) {
        IAVControl* av = AVControl();
        ASSERT_EQ(av, avControl);
        ASSERT_NE(QueryCurrentAudio(*av).result, 0);

        IServiceNavigation* nav = Navigation();
        ASSERT_EQ(nav, navigation);
        const TvMode tvMode = QueryTvMode(*nav);
        TCCriteriaHelper criteria = ServiceIdCriteria(tvMode.mode);
        const ServiceInfo info = QueryServiceInfo(*nav, tvMode.mode, criteria);
        ASSERT_EQ(ServiceId(info.data), 1u);

        IServiceDataAux* aux = TVServiceAPI::ServiceDataAux(kProfile, kIndex);
        ASSERT_EQ(aux, serviceDataAux);
        ASSERT_EQ(QueryAudio(*aux).result, 1);
    }
#ifdef TVSERVICE_TEST_LEAK_CHECK
    EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
#endif
}

}  // namespace
