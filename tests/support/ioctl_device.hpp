// SPDX-License-Identifier: MIT
// A device node in a umockdev testbed whose ioctl requests the test answers:
// each is recorded with the 32-bit word it carries, and the answer decides
// the word handed back and the result (0, or -1 with an errno).
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

typedef struct _UMockdevTestbed UMockdevTestbed;
typedef struct _UMockdevIoctlBase UMockdevIoctlBase;

namespace testsupport {

struct IoctlCall {
    unsigned long request = 0;
    int32_t word_in = 0;  // the word as the caller passed it (0 when none)
    bool operator==(const IoctlCall &) const = default;
};

struct IoctlAnswer {
    int result = 0;    // 0 done, else the request fails with -1
    int error = 0;     // errno of a failing request
    int32_t word = 0;  // the word handed back on success
};

class IoctlDevice {
public:
    // Creates `devnode` in the testbed; requests in `no_argument` carry no word.
    IoctlDevice(UMockdevTestbed *testbed, const std::string &devnode,
                std::vector<unsigned long> no_argument = {});
    ~IoctlDevice();
    bool attached() const { return handler_ != nullptr; }
    // By default the word comes back unchanged with result 0.
    void answer(std::function<IoctlAnswer(unsigned long request, int32_t word_in)> fn);
    std::vector<IoctlCall> calls() const;  // every request so far, in order
    void clear_calls();
    IoctlAnswer handle(unsigned long request, int32_t word_in, bool has_word);
    bool takes_word(unsigned long request) const;  // these two for the handler, on umockdev's thread

private:
    mutable std::mutex mu_;
    std::function<IoctlAnswer(unsigned long, int32_t)> answer_;
    std::vector<IoctlCall> calls_;
    std::vector<unsigned long> no_argument_;
    UMockdevIoctlBase *handler_ = nullptr;
};

}  // namespace testsupport
