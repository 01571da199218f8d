// SPDX-License-Identifier: MIT
// A console reporter that also keeps each case's time (the median with
// --benchmark_repetitions, else the single run), so that a benchmark can
// print its cases against what they are measured by once the table is out.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace comm::bench {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    // cpu_time: compare CPU time rather than wall time (for a shared machine).
    explicit RatioReporter(bool cpu_time = false) : ConsoleReporter(OO_Tabular), cpu_time_(cpu_time) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &r : runs) {
            const std::string name = r.run_name.str();
            const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
            const bool single =
                r.run_type == Run::RT_Iteration && r.iterations > 0 && medians_.count(name) == 0;
            if (!median && !single) continue;
            if (median) medians_[name] = true;
            ns_[name] = cpu_time_ ? r.GetAdjustedCPUTime() : r.GetAdjustedRealTime();
            for (const auto &[counter, value] : r.counters) counters_[name + "/" + counter] = value.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }

protected:
    // Prints "what: a/b" when both cases ran.
    void ratio(const std::string &a, const std::string &b, const char *what) {
        if (ns_.count(a) == 0 || ns_.count(b) == 0 || ns_[b] <= 0) return;
        GetOutputStream() << what << ": " << ns_[a] / ns_[b] << "\n";
    }
    // The case's time in ns, or 0 when it did not run.
    double ns(const std::string &name) const { return ns_.count(name) != 0 ? ns_.at(name) : 0; }
    // A user counter of the first case whose name starts with prefix, or 0.
    double counter(const std::string &prefix, const std::string &name) const {
        for (const auto &[key, value] : counters_)
            if (key.rfind(prefix, 0) == 0 && key.size() > name.size() &&
                key.compare(key.size() - name.size() - 1, std::string::npos, "/" + name) == 0)
                return value;
        return 0;
    }

private:
    bool cpu_time_;
    std::map<std::string, double> ns_;
    std::map<std::string, double> counters_;
    std::map<std::string, bool> medians_;
};

}  // namespace comm::bench
