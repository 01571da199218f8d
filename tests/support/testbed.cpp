#include "testbed.hpp"

#include <umockdev.h>

#include <cstdlib>
#include <cstring>

#include "board_tree.hpp"

namespace testsupport {

bool Testbed::available() {
    const char *preload = getenv("LD_PRELOAD");
    return preload != nullptr && strstr(preload, "libumockdev-preload") != nullptr;
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
