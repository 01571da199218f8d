// SPDX-License-Identifier: MIT
// The PMU driver behind /dev/ip_6303: its readings come from STATE/board/
// pmu.conf (NAME=VALUE lines), a run's --pmu-NAME=VALUE options override
// them, and what programs write to it is appended to STATE/board/pmu.log.
// --pmu=absent leaves the node out; --pmu-fail=1 refuses every request.
#include <umockdev.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>

#include "board.hpp"
#include "board_devnode.hpp"
#include "board_tree.hpp"
#include "pmu_ioctl.h"

namespace comm::sim {
namespace {

constexpr const char *kNode = COMM_PMU_NODE;

const char kDefaultReadings[] =
    "# Readings of the simulated PMU. boardsim --pmu-NAME=VALUE overrides one\n"
    "# for a run (NAME with '-' for '_', e.g. --pmu-charge-current=300).\n"
    "dc_in=1\n"
    "acc_on=1\n"
    "voltage=12150\n"
    "charge_current=500\n"
    "ntc=31\n"
    "power_key=0\n"
    "sd_in=1\n"
    "boot=0x1\n"
    "type=1\n";

struct Request {
    unsigned long number;
    const char *reading;  // the word handed back, or null for a pure write
    const char *record;   // the name written to the log, or null
};

// 0x84 stores the charge current, which the driver then reports.
const Request kRequests[] = {
    {COMM_PMU_GET_TYPE, "type", nullptr},
    {COMM_PMU_GET_NTC_TEMPERATURE, "ntc", nullptr},
    {COMM_PMU_SET_CHARGE_CURRENT, "charge_current", "set_charge_current"},
    {COMM_PMU_GET_VOLTAGE, "voltage", nullptr},
    {COMM_PMU_GET_CHARGE_CURRENT, "charge_current", nullptr},
    {COMM_PMU_SET_CAP, nullptr, "set_cap"},
    {COMM_PMU_IS_ACC_ON, "acc_on", nullptr},
    {COMM_PMU_IS_DC_IN, "dc_in", nullptr},
    {COMM_PMU_GET_BOOT_RES, "boot", nullptr},
    {COMM_PMU_POWER_OFF, nullptr, "power_off"},
    {COMM_PMU_SET_POWER_OFF_TIMEOUT, nullptr, "power_off_timeout"},
    {COMM_PMU_IS_POWER_KEY_PRESSED, "power_key", nullptr},
    {COMM_PMU_GET_SD_INSERT_STAT, "sd_in", nullptr},
};
static_assert(sizeof kRequests / sizeof kRequests[0] == COMM_PMU_REQUEST_COUNT, "every request is served");

struct PmuModel {
    std::string readings;  // STATE/board/pmu.conf
    std::string log;       // STATE/board/pmu.log
    std::map<std::string, std::string> overrides;
    bool fail = false;
};
PmuModel g_pmu;

std::string option_name(const std::string &key) {
    std::string name = "pmu-" + key;
    for (char &ch : name) {
        if (ch == '_') ch = '-';
    }
    return name;
}

int32_t reading(const std::string &key) {
    if (auto it = g_pmu.overrides.find(key); it != g_pmu.overrides.end())
        return static_cast<int32_t>(strtol(it->second.c_str(), nullptr, 0));
    std::istringstream in(read_text(g_pmu.readings));
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, key.size() + 1, key + "=") == 0)
            return static_cast<int32_t>(strtol(line.c_str() + key.size() + 1, nullptr, 0));
    }
    return 0;
}

void store_reading(const std::string &key, int32_t value) {
    std::istringstream in(read_text(g_pmu.readings));
    std::string out;
    bool stored = false;
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, key.size() + 1, key + "=") == 0) {
            line = key + "=" + std::to_string(value);
            stored = true;
        }
        out += line + "\n";
    }
    if (!stored) out += key + "=" + std::to_string(value) + "\n";
    write_text(g_pmu.readings, out);
    g_pmu.overrides.erase(key);
}

// Acts on one request; false for a request the driver does not know.
bool serve(unsigned long number, int32_t &word) {
    for (const Request &r : kRequests) {
        if (r.number != number) continue;
        if (r.record != nullptr) {
            write_text(g_pmu.log, read_text(g_pmu.log) + r.record + " " + std::to_string(word) + "\n");
            if (r.reading != nullptr) store_reading(r.reading, word);
        }
        if (r.reading != nullptr) word = reading(r.reading);
        return true;
    }
    return false;
}

int serve_request(void *, unsigned long number, int32_t &word) {
    if (g_pmu.fail) return EIO;
    return serve(number, word) ? 0 : ENOTTY;
}

gboolean on_ioctl(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer) {
    serve_word_request(client, serve_request, nullptr);
    return TRUE;
}

bool pmu_create(Board &board) {
    return write_text(board.tree + "/pmu.conf", kDefaultReadings) && write_text(board.tree + "/pmu.log", "");
}

bool pmu_attach(Board &board) {
    g_pmu.readings = board.tree + "/pmu.conf";
    g_pmu.log = board.tree + "/pmu.log";
    if (!exists(g_pmu.readings) && !pmu_create(board)) return false;
    if (board_option(board, "pmu", "present") == "absent") return true;
    g_pmu.fail = board_option(board, "pmu-fail", "0") != "0";
    for (const Request &r : kRequests) {
        if (r.reading == nullptr) continue;
        const std::string v = board_option(board, option_name(r.reading), "");
        if (!v.empty()) g_pmu.overrides[r.reading] = v;
    }
    UMockdevIoctlBase *handler = umockdev_ioctl_base_new();
    g_signal_connect(handler, "handle-ioctl", G_CALLBACK(on_ioctl), nullptr);
    return add_device_node(board, "misc", kNode, "10:63", handler);
}

}  // namespace
BOARDSIM_PART(pmu, pmu_create, pmu_attach);
}  // namespace comm::sim
