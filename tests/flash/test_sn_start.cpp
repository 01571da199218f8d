// Loading the identity record: every row of the decision table with its
// log lines, the image, the copy written and the write protection around
// each write; the scores; and a failed reload that must not reach flash.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_sn.h"
#include "log_lines.hpp"
#include "settings_fake.hpp"
#include "sn_records.hpp"

using namespace testsupport::sn;
using testsupport::Bytes;
using testsupport::capture_stdout;
namespace fake = testsupport::settings_fake;

namespace {

using Lines = std::vector<std::string>;

class SnStart : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        flash_ = std::make_unique<testsupport::FlashBed>();
        fake::reset();
        snapshot_on_unprotect(*flash_, snaps_);
        Zev_Comm_SetPrintLev(5);
    }
    void TearDown() override { fake::reset(); }

    Lines start() {
        snaps_.clear();
        return record_lines(capture_stdout([] { EXPECT_EQ(Zev_SnManager_Start(), 0); }));
    }
    std::unique_ptr<testsupport::FlashBed> flash_;
    std::vector<Snapshot> snaps_;
};

// The whole image, seen through a store: a write of Plain1 (no digest of
// its own) sends the image to both copies with only Plain1 and RecordMd5
// renewed. Compare with probed(expected image).
const Bytes kProbe = text("probe#1");
Bytes image_via_store(const testsupport::FlashBed &flash) {
    EXPECT_EQ(Zev_SnManager_Update(kPlain1.mask, kProbe.data(), static_cast<int32_t>(kProbe.size())), 0);
    return first_copy(flash);
}
Bytes probed(Bytes rec) {
    put_field(rec, kPlain1, kProbe);
    seal(rec);
    return rec;
}

const std::string kEnter = "DBG Zev_SnManager_Start :enter\n";
const std::string kAllOk = "DBG Zev_SnManager_Start :all ok!\n";
const std::string kFirstToSecond = "DBG Zev_SnManager_Start :backup MTD_PART_SN to MTD_PART_SN_BACKUP\n";
const std::string kSecondToFirst = "DBG Zev_SnManager_Start :backup MTD_PART_SN_BACKUP to MTD_PART_SN\n";
const std::string kNoData = "DBG Zev_SnManager_Start :no any data!\n";
const std::string kFirstWins =
    "DBG Zev_SnManager_Start :all error, but bMTD_PART_SN_Score > bMTD_PART_SN_BACKUP_Score!\n";
const std::string kSecondWins =
    "DBG Zev_SnManager_Start :all error, but bMTD_PART_SN_BACKUP_Score > bMTD_PART_SN_Score!\n";

std::string ok_line(const char *field) {
    return std::string("DBG Zev_SnManager_CheckMd5 :") + field + " ok!\n";
}
std::string score_line(bool first, int score) {
    return std::string("INF Zev_SnManager_Start :") + (first ? "MTD_PART_SN" : "MTD_PART_SN_BACKUP") +
           " error score=" + std::to_string(score) + "!\n";
}

// A copy and what judging it logs (besides the row's line).
struct CopyCase {
    const char *name;
    Bytes bytes;
    Lines ok_lines;  // fields that count, for a bad copy
    int score;       // -1: not bad (good or empty)
};

Lines judged(const CopyCase &c, bool first) {
    if (c.score < 0) return {};
    Lines l = c.ok_lines;
    l.push_back(score_line(first, c.score));
    return l;
}

enum class Image { zero, first, second };
enum class Written { none, first, second };

