// SPDX-License-Identifier: MIT
#include "board_devnode.hpp"

#include <umockdev.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "board_tree.hpp"

namespace comm::sim {

bool add_device_node(Board &board, const char *subsystem, const std::string &devnode, const char *dev,
                     UMockdevIoctlBase *handler) {
    return add_device_node(board.testbed, board.root, subsystem, devnode, dev, handler);
}

bool add_device_node(UMockdevTestbed *testbed, const std::string &root, const char *subsystem,
                     const std::string &devnode, const char *dev, UMockdevIoctlBase *handler) {
    const std::string name = devnode.substr(devnode.rfind('/') + 1);
    gchar *sys = umockdev_testbed_add_device(testbed, subsystem, name.c_str(), nullptr, "dev", dev, nullptr,
                                             "DEVNAME", devnode.c_str(), nullptr);
    g_free(sys);
    if (handler == nullptr) handler = umockdev_ioctl_base_new();
    GError *error = nullptr;
    const bool attached = umockdev_testbed_attach_ioctl(testbed, devnode.c_str(), handler, &error);
    g_object_unref(handler);  // the testbed keeps its own reference
    if (!attached) {
        fprintf(stderr, "boardsim: cannot attach %s: %s\n", devnode.c_str(),
                error != nullptr ? error->message : "?");
        g_clear_error(&error);
        return false;
    }
    return write_text(root + devnode, "");
}

void serve_word_request(UMockdevIoctlClient *client, WordServer serve, void *context) {
    GError *error = nullptr;
    UMockdevIoctlData *data =
        umockdev_ioctl_data_resolve(umockdev_ioctl_client_get_arg(client), 0, sizeof(int32_t), &error);
    if (data == nullptr) {
        g_clear_error(&error);
        umockdev_ioctl_client_complete(client, -1, EFAULT);
        return;
    }
    int32_t word = 0;
    memcpy(&word, data->data, sizeof word);
    const int err = serve(context, umockdev_ioctl_client_get_request(client), word);
    if (err == 0) memcpy(data->data, &word, sizeof word);
    umockdev_ioctl_client_complete(client, err == 0 ? 0 : -1, err);
    g_object_unref(data);
}

}  // namespace comm::sim
