// SPDX-License-Identifier: MIT OR GPL-2.0-only
/*
 * testboard: the camera board's parts that qemu's virt machine lacks, for
 * running the library against a real kernel.
 *
 *  - NOR flash: an MTD with the board's named partitions and erase regions.
 *    Its contents are mirrored in RAM and written through to a block device
 *    (flash=/dev/vda) with O_DSYNC, so that stopping the machine at any
 *    moment leaves the image as a power cut leaves the chip.
 *  - GPIO: a 64-line chip at base 0, so that pins keep the board's numbers.
 *  - PMU: the driver's character device. Its readings are the module's
 *    parameters (writable under /sys/module/testboard/parameters), the
 *    words programs send are appended to the read-only parameter "writes".
 *  - The CPU temperature attribute (parameter cpu_temp) and the touch
 *    controller's interrupt switch.
 */
#include <linux/device.h>
#include <linux/fs.h>
#include <linux/gpio/driver.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include <linux/mtd/partitions.h>
#include <linux/mutex.h>
#include <linux/uaccess.h>
#include <linux/vmalloc.h>

#include "devices/flash_layout.h"
#include "devices/gpio_lines.h"
#include "devices/pmu_ioctl.h"

/* ---- flash ---- */

static char *flash = "/dev/vda";
module_param(flash, charp, 0444);
MODULE_PARM_DESC(flash, "block device that holds the flash image");

static const struct comm_flash_partition tb_layout[] = {COMM_FLASH_LAYOUT_ROWS};
static struct mtd_partition tb_parts[COMM_FLASH_PARTITION_COUNT];
static struct mtd_erase_region_info tb_regions[COMM_FLASH_PARTITION_COUNT];
static struct mtd_info tb_mtd;
static struct file *tb_backing;
static u8 *tb_mirror;
static DEFINE_MUTEX(tb_flash_lock);

/* Writes the mirror's bytes [from, from+len) to the image, synchronously. */
static int tb_write_through(loff_t from, size_t len) {
    loff_t pos = from;
    ssize_t done = kernel_write(tb_backing, tb_mirror + from, len, &pos);

    if (done != len) return done < 0 ? done : -EIO;
    return 0;
}

static int tb_erase(struct mtd_info *mtd, struct erase_info *instr) {
    int err;

    mutex_lock(&tb_flash_lock);
    memset(tb_mirror + instr->addr, 0xff, instr->len);
    err = tb_write_through(instr->addr, instr->len);
    mutex_unlock(&tb_flash_lock);
    if (err) instr->fail_addr = instr->addr;
    return err;
}

static int tb_read(struct mtd_info *mtd, loff_t from, size_t len, size_t *retlen, u_char *buf) {
    mutex_lock(&tb_flash_lock);
    memcpy(buf, tb_mirror + from, len);
    mutex_unlock(&tb_flash_lock);
    *retlen = len;
    return 0;
}

/* NOR programming only clears bits; setting them takes an erase. */
static int tb_write(struct mtd_info *mtd, loff_t to, size_t len, size_t *retlen, const u_char *buf) {
    size_t i;
    int err;

    mutex_lock(&tb_flash_lock);
    for (i = 0; i < len; i++) tb_mirror[to + i] &= buf[i];
    err = tb_write_through(to, len);
    mutex_unlock(&tb_flash_lock);
    *retlen = err ? 0 : len;
    return err;
}

