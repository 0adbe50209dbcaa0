// The playing-time store: the client's last reported time, extrapolated on the monotonic clock
// and less the platform's subtitle delay.
#include <Ecore.h>

#include <cmath>
#include <cstring>

#include "TrevaloServiceServer.h"
#include "TrevaloServiceServerLog.h"
#include "system_info.h"

using Ondrel::TCMessage;

namespace {

constexpr unsigned int kTimeBytes = 4;

// Milliseconds elapsed, truncated toward zero and taken modulo 2^32. Within the signed 32-bit
// range this is the plain truncation; beyond it (over 24.8 days without a save) the count wraps
// like the playing time it is added to, instead of being undefined.
uint32_t ElapsedMilliseconds(double seconds) {
    const double milliseconds = std::trunc(seconds * 1000.0);
    if (!std::isfinite(milliseconds)) return 0;
    constexpr double kWrap = 4294967296.0;
    double wrapped = std::fmod(milliseconds, kWrap);
    if (wrapped < 0) wrapped += kWrap;
    return static_cast<uint32_t>(wrapped);
}

}  // namespace

void TrevaloServiceServer::SaveCurrentVideoPlayingTimeAtTrevaloService(const TCMessage& request,
                                                                       TCMessage& reply) {
    TREVALO_LOGI("");
    unsigned char* bytes = nullptr;
    const unsigned int length = request.GetBuffer(bytes);
    if (length < kTimeBytes) {
        TREVALO_LOGE("the playing time needs %u bytes, the buffer holds %u: time not saved",
                     kTimeBytes, length);
    } else {
        uint32_t time = 0;
        std::memcpy(&time, bytes, kTimeBytes);  // host byte order
        TREVALO_LOGI(" SERVER: SAVED currentVideotime= %lu", static_cast<unsigned long>(time));
        m_CurrentVideoPlayingTime = time;
        m_TimeTicker = ecore_time_get();
    }
    reply.body["return_data"] = Json::Value(0);
}

void TrevaloServiceServer::GetCurrentVideoPlayingTimeFromTrevaloService(const TCMessage&,
                                                                        TCMessage& reply) {
    int delay = 0;
    if (system_info_get_value_int(SYSTEM_INFO_KEY_SUBTITLE_DELAY_ADJUSTMENT, &delay) != 0) {
        delay = 0;
        TREVALO_LOGE("failed to get subtitle delay time");
    } else {
        TREVALO_LOGI("subtitleDelayAdjustment value is %d", delay);
    }

    const uint32_t elapsed = ElapsedMilliseconds(ecore_time_get() - m_TimeTicker);
    const uint32_t total = elapsed + m_CurrentVideoPlayingTime;  // wraps modulo 2^32
    const auto unsigned_delay = static_cast<uint32_t>(delay);
    // A delay larger than the total (a negative setting among them) is not applied.
    const uint32_t answer = total >= unsigned_delay ? total - unsigned_delay : total;
    TREVALO_LOGI(" SERVER: SAVED currentVideotime= %lu timeTickerDiff=%lu",
                 static_cast<unsigned long>(answer), static_cast<unsigned long>(total));

    reply.body["return_data"] = Json::Value(0);
    unsigned char bytes[kTimeBytes];
    std::memcpy(bytes, &answer, kTimeBytes);
    reply.SetBuffer(bytes, kTimeBytes);
}
