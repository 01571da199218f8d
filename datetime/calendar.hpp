// SPDX-License-Identifier: MIT
// Internals shared by the date functions: wall-clock seconds in 64 bits,
// whether the system's time_t holds them, and breaking them down.
#pragma once

#include <cstdint>

#include "comm_datetime.h"

namespace comm {

// True when the system's time_t (32 bits on armhf) holds t unchanged.
bool fits_time_t(int64_t t);

// Breaks t down in the system's zone into a record (local_time(), which
// leaves localtime()'s static record alone). When time_t cannot hold t,
// or localtime() fails, the record is computed in UTC with 64-bit
// arithmetic instead, so that nothing wraps.
void break_down(int64_t t, hiSYSTEM_TM_S &out);

// Proleptic Gregorian date of a day count from 1970-01-01.
void civil_from_days(int64_t days, int64_t &year, int32_t &mon, int32_t &mday);

// The configured zone's offset: reads "Camera.Menu.TimeZone" and looks it up
// with Zev_Comm_TimeZone_to_Sec (an empty or unknown value gives 28800).
int32_t configured_zone_offset();

// The key that holds the zone text.
inline constexpr const char kZoneKey[] = "Camera.Menu.TimeZone";

}  // namespace comm
