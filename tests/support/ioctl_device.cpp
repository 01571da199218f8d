// SPDX-License-Identifier: MIT
#include "ioctl_device.hpp"

#include <umockdev.h>

#include <algorithm>

#include "board_devnode.hpp"

namespace testsupport {
namespace {

int serve_word(void *context, unsigned long request, int32_t &word) {
    const IoctlAnswer a = static_cast<IoctlDevice *>(context)->handle(request, word, true);
    if (a.result != 0) return a.error != 0 ? a.error : EIO;
    word = a.word;
    return 0;
}

gboolean on_handle_ioctl(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer user_data) {
    auto *dev = static_cast<IoctlDevice *>(user_data);
    const unsigned long request = umockdev_ioctl_client_get_request(client);
    if (dev->takes_word(request)) {
        comm::sim::serve_word_request(client, serve_word, dev);
    } else {
        const IoctlAnswer a = dev->handle(request, 0, false);
        umockdev_ioctl_client_complete(client, a.result == 0 ? 0 : -1, a.error);
    }
    return TRUE;
}

}  // namespace

IoctlDevice::IoctlDevice(UMockdevTestbed *testbed, const std::string &devnode,
                         std::vector<unsigned long> no_argument)
    : no_argument_(std::move(no_argument)) {
    UMockdevIoctlBase *handler = umockdev_ioctl_base_new();
    g_signal_connect(handler, "handle-ioctl", G_CALLBACK(on_handle_ioctl), this);
    g_object_ref(handler);  // kept to disconnect from it at the end
    gchar *root = umockdev_testbed_get_root_dir(testbed);
    if (comm::sim::add_device_node(testbed, root, "misc", devnode, "10:200", handler)) {
        handler_ = handler;
    } else {
        g_object_unref(handler);
    }
    g_free(root);
}

// The handler stays with the testbed (a descriptor may still be open on it):
// it only stops calling back into this object.
IoctlDevice::~IoctlDevice() {
    if (handler_ == nullptr) return;
    g_signal_handlers_disconnect_by_data(handler_, this);
    g_object_unref(handler_);
}

void IoctlDevice::answer(std::function<IoctlAnswer(unsigned long, int32_t)> fn) {
    std::lock_guard<std::mutex> lock(mu_);
    answer_ = std::move(fn);
}
std::vector<IoctlCall> IoctlDevice::calls() const {
    std::lock_guard<std::mutex> lock(mu_);
    return calls_;
}
void IoctlDevice::clear_calls() {
    std::lock_guard<std::mutex> lock(mu_);
    calls_.clear();
}

bool IoctlDevice::takes_word(unsigned long request) const {
    return std::find(no_argument_.begin(), no_argument_.end(), request) == no_argument_.end();
}

IoctlAnswer IoctlDevice::handle(unsigned long request, int32_t word_in, bool has_word) {
    std::lock_guard<std::mutex> lock(mu_);
    calls_.push_back({request, has_word ? word_in : 0});
    return answer_ ? answer_(request, word_in) : IoctlAnswer{0, 0, word_in};
}

}  // namespace testsupport
