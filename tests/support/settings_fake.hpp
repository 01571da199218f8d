// SPDX-License-Identifier: MIT
// A recording fake of the system's settings library. Linking
// settings_fake.cpp into a test defines the four Zev_Settings_* functions in
// the executable, so that libcomm calls these instead of the stand-in.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace testsupport::settings_fake {

void reset();  // no values, no recorded calls, no hook
void set_value(const std::string &key, const std::string &value);
// The value stored under key ("" when there is none).
std::string value(const std::string &key);

// Every call to the fake, in order, as text: "Get Camera.Menu.TimeZone 64",
// "Set Camera.Menu.TimeZone GMT+09:00", "UnProtect 2", "CompStr a b".
const std::vector<std::string> &calls();
// The arguments of every Zev_Settings_UnProtect call, in order.
const std::vector<int> &unprotect_calls();

// Called inside each Zev_Settings_UnProtect with its argument, e.g. to
// snapshot the flash at that moment.
void on_unprotect(std::function<void(int)> hook);

}  // namespace testsupport::settings_fake
