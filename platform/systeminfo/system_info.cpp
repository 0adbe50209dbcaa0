// Simulated system information: the "system_info" block of the platform state maps a key (in
// decimal) to its value. An integer reads successfully; null makes the read fail; an absent key
// reads as 0. Anything else (a string, a number outside int) makes the read fail.
#include "system_info.h"

#include <string>

#include "platform_sim_state.h"

extern "C" int system_info_get_value_int(system_info_key_e key, int* value) {
    if (value == nullptr) return SYSTEM_INFO_ERROR_INVALID_PARAMETER;
    const std::string name = std::to_string(static_cast<int>(key));
    const Json::Value* setting = platform_sim::FindStateMember("system_info", name.c_str());
    if (setting == nullptr) {
        *value = 0;
        return SYSTEM_INFO_ERROR_NONE;
    }
    if (!setting->isInt()) return SYSTEM_INFO_ERROR_IO_ERROR;
    *value = setting->asInt();
    return SYSTEM_INFO_ERROR_NONE;
}