static int tb_flash_start(void) {
    u64 offset = 0;
    loff_t pos = 0;
    u32 largest = 0;
    int i;

    for (i = 0; i < COMM_FLASH_PARTITION_COUNT; i++) {
        tb_parts[i].name = (char *)tb_layout[i].name;
        tb_parts[i].offset = offset;
        tb_parts[i].size = tb_layout[i].size;
        tb_regions[i].offset = offset;
        tb_regions[i].erasesize = tb_layout[i].erase_size;
        tb_regions[i].numblocks = tb_layout[i].size / tb_layout[i].erase_size;
        largest = max(largest, tb_layout[i].erase_size);
        offset += tb_layout[i].size;
    }
    tb_backing = filp_open(flash, O_RDWR | O_DSYNC | O_LARGEFILE, 0);
    if (IS_ERR(tb_backing)) {
        pr_err("testboard: cannot open flash image %s: %ld\n", flash, PTR_ERR(tb_backing));
        return PTR_ERR(tb_backing);
    }
    if (i_size_read(tb_backing->f_mapping->host) < offset) {
        pr_err("testboard: %s is smaller than the flash (%llu bytes)\n", flash, offset);
        filp_close(tb_backing, NULL);
        return -ENOSPC;
    }
    tb_mirror = vmalloc(offset);
    if (!tb_mirror || kernel_read(tb_backing, tb_mirror, offset, &pos) != offset) {
        pr_err("testboard: cannot read the flash image %s\n", flash);
        vfree(tb_mirror);
        filp_close(tb_backing, NULL);
        return -EIO;
    }
    tb_mtd.name = "testboard";
    tb_mtd.type = MTD_NORFLASH;
    tb_mtd.flags = MTD_CAP_NORFLASH;
    tb_mtd.size = offset;
    tb_mtd.erasesize = largest;
    tb_mtd.numeraseregions = COMM_FLASH_PARTITION_COUNT;
    tb_mtd.eraseregions = tb_regions;
    tb_mtd.writesize = 1;
    tb_mtd.writebufsize = 64;
    tb_mtd.owner = THIS_MODULE;
    tb_mtd._erase = tb_erase;
    tb_mtd._read = tb_read;
    tb_mtd._write = tb_write;
    return mtd_device_register(&tb_mtd, tb_parts, COMM_FLASH_PARTITION_COUNT);
}

static void tb_flash_stop(void) {
    mtd_device_unregister(&tb_mtd);
    filp_close(tb_backing, NULL);
    vfree(tb_mirror);
}

/* ---- GPIO ---- */

#define TB_GPIO_LINES COMM_GPIO_LINE_COUNT

static DECLARE_BITMAP(tb_gpio_out, TB_GPIO_LINES);
static DECLARE_BITMAP(tb_gpio_level, TB_GPIO_LINES);

static int tb_gpio_get_direction(struct gpio_chip *gc, unsigned int line) {
    return test_bit(line, tb_gpio_out) ? GPIO_LINE_DIRECTION_OUT : GPIO_LINE_DIRECTION_IN;
}

static int tb_gpio_input(struct gpio_chip *gc, unsigned int line) {
    clear_bit(line, tb_gpio_out);
    return 0;
}

/* A line keeps the level last driven on it, as a pin with nothing
 * attached holds its charge for a while. */
static int tb_gpio_get(struct gpio_chip *gc, unsigned int line) { return test_bit(line, tb_gpio_level); }

static void tb_gpio_set(struct gpio_chip *gc, unsigned int line, int value) {
    assign_bit(line, tb_gpio_level, value);
}

static int tb_gpio_output(struct gpio_chip *gc, unsigned int line, int value) {
    tb_gpio_set(gc, line, value);
    set_bit(line, tb_gpio_out);
    return 0;
}

static struct gpio_chip tb_gpio = {
    .label = "testboard",
    .owner = THIS_MODULE,
    .base = 0,
    .ngpio = TB_GPIO_LINES,
    .get_direction = tb_gpio_get_direction,
    .direction_input = tb_gpio_input,
    .direction_output = tb_gpio_output,
    .get = tb_gpio_get,
    .set = tb_gpio_set,
};

/* ---- PMU ---- */

static int type = 1, ntc = 31, voltage = 12150, charge_current = 500;
static int acc_on = 1, dc_in = 1, boot = 1, power_key, sd_in = 1;
module_param(type, int, 0644);
module_param(ntc, int, 0644);
module_param(voltage, int, 0644);
module_param(charge_current, int, 0644);
module_param(acc_on, int, 0644);
module_param(dc_in, int, 0644);
module_param(boot, int, 0644);
module_param(power_key, int, 0644);
module_param(sd_in, int, 0644);

