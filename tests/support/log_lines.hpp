// SPDX-License-Identifier: MIT
// Splits captured output into the library's log lines, so that tests can
// compare tag, function and message to the byte and the time fields by form.
#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "capture.hpp"

namespace testsupport {

struct LogLine {
    std::string open;       // the colour sequence the line starts with
    std::string time;       // the time text, e.g. "250920 14:03:59"
    long long seconds = 0;  // running time, whole seconds (at least 6 digits)
    int tenths = 0;
    std::string tag;  // ERR, WAR, ...
    std::string func;
    int line = 0;     // source line
    std::string msg;  // the message text behind " :", line end included
};

struct ParsedLog {
    std::vector<LogLine> lines;
    std::string stray;  // text that was not part of any log line
};

ParsedLog parse_log(const std::string &output);

// The colour sequence that opens a line of this tag.
std::string open_sequence(const std::string &tag);

// "TAG func :msg" of each line, for compact table comparisons.
std::vector<std::string> summarise(const std::string &output);

// True when `time` has the form of the log line's time text ("%2d%02d%02d
// %02d:%02d:%02d").
bool is_time_text(const std::string &time);

using Lines = std::vector<std::string>;

// The "TAG func :msg" lines fn prints; paired with its result when it has one.
template <typename Fn>
auto logged(Fn &&fn) {
    if constexpr (std::is_void_v<decltype(fn())>) {
        return summarise(capture_stdout(fn));
    } else {
        decltype(fn()) r{};
        Lines lines = summarise(capture_stdout([&] { r = fn(); }));
        return std::make_pair(r, lines);
    }
}

}  // namespace testsupport
