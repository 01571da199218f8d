// SPDX-License-Identifier: MIT
// The settings stand-in under concurrent writers: threads and processes that
// each set their own keys lose none of them, and a writer killed at any
// moment leaves a whole file and no temporary file behind.
#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "settings_file.hpp"
#include "zev_settings.h"

namespace {

class Writers : public SettingsFile {
protected:
    std::string get(const std::string &key) const {
        char buf[64] = {};
        return Zev_Settings_GetKeyStrVal(key.c_str(), buf, sizeof buf) == 0 ? buf : "(missing)";
    }
    // Files in the folder other than the settings file and its lock.
    int strays() const {
        int n = 0;
        DIR *d = opendir(dir_.path().c_str());
        while (const dirent *e = readdir(d)) {
            const std::string name = e->d_name;
            n += name != "." && name != ".." && name != "settings.conf" && name != "settings.conf.lock";
        }
        closedir(d);
        return n;
    }
};

// Writer w sets keys w.0 .. w.(keys-1) over and over; the last round's
// values are "w:rounds-1".
int write_rounds(int w, int keys, int rounds) {
    int failed = 0;
    for (int r = 0; r < rounds; ++r)
        for (int k = 0; k < keys; ++k)
            failed += Zev_Settings_Set((std::to_string(w) + "." + std::to_string(k)).c_str(),
                                       (std::to_string(w) + ":" + std::to_string(r)).c_str()) != 0;
    return failed;
}

TEST_F(Writers, ThreadsAndProcessesLoseNoKey) {
    constexpr int kThreads = 6, kProcesses = 3, kKeys = 8, kRounds = 3;
    // Processes first: forking a process that runs threads is not safe.
    std::vector<pid_t> children;
    for (int p = 0; p < kProcesses; ++p) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) _exit(write_rounds(100 + p, kKeys, kRounds) == 0 ? 0 : 1);
        children.push_back(pid);
    }
    std::vector<int> failed(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] { failed[t] = write_rounds(t, kKeys, kRounds); });
    for (auto &t : threads) t.join();
    for (pid_t pid : children) {
        int status = -1;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a process saw a set fail";
    }
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failed[t], 0) << "thread " << t;
    for (int i = 0; i < kThreads + kProcesses; ++i)  // threads 0.., processes 100..
        for (int k = 0, w = i < kThreads ? i : 100 + i - kThreads; k < kKeys; ++k)
            EXPECT_EQ(get(std::to_string(w) + "." + std::to_string(k)),
                      std::to_string(w) + ":" + std::to_string(kRounds - 1));
    EXPECT_EQ(strays(), 0);
}

TEST_F(Writers, KilledWriterLeavesAWholeFile) {
    constexpr int kKept = 80, kKills = 25;
    for (int k = 0; k < kKept; ++k)
        ASSERT_EQ(Zev_Settings_Set(("kept." + std::to_string(k)).c_str(), std::string(40, 'v').c_str()), 0);
    std::mt19937 random(7);
    for (int kill_no = 0; kill_no < kKills; ++kill_no) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            for (int i = 0;; ++i) Zev_Settings_Set("moving", std::to_string(i).c_str());
        }
        usleep(200 + random() % 4000);
        kill(pid, SIGKILL);
        ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
        // The kill may come in the middle of a write: one temporary file at
        // most, and the file itself is the old one or the new one.
        EXPECT_LE(strays(), 1) << "kill " << kill_no;
        for (int k = 0; k < kKept; k += 7) ASSERT_EQ(get("kept." + std::to_string(k)), std::string(40, 'v'));
        const std::string moving = get("moving");
        EXPECT_TRUE(moving == "(missing)" || moving.find_first_not_of("0123456789") == std::string::npos)
            << moving;
        ASSERT_EQ(Zev_Settings_Set("after", std::to_string(kill_no).c_str()), 0);
        EXPECT_EQ(strays(), 0) << "kill " << kill_no;
    }
}

}  // namespace
