// SPDX-License-Identifier: MIT
#include "run.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "tempdir.hpp"

namespace testsupport {

RunResult run(const std::vector<std::string> &argv, const std::vector<std::string> &env) {
    TempDir tmp;
    const std::string out = tmp / "out", err = tmp / "err";
    RunResult r;
    const pid_t pid = fork();
    if (pid == 0) {
        const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(o, 1), dup2(e, 2);
        for (const std::string &kv : env) putenv(const_cast<char *>(kv.c_str()));
        std::vector<char *> args;
        for (const std::string &a : argv) args.push_back(const_cast<char *>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    int st = 0;
    waitpid(pid, &st, 0);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
    r.out = read_file(out);
    r.err = read_file(err);
    return r;
}

RunResult on_board(const std::string &state, const std::vector<std::string> &program,
                   const std::vector<std::string> &opts) {
    std::vector<std::string> argv = {BOARDSIM_EXE, "--state", state};
    argv.insert(argv.end(), opts.begin(), opts.end());
    argv.push_back("--");
    argv.insert(argv.end(), program.begin(), program.end());
    return run(argv, {"ZEV_SETTINGS_FILE="});
}

}  // namespace testsupport
