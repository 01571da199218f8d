// SPDX-License-Identifier: MIT
// A simulated NOR flash for tests: /proc/mtd and /dev/mtdblockN images in a
// umockdev testbed, read and written directly to build and inspect states.
#pragma once

#include <sys/stat.h>
#include <umockdev.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "testbed.hpp"

namespace testsupport {

using Bytes = std::vector<unsigned char>;
inline Bytes text(const std::string &s) { return Bytes(s.begin(), s.end()); }

class FlashBed {
public:
    // KEY_CUST1 before KEY_CUST, as on the device; every image erased (0xFF).
    FlashBed() {
        bed_.mkdir("/dev");
        set_mtd_list(
            "dev:    size   erasesize  name\nmtd1: 00008000 00001000 \"KEY_CUST1\"\n"
            "mtd2: 00008000 00001000 \"KEY_CUST\"\nmtd3: 00010000 00001000 \"SETTINGS\"\n");
        add_device(1, 0x8000);
        add_device(2, 0x8000);
        add_device(3, 0x10000);
    }
    ~FlashBed() {
        for (auto &d : devices_) g_object_unref(d->handler);
    }
    const Testbed &bed() const { return bed_; }
    void set_mtd_list(const std::string &list) { bed_.write("/proc/mtd", list); }
    std::string image_path(int index) const { return bed_.path(node(index)); }
    // The preload reaches every /dev node of the testbed through an ioctl
    // socket; a handler that handles nothing but planned read failures lets
    // read, write and lseek go to the image file.
    void add_device(int index, uint32_t size) {
        bed_.write(node(index), std::string(size, '\xff'));
        auto *handler =
            static_cast<UMockdevIoctlBase *>(g_object_new(umockdev_ioctl_base_get_type(), nullptr));
        if (!umockdev_testbed_attach_ioctl(bed_.get(), node(index).c_str(), handler, nullptr)) abort();
        devices_.push_back(std::make_unique<Device>(Device{index, handler, {}}));
        g_signal_connect(handler, "handle-read", G_CALLBACK(on_read), devices_.back().get());
    }
    void remove_device(int index) {
        umockdev_testbed_detach_ioctl(bed_.get(), node(index).c_str(), nullptr);
        bed_.remove(node(index));
    }
    // Makes reads number `from` to `from + count - 1` from now on (counted
    // from 1) of the device fail: with EIO, or, when `short_len` is not 0, by
    // handing over only the first `short_len` bytes at `offset`.
    void fail_reads(int index, int from, int count = 1, size_t short_len = 0, uint32_t offset = 0) {
        for (auto &d : devices_)
            if (d->index == index) d->plan = {0, from, count, short_len, offset, image_path(index)};
    }
    Bytes image(int index) const { return text(bed_.read(node(index))); }
    Bytes bytes(int index, uint32_t offset, uint32_t len) const {
        const Bytes all = image(index);  // empty when the device is gone
        return all.empty() ? all : Bytes(&all[offset], &all[std::min<size_t>(all.size(), offset + len)]);
    }
    void put(int index, uint32_t offset, const Bytes &data) const {
        FILE *f = fopen(image_path(index).c_str(), "r+b");
        if (f == nullptr) abort();
        fseek(f, offset, SEEK_SET);
        fwrite(data.data(), 1, data.size(), f);
        fclose(f);
    }
    void fill(int index, unsigned char value) const { put(index, 0, Bytes(image(index).size(), value)); }
    // How many descriptors of this process are open on the device's image
    // (found by inode, without opening anything).
    int open_on_image(int index) const {
        struct stat image {};
        if (stat(image_path(index).c_str(), &image) != 0) return -1;
        int count = 0;
        for (int fd = 0; fd < 1024; ++fd) {
            struct stat st {};
            count += fstat(fd, &st) == 0 && st.st_ino == image.st_ino && st.st_dev == image.st_dev;
        }
        return count;
    }

private:
    struct ReadPlan {
        int seen, from, count;
        size_t short_len;
        uint32_t offset;
        std::string image;
    };
    struct Device {
        int index;
        UMockdevIoctlBase *handler;
        ReadPlan plan;
    };
    static std::string node(int index) { return "/dev/mtdblock" + std::to_string(index); }
    // Runs on the testbed's ioctl thread for each read of a device; reads
    // outside the plan go to the image.
    static gboolean on_read(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer data) {
        ReadPlan &p = static_cast<Device *>(data)->plan;
        ++p.seen;
        if (p.from == 0 || p.seen < p.from || p.seen >= p.from + p.count) return FALSE;
        if (p.short_len == 0) {
            umockdev_ioctl_client_complete(client, -1, EIO);
            return TRUE;
        }
        UMockdevIoctlData *buf = umockdev_ioctl_client_get_arg(client);
        FILE *f = fopen(p.image.c_str(), "rb");
        const bool ok = f != nullptr && buf->data_len >= static_cast<int>(p.short_len) &&
                        fseek(f, p.offset, SEEK_SET) == 0 &&
                        fread(buf->data, 1, p.short_len, f) == p.short_len;
        if (f != nullptr) fclose(f);
        if (!ok) abort();
        umockdev_ioctl_client_complete(client, static_cast<glong>(p.short_len), 0);
        return TRUE;
    }
    Testbed bed_;
    std::vector<std::unique_ptr<Device>> devices_;
};

}  // namespace testsupport
