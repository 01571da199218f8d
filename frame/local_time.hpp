// SPDX-License-Identifier: MIT
// Local time in the system's zone without localtime()'s shared record.
//
// The C library re-reads the zone setting on every localtime() call when TZ
// is unset (a stat of the zone file and a string copy each time), and
// localtime() writes the one static struct tm that an application may be
// holding. These helpers break the time down with localtime_r() instead and
// keep the zone current themselves, per thread:
//   - TZ is compared with the copy taken at the last check on every call,
//     so that a change shows in the very next text, tzset() or not;
//   - with TZ unset the zone file's identity is looked at once per second
//     of the wall clock, so that a replaced file shows within a second;
//   - when either changed, tzset() makes the C library load the new zone.
#pragma once

#include <cstdint>
#include <ctime>

namespace comm {

// Breaks t down in the system's zone; false when the C library cannot.
bool local_time(time_t t, struct tm &out);

// The local time of the second `now`, kept per thread for as long as the
// second and the zone stay the same; null when it cannot be broken down.
// `serial` changes whenever the record is made afresh, so that a caller can
// keep a text made from it.
const struct tm *local_now(time_t now, uint32_t &serial);

}  // namespace comm
