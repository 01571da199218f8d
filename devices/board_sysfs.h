// SPDX-License-Identifier: MIT
/* The board's sysfs and procfs files that the library reads and writes: the
 * GPIO and PWM classes, the CPU temperature, the touch controller and the
 * kernel command line. Shared by the library, boardsim's board parts and
 * its preload, so that the simulated tree has the paths the library uses.
 * Plain C with no includes, usable from a kernel module. */
#ifndef COMM_DEVICES_BOARD_SYSFS_H
#define COMM_DEVICES_BOARD_SYSFS_H

/* The GPIO class: export and unexport take a pin number; gpioN appears. */
#define COMM_GPIO_CLASS "/sys/class/gpio"
#define COMM_GPIO_EXPORT COMM_GPIO_CLASS "/export"
#define COMM_GPIO_UNEXPORT COMM_GPIO_CLASS "/unexport"
#define COMM_GPIO_DIRECTION "direction"
#define COMM_GPIO_VALUE "value"
/* printf templates of a pin's attributes, for the pin's number. */
#define COMM_GPIO_PIN_ATTR(name) COMM_GPIO_CLASS "/gpio%d/" name

/* The PWM controller: export and unexport take a channel number; pwmN
 * appears with the four attributes below. */
#define COMM_PWM_CLASS "/sys/class/pwm"
#define COMM_PWM_CHIP COMM_PWM_CLASS "/pwmchip0"
#define COMM_PWM_EXPORT COMM_PWM_CHIP "/export"
#define COMM_PWM_UNEXPORT COMM_PWM_CHIP "/unexport"
#define COMM_PWM_NPWM COMM_PWM_CHIP "/npwm"
#define COMM_PWM_CHANNELS 8
#define COMM_PWM_PERIOD "period"
#define COMM_PWM_DUTY_CYCLE "duty_cycle"
#define COMM_PWM_POLARITY "polarity"
#define COMM_PWM_ENABLE "enable"
/* printf templates of a channel's attributes, for the channel's number. */
#define COMM_PWM_CHANNEL_ATTR(name) COMM_PWM_CHIP "/pwm%d/" name

/* "Temperature N": twelve bytes of the driver's words, then degrees. */
#define COMM_CPU_TEMP_ATTR "/sys/devices/virtual/mstar/msys/TEMP_R"
/* The touch controller's interrupt switch: "0" ignores touches, "1" takes them. */
#define COMM_TOUCH_IRQ_ATTR "/sys/class/i2c-dev/i2c-4/device/4-005d/drv_irq"
#define COMM_KERNEL_CMDLINE "/proc/cmdline"

#endif
