// SPDX-License-Identifier: MIT
// A umockdev testbed for board tests: /sys, /dev and /proc of the test
// program are redirected into a temporary folder while it lives. The program
// must run under umockdev-wrapper (ctest does this for board tests).
#pragma once

#include <string>

typedef struct _UMockdevTestbed UMockdevTestbed;

namespace testsupport {

class Testbed {
public:
    Testbed();
    ~Testbed();
    Testbed(const Testbed &) = delete;
    Testbed &operator=(const Testbed &) = delete;

    // True when the umockdev preload library is active in this process.
    static bool available();

    UMockdevTestbed *get() const { return tb_; }
    const std::string &root() const { return root_; }
    // The real location of a path such as "/sys/class/gpio/export".
    std::string path(const std::string &abs) const { return root_ + abs; }

    bool write(const std::string &abs, const std::string &content) const;
    std::string read(const std::string &abs) const;
    bool exists(const std::string &abs) const;
    bool mkdir(const std::string &abs) const;
    bool remove(const std::string &abs) const;

private:
    UMockdevTestbed *tb_ = nullptr;
    std::string root_;
};

}  // namespace testsupport

// Skips the current test when it is not running under umockdev-wrapper.
#define REQUIRE_TESTBED()                                                                   \
    do {                                                                                    \
        if (!::testsupport::Testbed::available()) GTEST_SKIP() << "needs umockdev-wrapper"; \
    } while (0)