struct tb_request {
    unsigned int number;
    int *reading;       /* the word handed back, or NULL for a pure write */
    const char *record; /* the name the write is recorded under, or NULL */
};

/* Setting the charge current stores it: the driver then reports it. */
static const struct tb_request tb_requests[COMM_PMU_REQUEST_COUNT] = {
    {COMM_PMU_GET_TYPE, &type, NULL},
    {COMM_PMU_GET_NTC_TEMPERATURE, &ntc, NULL},
    {COMM_PMU_SET_CHARGE_CURRENT, &charge_current, "set_charge_current"},
    {COMM_PMU_GET_VOLTAGE, &voltage, NULL},
    {COMM_PMU_GET_CHARGE_CURRENT, &charge_current, NULL},
    {COMM_PMU_SET_CAP, NULL, "set_cap"},
    {COMM_PMU_IS_ACC_ON, &acc_on, NULL},
    {COMM_PMU_IS_DC_IN, &dc_in, NULL},
    {COMM_PMU_GET_BOOT_RES, &boot, NULL},
    {COMM_PMU_POWER_OFF, NULL, "power_off"},
    {COMM_PMU_SET_POWER_OFF_TIMEOUT, NULL, "power_off_timeout"},
    {COMM_PMU_IS_POWER_KEY_PRESSED, &power_key, NULL},
    {COMM_PMU_GET_SD_INSERT_STAT, &sd_in, NULL},
};

static char tb_writes[PAGE_SIZE];
static size_t tb_writes_len;
static DEFINE_MUTEX(tb_pmu_lock);

static int tb_writes_get(char *buffer, const struct kernel_param *kp) {
    int n;

    mutex_lock(&tb_pmu_lock);
    n = scnprintf(buffer, PAGE_SIZE, "%s", tb_writes);
    mutex_unlock(&tb_pmu_lock);
    return n;
}

static const struct kernel_param_ops tb_writes_ops = {.get = tb_writes_get};
module_param_cb(writes, &tb_writes_ops, NULL, 0444);
MODULE_PARM_DESC(writes, "the PMU writes received, one \"name value\" line each");

static long tb_pmu_ioctl(struct file *file, unsigned int number, unsigned long arg) {
    const struct tb_request *r = NULL;
    s32 word;
    int i;

    for (i = 0; i < COMM_PMU_REQUEST_COUNT && !r; i++)
        if (tb_requests[i].number == number) r = &tb_requests[i];
    if (!r) return -ENOTTY;
    if (copy_from_user(&word, (void __user *)arg, sizeof(word))) return -EFAULT;
    mutex_lock(&tb_pmu_lock);
    if (r->record) {
        /* When the page is full the oldest writes are what a test wants
         * least; it simply stops recording. */
        tb_writes_len += scnprintf(tb_writes + tb_writes_len, sizeof(tb_writes) - tb_writes_len, "%s %d\n",
                                   r->record, word);
        if (r->reading) *r->reading = word;
    }
    if (r->reading) word = *r->reading;
    mutex_unlock(&tb_pmu_lock);
    if (copy_to_user((void __user *)arg, &word, sizeof(word))) return -EFAULT;
    return 0;
}

static const struct file_operations tb_pmu_fops = {
    .owner = THIS_MODULE,
    .unlocked_ioctl = tb_pmu_ioctl,
    .compat_ioctl = compat_ptr_ioctl,
};

static struct miscdevice tb_pmu = {
    .minor = MISC_DYNAMIC_MINOR,
    .name = COMM_PMU_NODE_NAME,
    .fops = &tb_pmu_fops,
    .mode = 0666,
};

/* ---- CPU temperature ---- */

static int cpu_temp = 52;
module_param(cpu_temp, int, 0644);

