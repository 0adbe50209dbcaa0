// System information: read-only platform settings by key.
#ifndef PLATFORM_SYSTEM_INFO_H
#define PLATFORM_SYSTEM_INFO_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    SYSTEM_INFO_KEY_SUBTITLE_DELAY_ADJUSTMENT = 709,  // milliseconds, may be negative
} system_info_key_e;

typedef enum {
    SYSTEM_INFO_ERROR_NONE = 0,
    SYSTEM_INFO_ERROR_INVALID_PARAMETER = -22,
    SYSTEM_INFO_ERROR_IO_ERROR = -5,
} system_info_error_e;

// Reads the integer setting `key` into *value. Returns SYSTEM_INFO_ERROR_NONE (0) on success;
// otherwise *value is left untouched.
int system_info_get_value_int(system_info_key_e key, int* value);

#ifdef __cplusplus
}
#endif

#endif
