// SPDX-License-Identifier: MIT
// Splits captured output into the library's log lines, so that tests can
// compare tag, function and message to the byte and the time fields by form.
#pragma once

#include <string>
#include <vector>

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

}  // namespace testsupport
