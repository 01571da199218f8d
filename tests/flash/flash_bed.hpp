// A simulated NOR flash for tests: /proc/mtd and /dev/mtdblockN images in a
// umockdev testbed. The images are plain files behind the testbed's device
// nodes; tests read and write them directly to build and inspect states.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "testbed.hpp"

typedef struct _UMockdevIoctlBase UMockdevIoctlBase;

namespace testsupport {

using Bytes = std::vector<unsigned char>;

struct Partition {
    int index;
    std::string name;
    uint32_t size;
};

// The board's layout: KEY_CUST1 before KEY_CUST, as on the device.
std::vector<Partition> default_partitions();

class FlashBed {
public:
    // Lists `parts` in /proc/mtd and creates their images, erased (0xFF).
    explicit FlashBed(const std::vector<Partition> &parts = default_partitions());
    ~FlashBed();
    FlashBed(const FlashBed &) = delete;
    FlashBed &operator=(const FlashBed &) = delete;

    Testbed &bed() { return *bed_; }
    // Rewrites /proc/mtd as given (the images stay).
    void set_mtd_list(const std::string &text);
    // Creates the image of /dev/mtdblock<index> with `size` bytes of `fill`.
    void add_device(int index, uint32_t size, unsigned char fill = 0xFF);
    void remove_device(int index);

    std::string image_path(int index) const;
    Bytes image(int index) const;
    Bytes bytes(int index, uint32_t offset, uint32_t len) const;
    void put(int index, uint32_t offset, const Bytes &data);
    void fill(int index, unsigned char value);
    // Makes the n-th read (counted from 1, from now on) of /dev/mtdblock<index>
    // fail with EIO; 0 lets every read through.
    void fail_read(int index, int n);

    struct Device {
        int index;
        UMockdevIoctlBase *handler;
        int reads_until_failure;  // 0: none planned
    };

private:
    std::unique_ptr<Testbed> bed_;
    std::vector<std::unique_ptr<Device>> devices_;
};

// How many descriptors of this process are open on the image of
// /dev/mtdblock<index> (found by inode, without opening anything).
int open_on_image(const FlashBed &flash, int index);

}  // namespace testsupport
