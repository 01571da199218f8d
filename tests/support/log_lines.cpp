// SPDX-License-Identifier: MIT
#include "log_lines.hpp"

#include <regex>

namespace testsupport {

namespace {
// colour, "[", time text, " ", seconds, ".", tenths, "][", tag, "]", reset,
// " ", function, " ", line, " :"
const std::regex kHead(
    "(\x1b\\[[0-9;]*m)\\[([ -]?[0-9]{1,3}[0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}) ([0-9]{6,})\\.([0-9])\\]"
    "\\[(ERR|WAR|INF|DBG|DDD|VER|VVV)\\]\x1b\\[m ([^ ]+) ([0-9]+) :");
}  // namespace

ParsedLog parse_log(const std::string &output) {
    ParsedLog out;
    std::vector<std::smatch> heads;
    for (auto it = std::sregex_iterator(output.begin(), output.end(), kHead); it != std::sregex_iterator();
         ++it)
        heads.push_back(*it);
    size_t prev_end = 0;
    for (size_t i = 0; i < heads.size(); ++i) {
        const std::smatch &m = heads[i];
        const size_t start = static_cast<size_t>(m.position(0));
        out.stray += output.substr(prev_end, start - prev_end);
        const size_t body = start + static_cast<size_t>(m.length(0));
        const size_t next =
            i + 1 < heads.size() ? static_cast<size_t>(heads[i + 1].position(0)) : output.size();
        // A message ends at its line end; anything up to the next line is stray.
        size_t end = output.find('\n', body);
        end = (end == std::string::npos || end >= next) ? next : end + 1;
        out.lines.push_back({m[1], m[2], std::stoll(m[3]), std::stoi(m[4]), m[5], m[6], std::stoi(m[7]),
                             output.substr(body, end - body)});
        prev_end = end;
    }
    out.stray += output.substr(prev_end);
    return out;
}

std::string open_sequence(const std::string &tag) {
    if (tag == "ERR") return "\x1b[0;32;31m";
    if (tag == "WAR") return "\x1b[1;33m";
    if (tag == "INF") return "\x1b[0;35m";
    if (tag == "DBG" || tag == "DDD") return "\x1b[0;33m";
    return "\x1b[m";
}

std::vector<std::string> summarise(const std::string &output) {
    std::vector<std::string> out;
    for (const LogLine &l : parse_log(output).lines) out.push_back(l.tag + " " + l.func + " :" + l.msg);
    return out;
}

bool is_time_text(const std::string &time) {
    static const std::regex form("[ -]?[0-9]{1,3}[0-9]{4} [0-9]{2}:[0-9]{2}:[0-9]{2}");
    return std::regex_match(time, form);
}

}  // namespace testsupport
