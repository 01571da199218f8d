// SPDX-License-Identifier: MIT
// gpio: export, direction, value and unexport through the library.
#include <cstring>

#include "comm_gpio.h"
#include "command.hpp"
#include "json.hpp"

namespace {

const char kUsage[] =
    "usage: commctl gpio export PIN\n"
    "       commctl gpio unexport PIN\n"
    "       commctl gpio dir PIN in|out|high|low\n"
    "       commctl gpio get PIN\n"
    "       commctl gpio set PIN VALUE\n"
    "\n"
    "Drives a pin through /sys/class/gpio. Pins and values run from -99 to 999\n"
    "(three characters); the kernel's order is export, dir, get/set, unexport.\n";

int result(int32_t r, const char *what, int32_t pin) {
    if (r < 0) return commctl::failure("gpio %s %d failed (%d)", what, pin, r);
    return commctl::kOk;
}

int run_gpio(commctl::Args args) {
    if (args.size() < 2)
        return commctl::usage_error("gpio wants an operation and a pin (see commctl gpio --help)");
    const char *op = args[0];
    int32_t pin = 0;
    if (!commctl::parse_i32(args[1], pin)) return commctl::usage_error("'%s' is not a pin number", args[1]);
    const size_t extra = args.size() - 2;

    if (strcmp(op, "export") == 0 || strcmp(op, "unexport") == 0 || strcmp(op, "get") == 0) {
        if (extra != 0) return commctl::usage_error("gpio %s takes only a pin", op);
        if (op[0] == 'e') return result(Zev_Comm_Gpio_Export(pin), op, pin);
        if (op[0] == 'u') return result(Zev_Comm_Gpio_Unexport(pin), op, pin);
        const int32_t v = Zev_Comm_Gpio_GetVal(pin);
        if (v < 0) return result(v, op, pin);
        if (commctl::json_wanted()) {
            commctl::JsonOut().num("pin", pin).num("value", v).end();
        } else {
            printf("%d\n", v);
        }
        return commctl::kOk;
    }
    if (strcmp(op, "dir") == 0) {
        if (extra != 1) return commctl::usage_error("gpio dir wants a pin and in|out|high|low");
        const char *d = args[2];
        if (strcmp(d, "in") != 0 && strcmp(d, "out") != 0 && strcmp(d, "high") != 0 && strcmp(d, "low") != 0)
            return commctl::usage_error("direction must be in, out, high or low, not '%s'", d);
        char dir[5] = {};  // the library writes 4 bytes and logs it as a string
        memcpy(dir, d, strnlen(d, sizeof dir));
        return result(Zev_Comm_Gpio_SetDirection(pin, dir), op, pin);
    }
    if (strcmp(op, "set") == 0) {
        int32_t value = 0;
        if (extra != 1 || !commctl::parse_i32(args[2], value))
            return commctl::usage_error("gpio set wants a pin and a number");
        return result(Zev_Comm_Gpio_SetVal(pin, value), op, pin);
    }
    return commctl::usage_error("unknown gpio operation '%s'", op);
}

}  // namespace

COMMCTL_COMMAND(gpio, "gpio", "export, direct, read and set GPIO pins", kUsage, run_gpio);
