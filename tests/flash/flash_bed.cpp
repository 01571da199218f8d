#include "flash_bed.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <umockdev.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace testsupport {

std::vector<Partition> default_partitions() {
    return {{0, "BOOT", 0x4000}, {1, "KEY_CUST1", 0x8000}, {2, "KEY_CUST", 0x8000}, {3, "SETTINGS", 0x10000}};
}

namespace {

std::string mtd_list(const std::vector<Partition> &parts) {
    std::string text = "dev:    size   erasesize  name\n";
    for (const Partition &p : parts) {
        char line[128];
        snprintf(line, sizeof line, "mtd%d: %08x 00001000 \"%s\"\n", p.index, p.size, p.name.c_str());
        text += line;
    }
    return text;
}

}  // namespace

FlashBed::FlashBed(const std::vector<Partition> &parts) : bed_(std::make_unique<Testbed>()) {
    bed_->mkdir("/dev");
    set_mtd_list(mtd_list(parts));
    for (const Partition &p : parts) add_device(p.index, p.size);
}

FlashBed::~FlashBed() {
    for (auto &d : devices_) g_object_unref(d->handler);
}

namespace {

// Runs on the testbed's ioctl thread for each read of a device.
gboolean on_read(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer data) {
    auto *dev = static_cast<FlashBed::Device *>(data);
    if (dev->reads_until_failure == 0) return FALSE;
    if (--dev->reads_until_failure != 0) return FALSE;
    umockdev_ioctl_client_complete(client, -1, EIO);
    return TRUE;
}

}  // namespace

void FlashBed::fail_read(int index, int n) {
    for (auto &d : devices_) {
        if (d->index == index) d->reads_until_failure = n;
    }
}

void FlashBed::set_mtd_list(const std::string &text) { bed_->write("/proc/mtd", text); }

std::string FlashBed::image_path(int index) const {
    return bed_->path("/dev/mtdblock" + std::to_string(index));
}

void FlashBed::add_device(int index, uint32_t size, unsigned char value) {
    const std::string dev = "/dev/mtdblock" + std::to_string(index);
    bed_->write(dev, std::string(size, static_cast<char>(value)));
    // The preload reaches every /dev node of the testbed through an ioctl
    // socket; a handler that handles nothing lets read, write and lseek go
    // to the image file.
    auto *handler = static_cast<UMockdevIoctlBase *>(g_object_new(umockdev_ioctl_base_get_type(), nullptr));
    GError *error = nullptr;
    if (!umockdev_testbed_attach_ioctl(bed_->get(), dev.c_str(), handler, &error)) {
        fprintf(stderr, "attach %s: %s\n", dev.c_str(), error ? error->message : "?");
        g_clear_error(&error);
        abort();
    }
    devices_.push_back(std::make_unique<Device>(Device{index, handler, 0}));
    g_signal_connect(handler, "handle-read", G_CALLBACK(on_read), devices_.back().get());
}

void FlashBed::remove_device(int index) {
    const std::string dev = "/dev/mtdblock" + std::to_string(index);
    umockdev_testbed_detach_ioctl(bed_->get(), dev.c_str(), nullptr);
    bed_->remove(dev);
}

Bytes FlashBed::image(int index) const {
    const std::string text = bed_->read("/dev/mtdblock" + std::to_string(index));
    return Bytes(text.begin(), text.end());
}

Bytes FlashBed::bytes(int index, uint32_t offset, uint32_t len) const {
    Bytes out(len);
    FILE *f = fopen(image_path(index).c_str(), "rb");
    if (f == nullptr) return {};
    fseek(f, offset, SEEK_SET);
    out.resize(fread(out.data(), 1, len, f));
    fclose(f);
    return out;
}

void FlashBed::put(int index, uint32_t offset, const Bytes &data) {
    FILE *f = fopen(image_path(index).c_str(), "r+b");
    if (f == nullptr) abort();
    fseek(f, offset, SEEK_SET);
    fwrite(data.data(), 1, data.size(), f);
    fclose(f);
}

void FlashBed::fill(int index, unsigned char value) {
    const Bytes img = image(index);
    put(index, 0, Bytes(img.size(), value));
}

int open_on_image(const FlashBed &flash, int index) {
    struct stat image {};
    if (stat(flash.image_path(index).c_str(), &image) != 0) return -1;
    int count = 0;
    for (int fd = 0; fd < 1024; ++fd) {
        struct stat st {};
        if (fstat(fd, &st) == 0 && st.st_ino == image.st_ino && st.st_dev == image.st_dev) ++count;
    }
    return count;
}

}  // namespace testsupport
