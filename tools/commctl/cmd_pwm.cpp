// SPDX-License-Identifier: MIT
// pwm: set up, switch and show PWM channels of pwmchip0.
#include <cstdlib>
#include <cstring>
#include <string>

#include "comm_pwm.h"
#include "command.hpp"
#include "json.hpp"

namespace {

const char kUsage[] =
    "usage: commctl pwm init CHANNEL\n"
    "       commctl pwm deinit CHANNEL\n"
    "       commctl pwm set CHANNEL PERIOD_NS DUTY_NS [normal|inversed]\n"
    "       commctl pwm start CHANNEL\n"
    "       commctl pwm stop CHANNEL\n"
    "       commctl pwm status CHANNEL\n"
    "\n"
    "Works on /sys/class/pwm/pwmchip0. Period and duty cycle are nanoseconds\n"
    "(at most seven digits); init creates the channel, the others need it.\n"
    "status shows period, duty cycle, polarity and whether it runs.\n";

int result(int32_t r, const char *op, int32_t ch) {
    if (r != 0) return commctl::failure("pwm %s %d failed (%d)", op, ch, r);
    return commctl::kOk;
}

std::string attribute(int32_t ch, const char *name) {
    const std::string path = "/sys/class/pwm/pwmchip0/pwm" + std::to_string(ch) + "/" + name;
    FILE *f = fopen(path.c_str(), "r");
    if (f == nullptr) return {};
    char buf[32] = {};
    const size_t n = fread(buf, 1, sizeof buf - 1, f);
    fclose(f);
    std::string s(buf, n);
    while (!s.empty() && (s.back() == '\n' || s.back() == ' ')) s.pop_back();
    return s;
}

int status(int32_t ch) {
    const std::string enable = attribute(ch, "enable");
    if (enable.empty())
        return commctl::failure("pwm channel %d is not exported (commctl pwm init %d)", ch, ch);
    if (commctl::json_wanted()) {
        int32_t period = 0;
        (void)commctl::parse_i32(attribute(ch, "period"), period);
        commctl::JsonOut()
            .num("channel", ch)
            .num("period_ns", period)
            .num("duty_cycle_ns", Zev_Comm_PWM_Get_DutyCycle(ch))
            .str("polarity", attribute(ch, "polarity"))
            .flag("enabled", enable == "1")
            .end();
        return commctl::kOk;
    }
    printf("channel    %d\n", ch);
    printf("period     %s ns\n", attribute(ch, "period").c_str());
    printf("duty_cycle %d ns\n", Zev_Comm_PWM_Get_DutyCycle(ch));
    printf("polarity   %s\n", attribute(ch, "polarity").c_str());
    printf("enabled    %s\n", enable == "1" ? "yes" : "no");
    return commctl::kOk;
}

int run_pwm(commctl::Args args) {
    if (args.size() < 2)
        return commctl::usage_error("pwm wants an operation and a channel (see commctl pwm --help)");
    const char *op = args[0];
    int32_t ch = 0;
    if (!commctl::parse_i32(args[1], ch))
        return commctl::usage_error("'%s' is not a channel number", args[1]);
    const size_t extra = args.size() - 2;
    const bool single = strcmp(op, "init") == 0 || strcmp(op, "deinit") == 0 || strcmp(op, "start") == 0 ||
                        strcmp(op, "stop") == 0 || strcmp(op, "status") == 0;
    if (single) {
        if (extra != 0) return commctl::usage_error("pwm %s takes only a channel", op);
        if (strcmp(op, "init") == 0) return result(Zev_Comm_PWM_Init(ch), op, ch);
        if (strcmp(op, "deinit") == 0) return result(Zev_Comm_PWM_Deinit(ch), op, ch);
        if (strcmp(op, "start") == 0) return result(Zev_Comm_PWM_Start(ch), op, ch);
        if (strcmp(op, "stop") == 0) return result(Zev_Comm_PWM_Stop(ch), op, ch);
        return status(ch);
    }
    if (strcmp(op, "set") == 0) {
        int32_t period = 0, duty = 0;
        if (extra < 2 || extra > 3 || !commctl::parse_i32(args[2], period) ||
            !commctl::parse_i32(args[3], duty))
            return commctl::usage_error("pwm set wants a channel, a period and a duty cycle in ns");
        if (duty > period)
            return commctl::usage_error("the duty cycle %d is longer than the period %d", duty, period);
        int32_t r = Zev_Comm_PWM_Set_Frequency(ch, period);
        if (r == 0) r = Zev_Comm_PWM_Set_DutyCycle(ch, duty);
        if (r == 0 && extra == 3) {
            if (strcmp(args[4], "normal") != 0 && strcmp(args[4], "inversed") != 0)
                return commctl::usage_error("polarity must be normal or inversed, not '%s'", args[4]);
            r = Zev_Comm_PWM_Set_Polarity(ch, strcmp(args[4], "inversed") == 0);
        }
        return result(r, op, ch);
    }
    return commctl::usage_error("unknown pwm operation '%s'", op);
}

}  // namespace

COMMCTL_COMMAND(pwm, "pwm", "set up, switch and show PWM channels", kUsage, run_pwm);
