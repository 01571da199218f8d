// SPDX-License-Identifier: MIT
// Recording stub commands first on PATH (each appends "NAME ARGS" to a log,
// then runs an optional shell body), and the log capture both folders share.
#pragma once

#include <sys/stat.h>

#include <cstdlib>
#include <sstream>

#include "capture.hpp"
#include "log_lines.hpp"
#include "tempdir.hpp"

namespace testsupport {

class StubCommands {
public:
    StubCommands() : old_path_(getenv("PATH") ? getenv("PATH") : "") {
        setenv("PATH", (dir_.path() + ":" + old_path_).c_str(), 1);
    }
    ~StubCommands() { setenv("PATH", old_path_.c_str(), 1); }
    void add(const std::string &name, const std::string &body = "") {
        write_file(dir_ / name,
                   "#!/bin/sh\necho \"" + name + " $*\" >> '" + log_path() + "'\n" + body + "\n");
        chmod((dir_ / name).c_str(), 0755);
    }
    std::string log_path() const { return dir_ / "calls.log"; }
    Lines calls() const {
        Lines out;
        std::istringstream in(read_file(log_path()));
        for (std::string line; std::getline(in, line);) out.push_back(line);
        return out;
    }
    void clear() const { write_file(log_path(), ""); }

private:
    TempDir dir_;
    std::string old_path_;
};

}  // namespace testsupport