TEST_F(SnStart, DecisionTable) {
    Bytes mixed(kSize);
    for (size_t i = 0; i < kSize; ++i) mixed[i] = (i % 3 == 0) ? 0xFF : 0x00;
    Bytes b5b = bad_record({&kUi}, "other");
    const CopyCase g1{"good A", good_record("A"), {}, -1};
    const CopyCase g2{"good B", good_record("B"), {}, -1};
    const CopyCase eff{"erased", Bytes(kSize, 0xFF), {}, -1};
    const CopyCase e00{"zeroed", Bytes(kSize, 0x00), {}, -1};
    const CopyCase emix{"mixed empty", mixed, {}, -1};
    const CopyCase b0{"bad, plain only", bad_record({&kPlain1}, "p"), {}, 0};
    const CopyCase b0b{"bad, digests wrong",
                       [] {
                           Bytes r = good_record("W");
                           for (const FieldSpec *f : kAllFields) {
                               if (f->slot >= 0) r[f->slot] ^= 0x01;
                           }
                           return r;
                       }(),
                       {},
                       0};
    const CopyCase b13{"bad, 13",
                       bad_record({&kSn, &kSpeech, &kDid, &kAdas, &kPlain1, &kPlain2, &kUi}, "x"),
                       {ok_line("Sn"), ok_line("Did"), ok_line("Speech"), ok_line("Adas"), ok_line("Ui")},
                       13};
    const CopyCase b5{"bad, Ui only", bad_record({&kUi}, "u"), {ok_line("Ui")}, 5};
    const CopyCase b5other{"bad, Ui only (other)", b5b, {ok_line("Ui")}, 5};
    const CopyCase b2{"bad, Sn only", bad_record({&kSn}, "s"), {ok_line("Sn")}, 2};
    const CopyCase b3{
        "bad, Speech and Plain2", bad_record({&kSpeech, &kPlain2}, "s"), {ok_line("Speech")}, 3};
    const CopyCase b1{"bad, Adas only", bad_record({&kAdas}, "a"), {ok_line("Adas")}, 1};

    const struct {
        const CopyCase &first;
        const CopyCase &second;
        std::string line;
        Image image;
        Written written;
    } rows[] = {
        {g1, g2, kAllOk, Image::second, Written::none},
        {g1, eff, kFirstToSecond, Image::first, Written::second},
        {g1, e00, kFirstToSecond, Image::first, Written::second},
        {g1, b0, kFirstToSecond, Image::first, Written::second},
        {g1, b13, kFirstToSecond, Image::first, Written::second},
        {eff, g2, kSecondToFirst, Image::second, Written::first},
        {emix, g2, kSecondToFirst, Image::second, Written::first},
        {b5, g2, kSecondToFirst, Image::second, Written::first},
        {b0b, g2, kSecondToFirst, Image::second, Written::first},
        {eff, eff, kNoData, Image::zero, Written::none},
        {e00, emix, kNoData, Image::zero, Written::none},
        {eff, b0, kNoData, Image::zero, Written::none},
        {b0, e00, kNoData, Image::zero, Written::none},
        {b0, b0b, kNoData, Image::zero, Written::none},
        {eff, b5, kSecondWins, Image::second, Written::none},
        {b1, emix, kFirstWins, Image::first, Written::none},
        {b13, b5, kFirstWins, Image::first, Written::none},
        {b3, b2, kFirstWins, Image::first, Written::none},
        {b2, b3, kSecondWins, Image::second, Written::none},
        {b5, b5other, kSecondWins, Image::second, Written::none},  // a tie goes to the second copy
        {b0, b1, kSecondWins, Image::second, Written::none},
    };
    for (const auto &row : rows) {
        const std::string label = std::string(row.first.name) + " / " + row.second.name;
        put_copies(*flash_, row.first.bytes, row.second.bytes);
        Lines want{kEnter};
        for (const auto &l : judged(row.first, true)) want.push_back(l);
        for (const auto &l : judged(row.second, false)) want.push_back(l);
        want.push_back(row.line);
        EXPECT_EQ(start(), want) << label;

        if (row.written == Written::none) {
            EXPECT_EQ(first_copy(*flash_), row.first.bytes) << label;
            EXPECT_EQ(second_copy(*flash_), row.second.bytes) << label;
            EXPECT_TRUE(snaps_.empty()) << label;
        } else {
            // The good copy goes over the other one, under 2 (first) or 4
            // (second) before the write and 0 after it.
            const bool to_second = row.written == Written::second;
            const Bytes &good = to_second ? row.first.bytes : row.second.bytes;
            const Bytes &damaged = to_second ? row.second.bytes : row.first.bytes;
            const auto target = [&](const Snapshot &s) { return to_second ? s.second : s.first; };
            EXPECT_EQ(first_copy(*flash_), good) << label;
            EXPECT_EQ(second_copy(*flash_), good) << label;
            ASSERT_EQ(snaps_.size(), 2u) << label;
            EXPECT_EQ(snaps_[0].flag, to_second ? 4 : 2) << label;
            EXPECT_EQ(target(snaps_[0]), damaged) << "lifted before the write, " << label;
            EXPECT_EQ(snaps_[1].flag, 0) << label;
            EXPECT_EQ(target(snaps_[1]), good) << "restored after the write, " << label;
        }
        const Bytes loaded = row.image == Image::zero    ? Bytes(kSize, 0)
                             : row.image == Image::first ? row.first.bytes
                                                         : row.second.bytes;
        capture_stdout([&] { EXPECT_EQ(image_via_store(*flash_), probed(loaded)) << label; });
    }
}

