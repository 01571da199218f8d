// SPDX-License-Identifier: MIT
// The identity record on a simulated flash: the decision table, power cuts at
// every byte, field access, erases and the order of a store.
#include <gtest/gtest.h>

#include <functional>

#include "capture.hpp"
#include "comm_digest.h"
#include "comm_log.h"
#include "comm_mtd.h"
#include "comm_mtdmgr.h"
#include "comm_sn.h"
#include "flash_bed.hpp"
#include "log_lines.hpp"
#include "settings_fake.hpp"

using namespace testsupport;
namespace fake = testsupport::settings_fake;

namespace {

// The record's layout: fields, the slots of their digest texts, RecordMd5.
constexpr size_t kSize = 1152, kRecordMd5 = 0x450;
constexpr uint32_t kCopyAt = 0x6000;          // both copies: block 6 of their partition
constexpr int kFirstDev = 2, kSecondDev = 1;  // KEY_CUST, KEY_CUST1
// clang-format off
struct Field { const char *name; uint32_t mask; size_t offset, size; long slot; /* -1: none */ };
const Field kSn{"Sn", 0x01, 0x000, 64, 0x040}, kSpeech{"Speech", 0x02, 0x070, 64, 0x0B0}, kDid{"Did", 0x04, 0x0E0, 64, 0x120},
    kAdas{"Adas", 0x40, 0x150, 64, 0x190}, kPlain1{"Plain1", 0x08, 0x1C0, 48, -1}, kPlain2{"Plain2", 0x10, 0x1F0, 48, -1},
    kUi{"Ui", 0x20, 0x220, 512, 0x420};
// clang-format on
const std::vector<const Field *> kAll = {&kSn, &kSpeech, &kDid, &kAdas, &kPlain1, &kPlain2, &kUi};

std::string md5_text(const Bytes &rec, size_t from, size_t n) {
    char out[48] = {};
    dir_md5_string(out, &rec[from], static_cast<uint32_t>(n));
    return std::string(out, 32);
}
// Puts `value` at the field's start and the field's digest text into its slot.
Bytes &put_field(Bytes &rec, const Field &f, const Bytes &value) {
    memcpy(&rec[f.offset], value.data(), value.size());
    if (f.slot >= 0) memcpy(&rec[f.slot], md5_text(rec, f.offset, f.size).c_str(), 33);
    return rec;
}
Bytes &seal(Bytes &rec) { return memcpy(&rec[kRecordMd5], md5_text(rec, 0, kRecordMd5).c_str(), 33), rec; }
// Good as the decision table judges: the record digest agrees over the
// stored string's length, and not every byte is 0x00 or 0xFF.
bool good(const Bytes &rec) {
    const size_t n = strnlen(reinterpret_cast<const char *>(&rec[kRecordMd5]), 48);
    return n <= 32 && memcmp(md5_text(rec, 0, kRecordMd5).c_str(), &rec[kRecordMd5], n) == 0 &&
           std::any_of(rec.begin(), rec.end(), [](unsigned char b) { return b != 0 && b != 0xFF; });
}
// `fields` hold text derived from `tag`, the others are empty; sealed, or
// with a record digest that cannot match.
Bytes record(const std::vector<const Field *> &fields, const std::string &tag, bool sealed = true) {
    Bytes rec(kSize, 0);
    for (const Field *f : fields) put_field(rec, *f, text(std::string(f->name) + "-" + tag));
    sealed ? (void)seal(rec) : (void)memcpy(&rec[kRecordMd5], std::string(32, '0').c_str(), 33);
    return rec;
}
Bytes part(const Bytes &rec, size_t from, size_t n) { return Bytes(&rec[from], &rec[from] + n); }

// Both copies as they stood at a Zev_Settings_UnProtect call.
struct Snapshot {
    int flag;
    Bytes first, second;
};

class Sn : public ::testing::Test {
public:
    void SetUp() override {
        REQUIRE_TESTBED();
        flash_ = std::make_unique<FlashBed>();
        fake::reset();
        Zev_Comm_SetPrintLev(0);
        Zev_SnManager_Start();  // blank flash: a zero image
        fake::on_unprotect([this](int flag) { snaps_.push_back({flag, first_copy(), second_copy()}); });
    }
    void TearDown() override { fake::reset(); }
    Bytes first_copy() const { return flash_->bytes(kFirstDev, kCopyAt, kSize); }
    Bytes second_copy() const { return flash_->bytes(kSecondDev, kCopyAt, kSize); }
    void put_copies(const Bytes &first, const Bytes &second) const {
        flash_->put(kFirstDev, kCopyAt, first);
        flash_->put(kSecondDev, kCopyAt, second);
    }
    // The identity record's log lines while fn runs at level 5.
    static Lines logged(const std::function<void()> &fn) {
        Zev_Comm_SetPrintLev(5);
        Lines lines = testsupport::logged(fn);
        Zev_Comm_SetPrintLev(0);
        std::erase_if(lines,
                      [](const std::string &l) { return l.find(" Zev_SnManager_") == std::string::npos; });
        return lines;
    }
    Lines start() {
        snaps_.clear();
        return logged([] { EXPECT_EQ(Zev_SnManager_Start(), 0); });
    }
    void load(const Bytes &rec) {
        put_copies(rec, rec);
        start();
        snaps_.clear();
    }
    static int update(uint32_t type, const Bytes &value) {
        return Zev_SnManager_Update(type, value.data(), static_cast<int32_t>(value.size()));
    }
    static Bytes get(uint32_t type, size_t n, int *result = nullptr) {
        Bytes out(n, 0xEE);
        const int r = Zev_SnManager_GetData(type, out.data(), static_cast<uint32_t>(n));
        if (result != nullptr) *result = r;
        return out;
    }
    // Whether the image in memory is `rec`, seen through a store: a write of
    // Plain1 (no digest of its own) renews only Plain1 and RecordMd5.
    bool image_is(Bytes rec) {
        EXPECT_EQ(update(kPlain1.mask, text("probe#1")), 0);
        seal(put_field(rec, kPlain1, text("probe#1")));
        return first_copy() == rec;
    }
    std::unique_ptr<FlashBed> flash_;
    std::vector<Snapshot> snaps_;
};

const std::string kStart = "DBG Zev_SnManager_Start :", kAllOk = kStart + "all ok!\n",
                  kFirstToSecond = kStart + "backup MTD_PART_SN to MTD_PART_SN_BACKUP\n",
                  kSecondToFirst = kStart + "backup MTD_PART_SN_BACKUP to MTD_PART_SN\n",
                  kNoData = kStart + "no any data!\n",
                  kFirstWins = kStart + "all error, but bMTD_PART_SN_Score > bMTD_PART_SN_BACKUP_Score!\n",
                  kSecondWins = kStart + "all error, but bMTD_PART_SN_BACKUP_Score > bMTD_PART_SN_Score!\n";

// A copy, with the fields that count and the score logged when it is bad.
// clang-format off
struct Copy { const char *name; Bytes bytes; std::vector<const char *> oks; int score; /* -1: not bad (good or empty) */ };
// clang-format on

void judged(Lines &l, const Copy &c, const char *which) {
    for (const char *f : c.oks) l.push_back(std::string("DBG Zev_SnManager_CheckMd5 :") + f + " ok!\n");
    if (c.score >= 0)
        l.push_back("INF Zev_SnManager_Start :" + std::string(which) +
                    " error score=" + std::to_string(c.score) + "!\n");
}

TEST_F(Sn, DecisionTable) {
    const std::vector<const char *> five = {"Sn", "Did", "Speech", "Adas", "Ui"};
    const auto with_md5 = [](const std::string &stored) {  // RecordMd5 as stored, 48 bytes
        Bytes r = record(kAll, "m");
        memset(&r[kRecordMd5], 0, 48);
        memcpy(&r[kRecordMd5], stored.data(), stored.size());
        return r;
    };
    const std::string right = md5_text(record(kAll, "m"), 0, kRecordMd5);
    std::string upper = right;
    for (char &ch : upper) ch = static_cast<char>(toupper(ch));
    ASSERT_NE(upper, right);
    Bytes mixed(kSize), digests_wrong = record(kAll, "W"), zero_ff = record({&kSn}, "z", false),
                        digit_off = record({&kSn, &kDid}, "w", false),
                        slot_tail = record({&kSpeech}, "v", false);
    for (size_t i = 0; i < kSize; ++i) mixed[i] = i % 3 ? 0x00 : 0xFF;
    for (const Field *f : {&kSn, &kSpeech, &kDid, &kAdas, &kUi}) digests_wrong[f->slot] ^= 0x01;
    put_field(zero_ff, kDid, Bytes{0x00, 0xFF, 0xFF, 0x00, 0xFF});  // a right digest over empty bytes
    digit_off[kDid.slot + 31] ^= 0x01;
    slot_tail[kSpeech.slot + 32] = 'x';  // only the first 32 slot bytes count
    slot_tail[kSpeech.slot + 40] = 'y';
    // clang-format off
    const Copy g1{"good A", record(kAll, "A"), {}, -1}, g2{"good B", record(kAll, "B"), {}, -1},
        eff{"erased", Bytes(kSize, 0xFF), {}, -1}, e00{"zeroed", Bytes(kSize, 0x00), {}, -1},
        emix{"mixed empty", mixed, {}, -1}, b0{"plain only", record({&kPlain1}, "p", false), {}, 0},
        b0b{"digests wrong", digests_wrong, {}, 0}, b13{"all fields", record(kAll, "x", false), five, 13},
        b5{"Ui only", record({&kUi}, "u", false), {"Ui"}, 5}, b5o{"Ui only (o)", record({&kUi}, "o", false), {"Ui"}, 5},
        b2{"Sn only", record({&kSn}, "s", false), {"Sn"}, 2}, b1{"Adas only", record({&kAdas}, "a", false), {"Adas"}, 1},
        b3{"Speech, Plain2", record({&kSpeech, &kPlain2}, "s", false), {"Speech"}, 3},
        b2z{"digest over empty bytes", zero_ff, {"Sn"}, 2}, b2w{"digest character off", digit_off, {"Sn"}, 2},
        b3t{"slot tail", slot_tail, {"Speech"}, 3}, m_empty{"RecordMd5 empty", with_md5(""), {}, -1},
        m_prefix{"RecordMd5 prefix", with_md5(right.substr(0, 7)), {}, -1},
        m_wrong{"RecordMd5 wrong prefix", with_md5(right.substr(0, 6) + "#"), five, 13},
        m_33{"RecordMd5 of 33", with_md5(right + "0"), five, 13},
        m_nonul{"RecordMd5 without NUL", with_md5(right + std::string(16, '0')), five, 13},
        m_upper{"RecordMd5 upper case", with_md5(upper), five, 13};
    // The row's line says which copy is loaded and which one is written.
    const struct { const Copy &first, &second; const std::string &line; } rows[] = {
        {g1, g2, kAllOk},  // the second copy is loaded
        {g1, eff, kFirstToSecond},  {g1, e00, kFirstToSecond},   {g1, b0, kFirstToSecond},  {g1, b13, kFirstToSecond},
        {m_empty, e00, kFirstToSecond},  {m_prefix, e00, kFirstToSecond},
        {eff, g2, kSecondToFirst},  {emix, g2, kSecondToFirst},  {b5, g2, kSecondToFirst},  {b0b, g2, kSecondToFirst},
        {eff, eff, kNoData},  {e00, emix, kNoData},  {eff, b0, kNoData},  {b0, e00, kNoData},  {b0, b0b, kNoData},
        {eff, b5, kSecondWins},  {b1, emix, kFirstWins},  {b13, b5, kFirstWins},  {b3, b2, kFirstWins},
        {b2, b3, kSecondWins},   {b0, b1, kSecondWins},   {b5, b5o, kSecondWins},  // a tie goes to the second copy
        {b2z, eff, kFirstWins},  {b2w, eff, kFirstWins},  {b3t, eff, kFirstWins},  {m_wrong, e00, kFirstWins},
        {m_33, e00, kFirstWins}, {m_nonul, e00, kFirstWins},  {m_upper, e00, kFirstWins},
    };
    // clang-format on
    for (const auto &row : rows) {
        const std::string label = std::string(row.first.name) + " / " + row.second.name;
        put_copies(row.first.bytes, row.second.bytes);
        Lines want{kStart + "enter\n"};
        judged(want, row.first, "MTD_PART_SN");
        judged(want, row.second, "MTD_PART_SN_BACKUP");
        want.push_back(row.line);
        EXPECT_EQ(start(), want) << label;
        // A good copy goes over the other one, under 2 (first) or 4 (second)
        // before the write and 0 after it; otherwise nothing is written.
        const bool to_second = row.line == kFirstToSecond, to_first = row.line == kSecondToFirst;
        const Bytes &from = to_second ? row.first.bytes : row.second.bytes;
        const Bytes &to = to_second ? row.second.bytes : row.first.bytes;
        EXPECT_EQ(first_copy(), to_first ? from : row.first.bytes) << label;
        EXPECT_EQ(second_copy(), to_second ? from : row.second.bytes) << label;
        ASSERT_EQ(snaps_.size(), to_first || to_second ? 2u : 0u) << label;
        for (size_t i = 0; i < snaps_.size(); ++i) {
            EXPECT_EQ(snaps_[i].flag, i ? 0 : to_second ? 4 : 2) << label;
            EXPECT_EQ(to_second ? snaps_[i].second : snaps_[i].first, i ? from : to) << i << ", " << label;
        }
        const bool first_loaded = to_second || row.line == kFirstWins;
        EXPECT_TRUE(image_is(row.line == kNoData ? Bytes(kSize, 0)
                             : first_loaded      ? row.first.bytes
                                                 : row.second.bytes))
            << label;
    }
}

TEST_F(Sn, FailedReadsNeverReachFlash) {
    const Bytes a = record(kAll, "A"), bad = record({&kSn}, "b", false), erased(kSize, 0xFF);
    // No second partition: its read fails, and the first copy's bytes are
    // judged a second time, so both count as good.
    flash_->set_mtd_list("mtd2: 00008000 00001000 \"KEY_CUST\"\n");
    put_copies(a, erased);
    EXPECT_EQ(start().back(), kAllOk);
    EXPECT_TRUE(snaps_.empty());
    // No first partition: the image is zeroed before its read, so the first
    // copy is empty, and the second one is written over it, which fails.
    flash_->set_mtd_list("mtd1: 00008000 00001000 \"KEY_CUST1\"\n");
    put_copies(erased, a);
    EXPECT_EQ(start().back(), kSecondToFirst);
    EXPECT_EQ(fake::unprotect_calls(), (std::vector<int>{2, 0}));
    EXPECT_EQ(first_copy(), erased);
    flash_->set_mtd_list("mtd1: 00008000 00001000 \"KEY_CUST1\"\nmtd2: 00008000 00001000 \"KEY_CUST\"\n");
    EXPECT_TRUE(image_is(a));
}

// One copy damaged, the other good, and the reload of the good one before
// the repair fails or comes back short, once or every time. The record in
// memory stays the one judged good, so the repair and a later update keep
// every field. Only when no whole good image is at hand (its first read was
// short as well) is nothing written and every update refused.
TEST_F(Sn, FailedReloadNeverLosesTheRecord) {
    const std::vector<const Field *> three = {&kSn, &kDid, &kSpeech};
    const Bytes rec = record(three, "k");
    Bytes damaged = rec, want = rec;
    damaged[kSn.offset + 1] ^= 0x20;
    seal(put_field(want, kAdas, text("Adas-4")));
    // clang-format off
    const struct { bool first_good; int from, count; size_t short_len; int result; } rows[] = {
        {true, 2, 1, 0, 0},     {true, 2, 1, 600, 0},    {false, 2, 1, 0, 0}, {false, 2, 1, 600, 0},
        {true, 2, 9, 0, 0},     {true, 2, 9, 600, 0},    {false, 2, 9, 0, 0}, {false, 2, 9, 600, 0},
        {true, 1, 9, 600, -13}, {false, 1, 9, 600, -13}};
    // clang-format on
    for (const auto &row : rows) {
        const std::string at = std::string(row.first_good ? "first" : "second") + " good, reads " +
                               std::to_string(row.from) + "+" + std::to_string(row.count) + " short " +
                               std::to_string(row.short_len);
        const Bytes &first = row.first_good ? rec : damaged, &second = row.first_good ? damaged : rec;
        put_copies(first, second);
        flash_->fail_reads(row.first_good ? kFirstDev : kSecondDev, row.from, row.count, row.short_len,
                           kCopyAt);
        const std::string key = row.first_good ? "MTD_PART_SN" : "MTD_PART_SN_BACKUP";
        const std::string warned = "WAR Zev_SnManager_Start :reload of " + key + " failed, " +
                                   (row.result ? "record not loaded\n" : "kept as first read\n");
        EXPECT_EQ(start().back() == warned, row.count > 1) << at;
        EXPECT_EQ(update(kAdas.mask, text("Adas-4")), row.result) << at;
        flash_->fail_reads(kFirstDev, 0);
        flash_->fail_reads(kSecondDev, 0);
        if (row.result != 0) {
            EXPECT_EQ((std::vector{first_copy(), second_copy()}), (std::vector{first, second})) << at;
            start();  // reads work again: repaired, and updates are taken
            EXPECT_EQ(update(kAdas.mask, text("Adas-4")), 0) << at;
        }
        EXPECT_EQ((std::vector{first_copy(), second_copy()}), std::vector(2, want)) << at;
        start();
        for (const Field *f : three)
            EXPECT_EQ(get(f->mask, 8), part(rec, f->offset, 8)) << f->name << ", " << at;
    }
}

TEST_F(Sn, PowerCutAtEveryByte) {
    const auto fields =
        [](const Bytes *rec) {  // null: as read through the library, 0xEE where a digest fails
            Bytes out;
            for (const Field *f : kAll) {
                const Bytes b = rec ? part(*rec, f->offset, f->size) : get(f->mask, f->size);
                out.insert(out.end(), b.begin(), b.end());
            }
            return out;
        };
    const Bytes old_rec = record(kAll, "old"), erased(kSize, 0xFF);
    Bytes new_rec = old_rec;
    seal(put_field(new_rec, kDid, text("Did-new-value")));
    int repaired = 0, kept = 0;
    // Starts on two copies, at least one of them good: the record in memory
    // is the good second copy's or else the first's, and a copy that is not
    // good is repaired from the other under 2 (first) or 4 (second), then 0.
    const auto check = [&](const Bytes &first, const Bytes &second, const std::string &at) {
        const bool first_good = good(first), second_good = good(second);
        put_copies(first, second);
        fake::reset();
        Zev_SnManager_Start();
        const Bytes &winner = second_good ? second : first, in_memory = fields(nullptr);
        ASSERT_EQ(in_memory, fields(&winner)) << at;
        ASSERT_TRUE(in_memory == fields(&old_rec) || in_memory == fields(&new_rec)) << at;
        ASSERT_EQ(first_copy(), first_good ? first : winner) << at;
        ASSERT_EQ(second_copy(), second_good ? second : winner) << at;
        const std::vector<int> lifted = {first_good ? 4 : 2, 0};
        ASSERT_EQ(fake::unprotect_calls(), first_good && second_good ? std::vector<int>{} : lifted) << at;
        ++(first_good && second_good ? kept : repaired);
    };
    // A store writes the first copy, then the second: a cut leaves the first
    // k bytes new and the rest old or erased.
    for (int cut = 0; cut < 4; ++cut) {
        for (size_t k = 0; k <= kSize; ++k) {
            Bytes torn = cut % 2 ? erased : old_rec;
            std::copy(new_rec.begin(), new_rec.begin() + static_cast<long>(k), torn.begin());
            const std::string at = "cut " + std::to_string(cut) + ", k=" + std::to_string(k);
            check(cut < 2 ? torn : new_rec, cut < 2 ? old_rec : torn, at);
            if (HasFatalFailure()) return;
        }
    }
    EXPECT_GT(kept, 0);  // some torn states equal a good record
    // Every single-byte corruption of either copy: only the 15 bytes behind
    // RecordMd5's terminator are covered by no digest.
    for (size_t p = 0; p < 2 * kSize; ++p) {
        Bytes bad = old_rec;
        bad[p % kSize] ^= 0x01;
        ASSERT_EQ(good(bad), p % kSize >= 0x471);
        check(p < kSize ? bad : old_rec, p < kSize ? old_rec : bad, "corrupt byte " + std::to_string(p));
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(repaired, 5000);
}

std::string no_change(uint32_t type) {
    char line[64];
    snprintf(line, sizeof line, "INF Zev_SnManager_Update :No change (stType=%x)\n", type);
    return line;
}
std::string erase_line(const char *ptr, int size, uint32_t type) {
    return "WAR Zev_SnManager_Update :DataIn=" + std::string(ptr) + ", size=" + std::to_string(size) +
           ", erase type:" + std::to_string(static_cast<int>(type)) + "\n";
}

TEST_F(Sn, UpdateResultsAndWhatReachesFlash) {
    const Bytes rec = record(kAll, "t"), zeros(5, 0), ones(5, 0xFF), mixed{0, 0xFF, 0xFF, 0}, w2 = text("W2");
    const auto a = [](size_t n) { return Bytes(n, 'a'); };
    // null: flash stays as it is
    // clang-format off
    const struct { uint32_t type; Bytes value; int result; const Field *written; } rows[] = {
        {kSn.mask, a(63), 0, &kSn}, {kSn.mask, a(64), -2, nullptr}, {kDid.mask, a(63), 0, &kDid}, {kDid.mask, a(64), -21, nullptr},
        {kSpeech.mask, a(63), 0, &kSpeech}, {kSpeech.mask, a(64), -3, nullptr}, {kAdas.mask, a(63), 0, &kAdas},
        {kAdas.mask, a(64), -4, nullptr}, {kUi.mask, a(512), 0, &kUi}, {kUi.mask, a(513), -5, nullptr},
        {kPlain1.mask, a(48), 0, &kPlain1}, {kPlain1.mask, a(49), -12, nullptr}, {kPlain2.mask, a(48), 0, &kPlain2},
        {kPlain2.mask, a(49), -12, nullptr},
        // Empty values (only 0x00 and 0xFF) are refused whatever the type.
        {kSn.mask, zeros, -11, nullptr}, {kSn.mask, ones, -11, nullptr}, {kUi.mask, mixed, -11, nullptr},
        {kPlain1.mask, ones, -11, nullptr}, {kPlain2.mask, zeros, -11, nullptr}, {0, ones, -11, nullptr},
        {0x80, mixed, -11, nullptr}, {kSn.mask, Bytes{0x00}, -11, nullptr},
        // No field bit, or a prefix of what is stored: no change.
        {0, text("good"), 0, nullptr}, {0xFFFFFF00u, text("good"), 0, nullptr}, {kSn.mask, text("Sn-"), 0, nullptr},
        // Two field bits: Did of Speech|Did, Sn of Sn|Speech, Adas of Adas|Ui,
        // Plain2 of Plain2|Ui; a shorter value overwrites the field's start.
        {6, w2, 0, &kDid}, {3, w2, 0, &kSn}, {0x60, w2, 0, &kAdas}, {0x30, w2, 0, &kPlain2},
    };
    // clang-format on
    for (const auto &row : rows) {
        load(rec);
        int r = 99;
        const Lines lines = logged([&] { r = update(row.type, row.value); });
        Bytes want = rec;
        if (row.written != nullptr) put_field(want, *row.written, row.value);
        seal(want);
        const std::string at = std::to_string(row.type) + " size " + std::to_string(row.value.size());
        EXPECT_EQ(r, row.result) << at;
        const std::string line =
            row.result < 0 ? "ERR Zev_SnManager_Update :Err ret=" + std::to_string(r) + "\n"
            : row.written  ? "DBG Zev_SnManager_Update :md5:" + md5_text(want, 0, kRecordMd5) + "\n"
                           : no_change(row.type);
        EXPECT_EQ(lines, Lines{line}) << at;
        EXPECT_EQ((std::vector{first_copy(), second_copy()}), std::vector(2, want)) << at;
        EXPECT_EQ(snaps_.size(), row.written ? 2u : 0u) << at;
        const uint32_t back = row.written ? row.written->mask : 0x80;  // nothing to read for 0x80
        EXPECT_EQ(get(back, row.value.size()), row.written ? row.value : Bytes(row.value.size(), 0xEE)) << at;
    }
    // A negative size is refused before the value is read.
    const Bytes before = first_copy();
    for (int32_t size : {-1, -100}) EXPECT_EQ(Zev_SnManager_Update(kSn.mask, "abc", size), -11);
    EXPECT_EQ(first_copy(), before);
}

TEST_F(Sn, ReadsTakeTheirFieldAndLength) {
    const Bytes rec = record(kAll, "r");
    load(rec);
    const auto field = [&](const Field &f, size_t n) {  // the rest of the buffer untouched
        Bytes b(n, 0xEE);
        std::copy(&rec[f.offset], &rec[f.offset] + std::min(n, f.size), b.begin());
        return b;
    };
    const std::pair<uint32_t, Bytes> rows[] = {
        {6, field(kSpeech, 70)},    {3, field(kSn, 10)},           {0x60, field(kAdas, 64)},
        {0x30, field(kPlain2, 49)}, {0x20, field(kUi, 600)},       {0x08, field(kPlain1, 1)},
        {0, Bytes(4, 0xEE)},        {0xFFFFFF00u, Bytes(4, 0xEE)},
    };
    for (const auto &[type, want] : rows) {
        int r = 99;
        EXPECT_EQ(get(type, want.size(), &r), want) << type;
        EXPECT_EQ(r, 0) << type;
    }
    EXPECT_EQ(logged([] { EXPECT_EQ(Zev_SnManager_GetData(kSn.mask, nullptr, 4), -1); }),
              Lines{"ERR Zev_SnManager_GetData :DataOut is NULL\n"});
    // A field whose digest fails is not read, until a store.
    const std::pair<const Field *, int> broken[] = {
        {&kSn, -1}, {&kSpeech, -2}, {&kDid, -2}, {&kAdas, -3}, {&kUi, -3}};
    for (const auto &[f, mismatch] : broken) {
        Bytes b = rec;
        b[f->slot + 5] ^= 0x01;
        b[f->slot + 33] = 'm';
        load(seal(b));
        const std::string stored(reinterpret_cast<const char *>(&b[f->slot]), 32);
        int r = 0;
        EXPECT_EQ(logged([&] { EXPECT_EQ(get(f->mask, 4, &r), Bytes(4, 0xEE)); }),
                  Lines{"DBG Zev_SnManager_GetData :" + std::string(f->name) +
                        " error:" + md5_text(b, f->offset, f->size) + "!=" + stored + "!\n"});
        EXPECT_EQ(r, mismatch) << f->name;
        // The same bytes written again change nothing and leave it failing;
        // the mark behind the slot's terminator is dropped by the next store.
        EXPECT_EQ(logged([&] { update(f->mask, part(b, f->offset, 3)); }), Lines{no_change(f->mask)});
        ASSERT_EQ(update(kPlain2.mask, text(f->name)), 0);
        get(f->mask, 4, &r);
        EXPECT_EQ(r, mismatch) << f->name;
        EXPECT_EQ(first_copy()[f->slot + 33], 0) << f->name;
    }
}

TEST_F(Sn, StoreSequence) {
    ASSERT_EQ(update(kSn.mask, text("SN-0001")), 0);
    // The first store on a blank device: everything else zero, slots built
    // by the library; past the record, still erased.
    Bytes want(kSize, 0);
    seal(put_field(want, kSn, text("SN-0001")));
    EXPECT_EQ(first_copy(), want);
    EXPECT_EQ(flash_->bytes(kFirstDev, kCopyAt + kSize, 16), Bytes(16, 0xFF));
    // Protection lifted once with 4 before both writes, restored with 0 after.
    ASSERT_EQ(snaps_.size(), 2u);
    EXPECT_EQ((std::vector{snaps_[0].flag, snaps_[1].flag}), (std::vector{4, 0}));
    EXPECT_EQ((std::vector{snaps_[0].first, snaps_[0].second}), std::vector(2, Bytes(kSize, 0xFF)));
    EXPECT_EQ((std::vector{snaps_[1].first, snaps_[1].second}), std::vector(2, want));
    // Reserved slot bytes behind the terminator survive a write of the field.
    want[kSn.slot + 40] = 'r';
    load(seal(want));
    ASSERT_EQ(update(kSn.mask, text("new")), 0);
    seal(put_field(want, kSn, text("new")));
    EXPECT_EQ(first_copy(), want);
    // The second copy cannot be written: still 0, and the first holds it.
    flash_->remove_device(kSecondDev);
    EXPECT_EQ(update(kSn.mask, text("kept")), 0);
    EXPECT_EQ(get(kSn.mask, 4), text("kept"));
    EXPECT_EQ(flash_->bytes(kFirstDev, kCopyAt, 4), text("kept"));
}

TEST_F(Sn, ErasesAndTheUiException) {
    Bytes want = record(kAll, "e");
    load(want);
    EXPECT_EQ(logged([&] { EXPECT_EQ(Zev_SnManager_Update(kDid.mask, nullptr, 7), 0); }).front(),
              erase_line("0x0", 7, 4));
    std::fill(&want[kDid.offset], &want[kDid.slot + 48], 0);  // the field and its slot
    seal(want);
    EXPECT_EQ((std::vector{first_copy(), second_copy()}), std::vector(2, want));
    EXPECT_EQ(snaps_.size(), 2u);
    int r = 0;
    get(kDid.mask, 4, &r);
    EXPECT_EQ(r, -2);  // a zero field does not match a zero slot
    // Erasing again changes nothing and writes nothing.
    snaps_.clear();
    EXPECT_EQ(logged([&] { Zev_SnManager_Update(kDid.mask, nullptr, 0); }).back(), no_change(4));
    EXPECT_TRUE(snaps_.empty());
    // A value with size 0 is an erase too; its pointer is shown (in hex).
    std::string line = logged([] { EXPECT_EQ(Zev_SnManager_Update(kSn.mask, "val", 0), 0); }).front();
    const size_t at = line.find("=0x") + 3, end = line.find(',');
    EXPECT_EQ(line.substr(at, end - at).find_first_not_of("0123456789abcdef"), std::string::npos) << line;
    EXPECT_EQ(line.replace(at, end - at, "P"), erase_line("0xP", 0, 1));
    EXPECT_EQ(first_copy()[kSn.offset], 0);
    // A field of 0xFF with an empty slot is empty: no change; with a
    // non-empty slot, both are cleared.
    std::fill(&want[kSpeech.offset], &want[kSpeech.slot], 0xFF);
    std::fill(&want[kSpeech.slot], &want[kSpeech.slot + 48], 0x00);
    load(seal(want));
    EXPECT_EQ(logged([&] { Zev_SnManager_Update(kSpeech.mask, nullptr, 0); }).back(), no_change(2));
    EXPECT_TRUE(snaps_.empty());
    want[kSpeech.slot] = 'x';
    load(seal(want));
    EXPECT_EQ(Zev_SnManager_Update(kSpeech.mask, nullptr, 0), 0);
    std::fill(&want[kSpeech.offset], &want[kSpeech.slot + 1], 0x00);
    seal(want);
    EXPECT_EQ(first_copy(), want);
    // Erasing Ui stays in memory until the next store.
    EXPECT_EQ(logged([&] { Zev_SnManager_Update(kUi.mask, nullptr, 0); }).back(), no_change(0x20));
    EXPECT_EQ(first_copy(), want);
    get(kUi.mask, 4, &r);
    EXPECT_EQ(r, -3);
    ASSERT_EQ(update(kPlain1.mask, text("carry")), 0);
    std::fill(&want[kUi.offset], &want[kRecordMd5], 0);  // Ui and its slot
    seal(put_field(want, kPlain1, text("carry")));
    EXPECT_EQ((std::vector{first_copy(), second_copy()}), std::vector(2, want));
}

}  // namespace
