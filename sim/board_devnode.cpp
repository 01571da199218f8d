#include "board_devnode.hpp"

#include <umockdev.h>

#include <cstdio>

#include "board_tree.hpp"

namespace comm::sim {

bool add_device_node(Board &board, const char *subsystem, const std::string &devnode, const char *dev,
                     UMockdevIoctlBase *handler) {
    const std::string name = devnode.substr(devnode.rfind('/') + 1);
    gchar *sys = umockdev_testbed_add_device(board.testbed, subsystem, name.c_str(), nullptr, "dev", dev, nullptr,
                                             "DEVNAME", devnode.c_str(), nullptr);
    g_free(sys);
    if (handler == nullptr) handler = umockdev_ioctl_base_new();
    GError *error = nullptr;
    const bool attached = umockdev_testbed_attach_ioctl(board.testbed, devnode.c_str(), handler, &error);
    g_object_unref(handler);  // the testbed keeps its own reference
    if (!attached) {
        fprintf(stderr, "boardsim: cannot attach %s: %s\n", devnode.c_str(), error != nullptr ? error->message : "?");
        g_clear_error(&error);
        return false;
    }
    return write_text(board.root + devnode, "");
}

}  // namespace comm::sim
