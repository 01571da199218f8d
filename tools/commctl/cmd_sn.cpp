// SPDX-License-Identifier: MIT
// sn: the identity record as a field engineer sees it.
#include <strings.h>

#include <cctype>
#include <cstring>
#include <string>

#include "comm_mtdmgr.h"
#include "comm_sn.h"
#include "command.hpp"
#include "json.hpp"
#include "record_rules.hpp"

namespace {

using comm::sn::Field;

const Field *const kFields[] = {&comm::sn::kSn,     &comm::sn::kSpeech, &comm::sn::kDid, &comm::sn::kAdas,
                                &comm::sn::kPlain1, &comm::sn::kPlain2, &comm::sn::kUi};

const Field *field_named(const char *name) {
    for (const Field *f : kFields) {
        if (strcasecmp(f->name, name) == 0) return f;
    }
    return nullptr;
}

// A value's bytes run up to its last non-zero one.
size_t used_length(const unsigned char *p, size_t n) {
    while (n > 0 && p[n - 1] == 0) --n;
    return n;
}

bool all_print(const unsigned char *p, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (isprint(p[i]) == 0) return false;
    return true;
}

// Text when every byte of the value prints, else hex.
std::string shown(const unsigned char *p, size_t n, bool force_hex) {
    n = used_length(p, n);
    if (n == 0) return "(zero)";
    if (!force_hex && all_print(p, n)) {
        std::string quoted(1, '"');
        quoted.append(reinterpret_cast<const char *>(p), n);
        quoted.push_back('"');
        return quoted;
    }
    return "hex " + commctl::hex_text(p, n);
}

bool parse_hex(const char *text, std::string &out) {
    const size_t n = strlen(text);
    if (n == 0 || n % 2 != 0) return false;
    for (size_t i = 0; i < n; i += 2) {
        char pair[3] = {text[i], text[i + 1], '\0'};
        if (!isxdigit(static_cast<unsigned char>(pair[0])) || !isxdigit(static_cast<unsigned char>(pair[1])))
            return false;
        out += static_cast<char>(strtoul(pair, nullptr, 16));
    }
    return true;
}

// A copy as found in flash, before the start may repair it.
struct CopyReport {
    unsigned char bytes[comm::sn::kRecordSize] = {};
    int32_t read = 0;
    comm::sn::CopyValue value{};
};

void read_copy(const char *key, CopyReport &c) {
    c.read = Zev_MtdMgr_Read(key, 0, c.bytes, sizeof c.bytes);
    c.value = comm::sn::value_of(c.bytes);
}

const char *field_state(const unsigned char *rec, const Field &f) {
    if (f.slot == comm::sn::kNoSlot) return "no digest";
    if (comm::sn::is_empty(rec + f.offset, f.size)) return "empty";
    return comm::sn::check_field(rec, f).matches ? "ok" : "WRONG";
}

const char *verdict_name(const CopyReport &c) {
    if (c.read != static_cast<int32_t>(comm::sn::kRecordSize)) return "unreadable";
    switch (c.value.verdict) {
        case comm::sn::Verdict::empty:
            return "empty";
        case comm::sn::Verdict::good:
            return "good";
        case comm::sn::Verdict::bad:
            break;
    }
    return "bad";
}

void json_copy(commctl::JsonOut &json, const char *key, const CopyReport &c) {
    json.nest(key).str("state", verdict_name(c)).num("read", c.read);
    if (c.value.verdict == comm::sn::Verdict::bad) {
        json.num("score", c.value.value);
    } else {
        json.null("score");
    }
    json.end();
}

// The field's bytes up to the last non-zero one: as text when they all
// print, and always as hex.
void json_field(commctl::JsonOut &json, const Field &f, const CopyReport &first, const CopyReport &second) {
    unsigned char value[512] = {};
    const int32_t r = Zev_SnManager_GetData(f.mask, value, static_cast<uint32_t>(f.size));
    json.nest(f.name).str("first", field_state(first.bytes, f)).str("second", field_state(second.bytes, f));
    json.flag("readable", r == 0);
    const size_t n = used_length(value, f.size);
    if (r != 0) {
        json.null("text").null("hex");
    } else {
        if (all_print(value, n)) {
            json.str("text", std::string_view(reinterpret_cast<const char *>(value), n));
        } else {
            json.null("text");
        }
        json.str("hex", commctl::hex_text(value, n));
    }
    json.end();
}

void print_copy(const char *key, const CopyReport &c) {
    if (c.read != static_cast<int32_t>(comm::sn::kRecordSize)) {
        printf("%-19s unreadable (%d)\n", key, c.read);
    } else if (c.value.verdict == comm::sn::Verdict::bad) {
        printf("%-19s bad, score %d of 13\n", key, c.value.value);
    } else {
        printf("%-19s %s\n", key, verdict_name(c));
    }
}

int run_show(commctl::Args args) {
    if (!args.empty()) return commctl::usage_error("sn show takes no arguments");
    static CopyReport first, second;
    read_copy(comm::sn::kFirstKey, first);
    read_copy(comm::sn::kSecondKey, second);
    Zev_SnManager_Start();
    fflush(stdout);
    if (commctl::json_wanted()) {
        commctl::JsonOut json;
        json.nest("copies");
        json_copy(json, comm::sn::kFirstKey, first);
        json_copy(json, comm::sn::kSecondKey, second);
        json.end().nest("fields");
        for (const Field *f : kFields) json_field(json, *f, first, second);
        json.end().end();
        return commctl::kOk;
    }
    printf("copies as found:\n");
    print_copy(comm::sn::kFirstKey, first);
    print_copy(comm::sn::kSecondKey, second);
    printf("%-7s %-9s %-9s %-10s %s\n", "field", "first", "second", "in memory", "value");
    for (const Field *f : kFields) {
        unsigned char value[512] = {};
        const int32_t r = Zev_SnManager_GetData(f->mask, value, static_cast<uint32_t>(f->size));
        printf("%-7s %-9s %-9s %-10s %s\n", f->name, field_state(first.bytes, *f),
               field_state(second.bytes, *f), r == 0 ? "readable" : "unreadable",
               r == 0 ? shown(value, f->size, false).c_str() : "-");
    }
    return commctl::kOk;
}

int run_get(commctl::Args args) {
    const bool hex = args.size() == 2 && strcmp(args[1], "--hex") == 0;
    if (args.size() != 1 && !hex) return commctl::usage_error("sn get wants a FIELD and an optional --hex");
    const Field *f = field_named(args[0]);
    if (f == nullptr) return commctl::usage_error("unknown field '%s'", args[0]);
    Zev_SnManager_Start();
    unsigned char value[512] = {};
    const int32_t r = Zev_SnManager_GetData(f->mask, value, static_cast<uint32_t>(f->size));
    fflush(stdout);
    if (r != 0)
        return commctl::failure("%s is unreadable: never written, erased or its digest is wrong (%d)",
                                f->name, r);
    printf("%s\n", shown(value, f->size, hex).c_str());
    return commctl::kOk;
}

int run_set(commctl::Args args) {
    const bool hex = args.size() == 3 && strcmp(args[0], "--hex") == 0;
    if (args.size() != 2 && !hex) return commctl::usage_error("sn set wants [--hex] FIELD VALUE");
    const char *name = args[hex ? 1 : 0];
    const char *text = args[hex ? 2 : 1];
    const Field *f = field_named(name);
    if (f == nullptr) return commctl::usage_error("unknown field '%s'", name);
    std::string value;
    if (hex) {
        if (!parse_hex(text, value))
            return commctl::usage_error("'%s' is not an even number of hex digits", text);
    } else {
        value = text;
    }
    if (value.empty()) return commctl::usage_error("an empty value would erase the field: use sn erase");
    Zev_SnManager_Start();
    const int32_t r = Zev_SnManager_Update(f->mask, value.data(), static_cast<int32_t>(value.size()));
    fflush(stdout);
    if (r == comm::sn::kBadValue)
        return commctl::failure("%s refused: a value of only 0x00 and 0xFF bytes", f->name);
    if (r != 0) return commctl::failure("%s refused (%d): the value is too long", f->name, r);
    return commctl::kOk;
}

int run_erase(commctl::Args args) {
    if (args.size() != 1) return commctl::usage_error("sn erase wants a FIELD");
    const Field *f = field_named(args[0]);
    if (f == nullptr) return commctl::usage_error("unknown field '%s'", args[0]);
    Zev_SnManager_Start();
    const int32_t r = Zev_SnManager_Update(f->mask, nullptr, 0);
    fflush(stdout);
    if (r != 0) return commctl::failure("erase of %s failed (%d)", f->name, r);
    if (f == &comm::sn::kUi)
        fputs("commctl: Ui is cleared in memory only; it reaches flash with the next store\n", stderr);
    return commctl::kOk;
}

int run_sn(commctl::Args args) {
    if (args.empty()) return commctl::usage_error("sn wants show, get, set or erase (see commctl sn --help)");
    const char *op = args[0];
    if (strcmp(op, "show") == 0) return run_show(args.subspan(1));
    if (strcmp(op, "get") == 0) return run_get(args.subspan(1));
    if (strcmp(op, "set") == 0) return run_set(args.subspan(1));
    if (strcmp(op, "erase") == 0) return run_erase(args.subspan(1));
    return commctl::usage_error("unknown sn operation '%s'", op);
}

}  // namespace

COMMCTL_COMMAND(sn, "sn", "show, read, write and erase the identity record",
                "usage: commctl sn show\n"
                "       commctl sn get FIELD [--hex]\n"
                "       commctl sn set [--hex] FIELD VALUE\n"
                "       commctl sn erase FIELD\n"
                "\n"
                "FIELD is Sn, Speech, Did, Adas (63 bytes at most), Plain1, Plain2 (48)\n"
                "or Ui (512). Every command loads the record first, repairing a damaged\n"
                "copy from a good one. show lists both copies as found (good, empty, or\n"
                "bad with its score) and every field's digest state in each copy and in\n"
                "memory. set writes VALUE (text, or hex digits with --hex) at the field's\n"
                "start, keeping the bytes behind it, and stores both copies; erase clears\n"
                "a field and its digest (Ui only in memory, until the next store).\n",
                run_sn);