static ssize_t TEMP_R_show(struct device *dev, struct device_attribute *attr, char *buf) {
    return sysfs_emit(buf, "Temperature %d\n", cpu_temp);
}
static DEVICE_ATTR_RO(TEMP_R);

/* The touch controller's interrupt switch: 1 on, 0 off. */
static int touch_irq = 1;

static ssize_t drv_irq_show(struct device *dev, struct device_attribute *attr, char *buf) {
    return sysfs_emit(buf, "%d\n", touch_irq);
}

static ssize_t drv_irq_store(struct device *dev, struct device_attribute *attr, const char *buf, size_t n) {
    int value;

    if (kstrtoint(buf, 10, &value)) return -EINVAL;
    touch_irq = value;
    return n;
}
static DEVICE_ATTR_RW(drv_irq);

static struct class *tb_class, *tb_i2c_class;
static struct device *tb_soc, *tb_adapter, *tb_touch, *tb_i2c_node;

/* /sys/devices/virtual/mstar/msys/TEMP_R, where the SoC's driver puts it,
 * and /sys/class/i2c-dev/i2c-4/device/4-005d/drv_irq, the touch
 * controller's switch: an adapter i2c-4 with the client 4-005d below it,
 * and the adapter's node in the i2c-dev class. */
static int tb_attributes_start(void) {
    tb_class = class_create(THIS_MODULE, "mstar");
    if (IS_ERR(tb_class)) return PTR_ERR(tb_class);
    tb_i2c_class = class_create(THIS_MODULE, "i2c-dev");
    if (IS_ERR(tb_i2c_class)) return PTR_ERR(tb_i2c_class);
    tb_soc = device_create(tb_class, NULL, 0, NULL, "msys");
    tb_adapter = device_create(tb_class, NULL, 0, NULL, "i2c-4");
    tb_touch = IS_ERR(tb_adapter) ? tb_adapter : device_create(tb_class, tb_adapter, 0, NULL, "4-005d");
    tb_i2c_node = IS_ERR(tb_adapter) ? tb_adapter : device_create(tb_i2c_class, tb_adapter, 0, NULL, "i2c-4");
    if (IS_ERR(tb_soc) || IS_ERR(tb_adapter) || IS_ERR(tb_touch) || IS_ERR(tb_i2c_node)) return -ENOMEM;
    if (device_create_file(tb_soc, &dev_attr_TEMP_R)) return -ENOMEM;
    return device_create_file(tb_touch, &dev_attr_drv_irq);
}

/* Undoes what tb_attributes_start made, also after it failed half-way. */
static void tb_attributes_stop(void) {
    if (!IS_ERR_OR_NULL(tb_i2c_node)) device_unregister(tb_i2c_node);
    if (!IS_ERR_OR_NULL(tb_touch)) device_unregister(tb_touch);
    if (!IS_ERR_OR_NULL(tb_adapter)) device_unregister(tb_adapter);
    if (!IS_ERR_OR_NULL(tb_soc)) device_unregister(tb_soc);
    class_destroy(tb_i2c_class);
    class_destroy(tb_class);
}

/* ---- module ---- */

static int __init tb_init(void) {
    int err = tb_flash_start();

    if (err) return err;
    err = gpiochip_add_data(&tb_gpio, NULL);
    if (err) goto no_gpio;
    err = misc_register(&tb_pmu);
    if (err) goto no_pmu;
    err = tb_attributes_start();
    if (err) goto no_attributes;
    return 0;
no_attributes:
    tb_attributes_stop();
    misc_deregister(&tb_pmu);
no_pmu:
    gpiochip_remove(&tb_gpio);
no_gpio:
    tb_flash_stop();
    return err;
}

static void __exit tb_exit(void) {
    tb_attributes_stop();
    misc_deregister(&tb_pmu);
    gpiochip_remove(&tb_gpio);
    tb_flash_stop();
}

module_init(tb_init);
module_exit(tb_exit);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("The camera board's flash, GPIO, PMU and temperature for the kernel lab");
