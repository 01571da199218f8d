#include "ioctl_device.hpp"

#include <umockdev.h>

#include <algorithm>
#include <cstring>

#include "board_tree.hpp"

namespace testsupport {
namespace {

gboolean on_handle_ioctl(UMockdevIoctlBase *, UMockdevIoctlClient *client, gpointer user_data) {
    auto *dev = static_cast<IoctlDevice *>(user_data);
    const unsigned long request = umockdev_ioctl_client_get_request(client);
    if (!dev->takes_word(request)) {
        const IoctlAnswer a = dev->handle(request, 0, false);
        umockdev_ioctl_client_complete(client, a.result == 0 ? 0 : -1, a.error);
        return TRUE;
    }
    UMockdevIoctlData *arg = umockdev_ioctl_client_get_arg(client);
    GError *error = nullptr;
    UMockdevIoctlData *data = umockdev_ioctl_data_resolve(arg, 0, sizeof(int32_t), &error);
    if (data == nullptr) {
        g_clear_error(&error);
        umockdev_ioctl_client_complete(client, -1, EFAULT);
        return TRUE;
    }
    int32_t word = 0;
    memcpy(&word, data->data, sizeof word);
    const IoctlAnswer a = dev->handle(request, word, true);
    if (a.result == 0) {
        memcpy(data->data, &a.word, sizeof a.word);
        umockdev_ioctl_client_complete(client, 0, 0);
    } else {
        umockdev_ioctl_client_complete(client, -1, a.error);
    }
    g_object_unref(data);
    return TRUE;
}

}  // namespace

IoctlDevice::IoctlDevice(UMockdevTestbed *testbed, const std::string &devnode, std::vector<unsigned long> no_argument)
    : no_argument_(std::move(no_argument)) {
    const std::string name = devnode.substr(devnode.rfind('/') + 1);
    gchar *sys = umockdev_testbed_add_device(testbed, "misc", name.c_str(), nullptr, "dev", "10:200", nullptr,
                                             "DEVNAME", devnode.c_str(), nullptr);
    g_free(sys);
    UMockdevIoctlBase *handler = umockdev_ioctl_base_new();
    g_signal_connect(handler, "handle-ioctl", G_CALLBACK(on_handle_ioctl), this);
    GError *error = nullptr;
    if (umockdev_testbed_attach_ioctl(testbed, devnode.c_str(), handler, &error)) {
        handler_ = handler;
        // The node itself: the preload connects it to the handler on open.
        gchar *root = umockdev_testbed_get_root_dir(testbed);
        comm::sim::write_text(std::string(root) + devnode, "");
        g_free(root);
    } else {
        g_clear_error(&error);
        g_object_unref(handler);
    }
}

IoctlDevice::~IoctlDevice() {
    // The handler stays with the testbed (a descriptor may still be open on
    // it); only stop it from calling back into this object.
    if (handler_ != nullptr) g_signal_handlers_disconnect_by_data(handler_, this);
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
    if (answer_) return answer_(request, word_in);
    return {0, 0, word_in};
}

}  // namespace testsupport
