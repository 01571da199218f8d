// SPDX-License-Identifier: MIT
#include "settings_fake.hpp"

#include <cstring>

#include "zev_settings.h"

namespace testsupport::settings_fake {
namespace {
// Made on first use: the library may call in before main.
template <typename T>
T &made() {
    static T v;
    return v;
}
auto &values() { return made<std::map<std::string, std::string>>(); }
auto &call_log() { return made<std::vector<std::string>>(); }
auto &unprotects() { return made<std::vector<int>>(); }
auto &hook() { return made<std::function<void(int)>>(); }
}  // namespace

void reset() { values().clear(), call_log().clear(), unprotects().clear(), hook() = nullptr; }
void set_value(const std::string &key, const std::string &value) { values()[key] = value; }
std::string value(const std::string &key) {
    const auto it = values().find(key);
    return it == values().end() ? std::string() : it->second;
}
const std::vector<std::string> &calls() { return call_log(); }
const std::vector<int> &unprotect_calls() { return unprotects(); }
void on_unprotect(std::function<void(int)> h) { hook() = std::move(h); }

}  // namespace testsupport::settings_fake

using namespace testsupport::settings_fake;

extern "C" {

int Zev_Settings_GetKeyStrVal(const char *key, char *buf, int size) {
    call_log().push_back("Get " + std::string(key) + " " + std::to_string(size));
    auto it = values().find(key);
    if (it == values().end() || size <= 0) return -1;
    const size_t n = std::min(it->second.size(), static_cast<size_t>(size - 1));
    memcpy(buf, it->second.data(), n);
    buf[n] = '\0';
    return 0;
}

int Zev_Settings_CompStr(const char *a, const char *b) {
    call_log().push_back("CompStr " + std::string(a) + " " + std::string(b));
    return strcmp(a, b);
}

int Zev_Settings_Set(const char *key, const char *value) {
    call_log().push_back("Set " + std::string(key) + " " + std::string(value));
    values()[key] = value;
    return 0;
}

int Zev_Settings_UnProtect(int flag) {
    call_log().push_back("UnProtect " + std::to_string(flag));
    unprotects().push_back(flag);
    if (hook()) hook()(flag);
    return 0;
}

}  // extern "C"
