#include "fake_sleep.hpp"

#include <unistd.h>

namespace testsupport::fake_sleep {
namespace {
std::vector<unsigned> &recorded() {
    static std::vector<unsigned> v;
    return v;
}
std::function<void(size_t, unsigned)> &hook() {
    static std::function<void(size_t, unsigned)> h;
    return h;
}
}  // namespace

void reset() {
    recorded().clear();
    hook() = nullptr;
}
const std::vector<unsigned> &pauses() { return recorded(); }
void on_pause(std::function<void(size_t, unsigned)> fn) { hook() = std::move(fn); }

}  // namespace testsupport::fake_sleep

extern "C" int usleep(useconds_t usec) {
    using namespace testsupport::fake_sleep;
    const size_t index = recorded().size();
    recorded().push_back(static_cast<unsigned>(usec));
    if (hook()) hook()(index, static_cast<unsigned>(usec));
    return 0;
}
