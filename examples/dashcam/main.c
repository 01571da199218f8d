/*
 * A small camera application: logs through the library's frame, reads the
 * clocks and blinks the record LED on GPIO 33.
 */
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "comm_clock.h"
#include "comm_gpio.h"
#include "comm_log.h"

#define LED_GPIO 33

static int blink_record_led(int times)
{
    char dir[4] = "out";
    int i;

    if (Zev_Comm_Gpio_Export(LED_GPIO) != 0) {
        ZEV_COMM_ERR("no LED gpio[%d]\n", LED_GPIO);
        return -1;
    }
    if (Zev_Comm_Gpio_SetDirection(LED_GPIO, dir) != 0) {
        return -1;
    }
    for (i = 0; i < times; i++) {
        Zev_Comm_Gpio_SetVal(LED_GPIO, 1);
        ZEV_COMM_INF("LED on, reads %d\n", Zev_Comm_Gpio_GetVal(LED_GPIO));
        usleep(20000);
        Zev_Comm_Gpio_SetVal(LED_GPIO, 0);
        ZEV_COMM_INF("LED off, reads %d\n", Zev_Comm_Gpio_GetVal(LED_GPIO));
    }
    return 0;
}

int main(void)
{
    char stamp[16];

    ZEV_COMM_INF("dashcam demo starting, print level %d\n", Zev_Comm_GetPrintLev());
    ZevSysFormatRtcTime(stamp);
    ZEV_COMM_DBG("boot %u ms, wall clock %s\n", Zev_Comm_GetBootMs(), stamp);

    if (blink_record_led(2) != 0) {
        ZEV_COMM_WAR("running without the record LED\n");
    }

    Zev_Comm_SetPrintLev(7);
    ZEV_COMM_VER("verbose lines show at level %d\n", Zev_Comm_GetPrintLev());
    Zev_Comm_SetPrintLev(5);
    ZEV_COMM_VER("and this one does not\n");
    ZEV_COMM_INF("dashcam demo done\n");
    return 0;
}
