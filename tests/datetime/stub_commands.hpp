// Recording stub commands first on PATH: each stub appends "NAME ARGS" to
// one log in a private folder, then runs an optional shell body. The
// machine's own commands (hwclock, cp, chmod, ps ...) are never reached.
#pragma once

#include <sys/stat.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tempdir.hpp"

namespace testsupport {

class StubCommands {
public:
    StubCommands() {
        const char *old = getenv("PATH");
        had_path_ = old != nullptr;
        if (had_path_) old_path_ = old;
        setenv("PATH", (dir_.path() + ":" + old_path_).c_str(), 1);
    }
    ~StubCommands() {
        if (had_path_)
            setenv("PATH", old_path_.c_str(), 1);
        else
            unsetenv("PATH");
    }
    StubCommands(const StubCommands &) = delete;
    StubCommands &operator=(const StubCommands &) = delete;

    // A stub `name` that records its call, then runs `body` (shell text).
    void add(const std::string &name, const std::string &body = "") {
        const std::string path = dir_ / name;
        write_file(path, "#!/bin/sh\necho \"" + name + " $*\" >> '" + log_path() + "'\n" + body + "\n");
        chmod(path.c_str(), 0755);
    }
    std::string log_path() const { return dir_ / "calls.log"; }
    // The recorded calls, one "NAME ARGS" per entry, in order.
    std::vector<std::string> calls() const {
        std::vector<std::string> out;
        std::istringstream in(read_file(log_path()));
        for (std::string line; std::getline(in, line);) out.push_back(line);
        return out;
    }
    void clear() const { write_file(log_path(), ""); }
    const TempDir &dir() const { return dir_; }

private:
    TempDir dir_;
    bool had_path_ = false;
    std::string old_path_;
};

}  // namespace testsupport
