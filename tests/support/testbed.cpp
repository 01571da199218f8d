// SPDX-License-Identifier: MIT
#include "testbed.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <umockdev.h>

#include <cstdio>
#include <cstdlib>

#include "board_tree.hpp"

namespace testsupport {

namespace {

constexpr const char kPreload[] = "libumockdev-preload.so.0";

// A board test started without the preload library would reach the
// machine's own /sys and /dev. When ctest asks for a testbed, the program
// stops before its first test without one (a failed global set-up would not
// keep the tests from running).
class RequireTestbed : public testing::Environment {
public:
    void SetUp() override {
        if (getenv("COMM_TESTBED_REQUIRED") == nullptr || Testbed::available()) return;
        const char *preload = getenv("LD_PRELOAD");
        fprintf(stderr, "%s is not loaded (LD_PRELOAD=\"%s\"): no board test is run\n", kPreload,
                preload ? preload : "");
        exit(1);
    }
};

testing::Environment *const g_require = testing::AddGlobalTestEnvironment(new RequireTestbed);

}  // namespace

// Loaded, not only named in LD_PRELOAD: under qemu-arm a preload that the
// loader cannot find is left out with a warning.
bool Testbed::available() {
    void *handle = dlopen(kPreload, RTLD_LAZY | RTLD_NOLOAD);
    if (handle == nullptr) return false;
    dlclose(handle);
    return true;
}

Testbed::Testbed() {
    tb_ = umockdev_testbed_new();
    gchar *root = umockdev_testbed_get_root_dir(tb_);
    root_ = root;
    g_free(root);
}

Testbed::~Testbed() { g_object_unref(tb_); }

bool Testbed::write(const std::string &abs, const std::string &content) const {
    return comm::sim::write_text(path(abs), content);
}
std::string Testbed::read(const std::string &abs) const { return comm::sim::read_text(path(abs)); }
bool Testbed::exists(const std::string &abs) const { return comm::sim::exists(path(abs)); }
bool Testbed::mkdir(const std::string &abs) const { return comm::sim::make_dirs(path(abs)); }
bool Testbed::remove(const std::string &abs) const { return comm::sim::remove_tree(path(abs)); }

}  // namespace testsupport