TEST_F(SnStart, ScoresOfBadCopies) {
    // Each case is the first copy, with an erased second copy.
    Bytes only_record_wrong = bad_record({&kSn, &kSpeech, &kDid, &kAdas, &kUi}, "r");
    Bytes plain2_only = bad_record({&kPlain2}, "q");
    Bytes zero_ff_field = bad_record({&kSn}, "z");
    put_field(zero_ff_field, kDid, Bytes{0x00, 0xFF, 0xFF, 0x00, 0xFF});  // right digest, empty bytes
    Bytes wrong_digest = bad_record({&kSn, &kDid}, "w");
    wrong_digest[kDid.slot + 31] ^= 0x01;
    Bytes reserved_ignored = bad_record({&kSpeech}, "v");
    reserved_ignored[kSpeech.slot + 32] = 'x';  // only the first 32 slot bytes count
    reserved_ignored[kSpeech.slot + 40] = 'y';
    const struct {
        const char *name;
        const Bytes &copy;
        Lines lines;
    } cases[] = {
        {"record digest only wrong",
         only_record_wrong,
         {ok_line("Sn"), ok_line("Did"), ok_line("Speech"), ok_line("Adas"), ok_line("Ui"),
          score_line(true, 13), kFirstWins}},
        {"Plain2 only", plain2_only, {score_line(true, 0), kNoData}},
        {"empty bytes with right digest", zero_ff_field, {ok_line("Sn"), score_line(true, 2), kFirstWins}},
        {"one digest character off", wrong_digest, {ok_line("Sn"), score_line(true, 2), kFirstWins}},
        {"slot tail not compared", reserved_ignored, {ok_line("Speech"), score_line(true, 3), kFirstWins}},
    };
    for (const auto &c : cases) {
        put_copies(*flash_, c.copy, Bytes(kSize, 0xFF));
        Lines want{kEnter};
        want.insert(want.end(), c.lines.begin(), c.lines.end());
        EXPECT_EQ(start(), want) << c.name;
    }
}

TEST_F(SnStart, RecordDigestComparedOverTheStoredString) {
    const auto with_record_md5 = [](const std::string &stored) {
        Bytes r = good_record("m");
        memset(r.data() + 0x450, 0, 48);
        memcpy(r.data() + 0x450, stored.data(), stored.size());
        return r;
    };
    const Bytes base = good_record("m");
    const std::string right(reinterpret_cast<const char *>(base.data() + 0x450), 32);
    const struct {
        const char *name;
        Bytes copy;
        bool good;
    } cases[] = {
        {"right", with_record_md5(right), true},
        {"empty string", with_record_md5(""), true},
        {"a right prefix", with_record_md5(right.substr(0, 7)), true},
        {"a wrong prefix", with_record_md5(right.substr(0, 6) + "#"), false},
        {"33 characters", with_record_md5(right + "0"), false},
        {"no NUL in the slot", with_record_md5(right + std::string(16, '0')), false},
        {"upper case", with_record_md5([&] {
             std::string u = right;
             for (char &ch : u) ch = static_cast<char>(toupper(ch));
             return u;
         }()),
         right.find_first_of("abcdef") == std::string::npos},
    };
    for (const auto &c : cases) {
        put_copies(*flash_, c.copy, Bytes(kSize, 0x00));
        const Lines lines = start();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(), c.good ? kFirstToSecond : kFirstWins) << c.name;
    }
}

TEST_F(SnStart, FailedReadsAndRepeatedStarts) {
    const Bytes a = good_record("A");
    // No second partition: its read fails, and the first copy's bytes are
    // judged a second time, so both count as good.
    flash_->set_mtd_list("mtd2: 00008000 00001000 \"KEY_CUST\"\n");
    put_copies(*flash_, a, Bytes(kSize, 0xFF));
    EXPECT_EQ(start().back(), kAllOk);
    EXPECT_TRUE(snaps_.empty());
    // No first partition: the image is zeroed before its read, so the first
    // copy is empty, and the second one is written over it... which fails,
    // leaving flash as it was.
    flash_->set_mtd_list("mtd1: 00008000 00001000 \"KEY_CUST1\"\n");
    put_copies(*flash_, Bytes(kSize, 0xFF), a);
    EXPECT_EQ(start().back(), kSecondToFirst);
    EXPECT_EQ(fake::unprotect_calls(), (std::vector<int>{2, 0}));
    EXPECT_EQ(first_copy(*flash_), Bytes(kSize, 0xFF));
    flash_->set_mtd_list("mtd1: 00008000 00001000 \"KEY_CUST1\"\nmtd2: 00008000 00001000 \"KEY_CUST\"\n");
    capture_stdout([&] { EXPECT_EQ(image_via_store(*flash_), probed(a)); });
}

TEST_F(SnStart, AFailedReloadWritesNothing) {
    const Bytes good = good_record("G");
    const Bytes bad = bad_record({&kSn}, "b");
    const struct {
        const char *name;
        const Bytes &first;
        const Bytes &second;
        int device;  // the good copy's device, whose second read fails
        std::string row;
        std::string warning;
    } cases[] = {
        {"first good", good, bad, kFirstDev, kFirstToSecond,
         "WAR Zev_SnManager_Start :reload of MTD_PART_SN failed, no repair\n"},
        {"second good", Bytes(kSize, 0xFF), good, kSecondDev, kSecondToFirst,
         "WAR Zev_SnManager_Start :reload of MTD_PART_SN_BACKUP failed, no repair\n"},
    };
    for (const auto &c : cases) {
        put_copies(*flash_, c.first, c.second);
        fake::reset();
        flash_->fail_read(c.device, 2);
        const Lines lines = start();
        ASSERT_GE(lines.size(), 2u);
        EXPECT_EQ(lines[lines.size() - 2], c.row) << c.name;
        EXPECT_EQ(lines.back(), c.warning) << c.name;
        EXPECT_TRUE(fake::unprotect_calls().empty()) << c.name;
        EXPECT_EQ(first_copy(*flash_), c.first) << c.name;
        EXPECT_EQ(second_copy(*flash_), c.second) << c.name;
        // The next start, with reads working again, repairs.
        EXPECT_EQ(start().back(), c.row) << c.name;
        EXPECT_EQ(first_copy(*flash_), good) << c.name;
        EXPECT_EQ(second_copy(*flash_), good) << c.name;
    }
}

}  // namespace
