// Field access on the identity record: reads under digests, writes with
// their limits and prefix rule, erases and the Ui exception, the store.
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

class SnAccess : public ::testing::Test {
protected:
    void SetUp() override {
        REQUIRE_TESTBED();
        flash_ = std::make_unique<testsupport::FlashBed>();
        fake::reset();
        Zev_Comm_SetPrintLev(0);
        Zev_SnManager_Start();  // blank flash: a zero image
        snapshot_on_unprotect(*flash_, snaps_);
    }
    void TearDown() override { fake::reset(); }

    // Puts `rec` in both copies and starts on it.
    void load(const Bytes &rec) {
        put_copies(*flash_, rec, rec);
        Zev_SnManager_Start();
        snaps_.clear();
    }
    // The identity record's log lines of fn.
    template <typename Fn>
    Lines logged(Fn fn) {
        Zev_Comm_SetPrintLev(5);
        const std::string out = capture_stdout(fn);
        Zev_Comm_SetPrintLev(0);
        return record_lines(out);
    }
    int update(uint32_t type, const Bytes &value) {
        return Zev_SnManager_Update(type, value.data(), static_cast<int32_t>(value.size()));
    }
    Bytes get(uint32_t type, size_t n, int *result = nullptr, unsigned char fill = 0xEE) {
        Bytes out(n, fill);
        const int r = Zev_SnManager_GetData(type, out.data(), static_cast<uint32_t>(n));
        if (result != nullptr) *result = r;
        return out;
    }
    std::unique_ptr<testsupport::FlashBed> flash_;
    std::vector<Snapshot> snaps_;
};

const std::string kNoChange(uint32_t type) {
    char text[64];
    snprintf(text, sizeof text, "INF Zev_SnManager_Update :No change (stType=%x)\n", type);
    return text;
}
std::string err_line(int code) { return "ERR Zev_SnManager_Update :Err ret=" + std::to_string(code) + "\n"; }

TEST_F(SnAccess, WriteLimits) {
    const struct {
        const FieldSpec &field;
        size_t size;
        int result;
    } cases[] = {
        {kSn, 63, 0},      {kSn, 64, -2},      {kDid, 63, 0},    {kDid, 64, -21},    {kSpeech, 63, 0},
        {kSpeech, 64, -3}, {kAdas, 63, 0},     {kAdas, 64, -4},  {kUi, 512, 0},      {kUi, 513, -5},
        {kPlain1, 48, 0},  {kPlain1, 49, -12}, {kPlain2, 48, 0}, {kPlain2, 49, -12},
    };
    unsigned char seed = 1;
    for (const auto &c : cases) {
        const Bytes value(c.size, static_cast<unsigned char>('A' + seed++ % 26));
        const Bytes before = first_copy(*flash_);
        snaps_.clear();
        int r = 99;
        const Lines lines = logged([&] { r = update(c.field.mask, value); });
        EXPECT_EQ(r, c.result) << c.field.name << " " << c.size;
        if (c.result != 0) {
            EXPECT_EQ(lines, Lines{err_line(c.result)}) << c.field.name;
            EXPECT_EQ(first_copy(*flash_), before) << c.field.name;
            EXPECT_TRUE(snaps_.empty()) << c.field.name;
            continue;
        }
        // Stored: both copies hold the value, and it reads back.
        const Bytes first = first_copy(*flash_);
        EXPECT_EQ(second_copy(*flash_), first) << c.field.name;
        EXPECT_TRUE(sealed(first)) << c.field.name;
        EXPECT_EQ(Bytes(first.begin() + static_cast<long>(c.field.offset),
                        first.begin() + static_cast<long>(c.field.offset + c.size)),
                  value);
        EXPECT_EQ(get(c.field.mask, c.size), value) << c.field.name;
    }
}

TEST_F(SnAccess, EmptyAndNegativeValuesAreRefused) {
    const Bytes zeros(5, 0x00), ones(5, 0xFF), mixed = {0x00, 0xFF, 0xFF, 0x00};
    const struct {
        uint32_t type;
        const Bytes *value;
        int32_t size;
    } cases[] = {
        {kSn.mask, &zeros, 5},       {kSn.mask, &ones, 5},      {kUi.mask, &mixed, 4},
        {kPlain1.mask, &ones, 5},    {kPlain2.mask, &zeros, 5}, {0, &ones, 5},
        {0x80, &mixed, 4},           {kSn.mask, &mixed, 1},     {kSn.mask, &zeros, -1},
        {kPlain1.mask, &ones, -100},
    };
    const Bytes before = first_copy(*flash_);
    for (const auto &c : cases) {
        int r = 0;
        const Lines lines = logged([&] { r = Zev_SnManager_Update(c.type, c.value->data(), c.size); });
        EXPECT_EQ(r, -11) << c.type << " " << c.size;
        EXPECT_EQ(lines, Lines{err_line(-11)});
    }
    // A good value with a negative size is refused before its bytes are read.
    EXPECT_EQ(Zev_SnManager_Update(kSn.mask, "abc", -3), -11);
    EXPECT_EQ(first_copy(*flash_), before);
    EXPECT_TRUE(snaps_.empty());
}

TEST_F(SnAccess, StoreSequence) {
    const Bytes value = text("SN-0001");
    int r = 99;
    const Lines lines = logged([&] { r = update(kSn.mask, value); });
    EXPECT_EQ(r, 0);
    const Bytes first = first_copy(*flash_);
    const std::string record_md5(reinterpret_cast<const char *>(first.data() + 0x450), 32);
    EXPECT_EQ(lines, Lines{"DBG Zev_SnManager_Update :md5:" + record_md5 + "\n"});
    // Protection lifted once with 4 before both writes, restored with 0 after.
    ASSERT_EQ(snaps_.size(), 2u);
    EXPECT_EQ(snaps_[0].flag, 4);
    EXPECT_EQ(snaps_[0].first, Bytes(kSize, 0xFF));
    EXPECT_EQ(snaps_[0].second, Bytes(kSize, 0xFF));
    EXPECT_EQ(snaps_[1].flag, 0);
    EXPECT_EQ(snaps_[1].first, first);
    EXPECT_EQ(snaps_[1].second, first);
    // The first store on a blank device: everything else zero, slots built
    // by the library with zero reserved bytes.
    Bytes want(kSize, 0);
    put_field(want, kSn, value);
    seal(want);
    EXPECT_EQ(first, want);
    // Past the record, the region stays erased.
    EXPECT_EQ(flash_->bytes(kFirstDev, kCopyAt + kSize, 16), Bytes(16, 0xFF));
}

TEST_F(SnAccess, PrefixRuleAndPartialOverwrite) {
    ASSERT_EQ(update(kSn.mask, text("ABC")), 0);
    snaps_.clear();
    Lines lines = logged([&] { EXPECT_EQ(update(kSn.mask, text("AB")), 0); });
    EXPECT_EQ(lines, Lines{kNoChange(1)});
    EXPECT_TRUE(snaps_.empty());
    EXPECT_EQ(get(kSn.mask, 4), (Bytes{'A', 'B', 'C', 0}));

    ASSERT_EQ(update(kSn.mask, text("XY")), 0);
    EXPECT_EQ(get(kSn.mask, 4), (Bytes{'X', 'Y', 'C', 0}));
    Bytes want(kSize, 0);
    put_field(want, kSn, text("XYC"));
    seal(want);
    EXPECT_EQ(first_copy(*flash_), want);
    EXPECT_EQ(second_copy(*flash_), want);

    // A shorter value replaces a longer one through an erase first.
    ASSERT_EQ(Zev_SnManager_Update(kSn.mask, nullptr, 0), 0);
    ASSERT_EQ(update(kSn.mask, text("Q")), 0);
    EXPECT_EQ(get(kSn.mask, 3), (Bytes{'Q', 0, 0}));
}

TEST_F(SnAccess, ReservedSlotBytesSurviveAWrite) {
    Bytes rec = good_record("r");
    rec[kSn.slot + 40] = 'r';
    seal(rec);
    load(rec);
    ASSERT_EQ(update(kSn.mask, text("new")), 0);
    const Bytes first = first_copy(*flash_);
    EXPECT_EQ(first[kSn.slot + 40], 'r');
    EXPECT_EQ(first[kSn.slot + 32], 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(first.data() + kSn.slot), 32),
              field_digest(first, kSn));
}

TEST_F(SnAccess, FieldOrdersDifferBetweenReadAndWrite) {
    load(good_record("o"));
    // 6 = Speech | Did: read takes Speech, write takes Did.
    EXPECT_EQ(get(6, 8), text("Speech-o"));
    ASSERT_EQ(update(6, text("Did-2")), 0);
    EXPECT_EQ(get(kDid.mask, 5), text("Did-2"));
    EXPECT_EQ(get(kSpeech.mask, 8), text("Speech-o"));
    // 3 = Sn | Speech: Sn both ways.
    EXPECT_EQ(get(3, 4), text("Sn-o"));
    ASSERT_EQ(update(3, text("Sn-3")), 0);
    EXPECT_EQ(get(kSn.mask, 4), text("Sn-3"));
    EXPECT_EQ(get(kSpeech.mask, 8), text("Speech-o"));
    // 0x60 = Adas | Ui: Adas both ways; 0x30 = Plain2 | Ui: Plain2.
    EXPECT_EQ(get(0x60, 6), text("Adas-o"));
    EXPECT_EQ(get(0x30, 8), text("Plain2-o"));
    ASSERT_EQ(update(0x30, text("P2")), 0);
    EXPECT_EQ(get(kPlain2.mask, 8), text("P2ain2-o"));
    EXPECT_EQ(get(kUi.mask, 4), text("Ui-o"));
}

TEST_F(SnAccess, NoFieldBitMeansNoChange) {
    load(good_record("n"));
    for (uint32_t type : {0u, 0x80u, 0xFFFFFF00u}) {
        EXPECT_EQ(logged([&] { EXPECT_EQ(update(type, text("good")), 0); }), Lines{kNoChange(type)});
        const Lines lines = logged([&] { EXPECT_EQ(Zev_SnManager_Update(type, nullptr, 0), 0); });
        EXPECT_EQ(lines, (Lines{"WAR Zev_SnManager_Update :DataIn=0x0, size=0, erase type:" +
                                    std::to_string(static_cast<int>(type)) + "\n",
                                kNoChange(type)}));
        int r = 99;
        EXPECT_EQ(get(type, 4, &r), Bytes(4, 0xEE));
        EXPECT_EQ(r, 0);
    }
    EXPECT_TRUE(snaps_.empty());
}

TEST_F(SnAccess, EraseClearsFieldAndSlotAndStores) {
    load(good_record("e"));
    const Lines lines = logged([&] { EXPECT_EQ(Zev_SnManager_Update(kDid.mask, nullptr, 7), 0); });
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "WAR Zev_SnManager_Update :DataIn=0x0, size=7, erase type:4\n");
    Bytes want = good_record("e");
    std::fill(want.begin() + 0x0E0, want.begin() + 0x150, 0);  // Did and DidMd5
    seal(want);
    EXPECT_EQ(first_copy(*flash_), want);
    EXPECT_EQ(second_copy(*flash_), want);
    ASSERT_EQ(snaps_.size(), 2u);
    // The field is now unreadable: a zero field does not match a zero slot.
    int r = 0;
    EXPECT_EQ(get(kDid.mask, 4, &r), Bytes(4, 0xEE));
    EXPECT_EQ(r, -2);

    // Erasing again changes nothing and writes nothing.
    snaps_.clear();
    EXPECT_EQ(logged([&] { EXPECT_EQ(Zev_SnManager_Update(kDid.mask, nullptr, 0), 0); }).back(),
              kNoChange(4));
    EXPECT_TRUE(snaps_.empty());

    // A good value with size 0 is an erase too; its pointer is shown.
    const unsigned char value[4] = {'v', 'a', 'l', 0};
    const Lines l2 = logged([&] { EXPECT_EQ(Zev_SnManager_Update(kSn.mask, value, 0), 0); });
    ASSERT_EQ(l2.size(), 2u);
    EXPECT_EQ(l2[0].rfind("WAR Zev_SnManager_Update :DataIn=0x", 0), 0u);
    EXPECT_NE(l2[0].find(", size=0, erase type:1\n"), std::string::npos);
    EXPECT_EQ(first_copy(*flash_)[0], 0);
}

TEST_F(SnAccess, ErasedStateFieldsAreEmpty) {
    // A field of 0xFF with an empty slot counts as empty: no change.
    Bytes rec = good_record("f");
    std::fill(rec.begin() + 0x070, rec.begin() + 0x0B0, 0xFF);  // Speech
    std::fill(rec.begin() + 0x0B0, rec.begin() + 0x0E0, 0x00);  // SpeechMd5
    seal(rec);
    load(rec);
    EXPECT_EQ(logged([&] { EXPECT_EQ(Zev_SnManager_Update(kSpeech.mask, nullptr, 0), 0); }).back(),
              kNoChange(2));
    EXPECT_TRUE(snaps_.empty());
    // An empty field with a non-empty slot is cleared.
    rec[0x0B0] = 'x';
    seal(rec);
    load(rec);
    EXPECT_EQ(Zev_SnManager_Update(kSpeech.mask, nullptr, 0), 0);
    EXPECT_EQ(snaps_.size(), 2u);
    EXPECT_EQ(first_copy(*flash_)[0x070], 0x00);
    EXPECT_EQ(first_copy(*flash_)[0x0B0], 0x00);
}

TEST_F(SnAccess, UiEraseStaysInMemoryUntilTheNextStore) {
    const Bytes rec = good_record("u");
    load(rec);
    const Lines lines = logged([&] { EXPECT_EQ(Zev_SnManager_Update(kUi.mask, nullptr, 0), 0); });
    EXPECT_EQ(lines.back(), kNoChange(0x20));
    EXPECT_TRUE(snaps_.empty());
    EXPECT_EQ(first_copy(*flash_), rec);
    int r = 0;
    get(kUi.mask, 4, &r);
    EXPECT_EQ(r, -3);  // cleared in memory
    ASSERT_EQ(update(kPlain1.mask, text("carry")), 0);
    Bytes want = rec;
    std::fill(want.begin() + 0x220, want.begin() + 0x450, 0);  // Ui and UiMd5
    put_field(want, kPlain1, text("carry"));
    seal(want);
    EXPECT_EQ(first_copy(*flash_), want);
    EXPECT_EQ(second_copy(*flash_), want);
}

TEST_F(SnAccess, ReadsCheckTheDigest) {
    const Bytes rec = good_record("d");
    const struct {
        const FieldSpec &field;
        int mismatch;
    } cases[] = {{kSn, -1}, {kSpeech, -2}, {kDid, -2}, {kAdas, -3}, {kUi, -3}};
    for (const auto &c : cases) {
        Bytes broken = rec;
        broken[c.field.slot + 5] ^= 0x01;
        broken[c.field.slot + 33] = 'm';
        seal(broken);
        load(broken);
        const std::string stored(reinterpret_cast<const char *>(broken.data() + c.field.slot), 32);
        int r = 0;
        Bytes out;
        const Lines lines = logged([&] { out = get(c.field.mask, 4, &r); });
        EXPECT_EQ(r, c.mismatch) << c.field.name;
        EXPECT_EQ(out, Bytes(4, 0xEE)) << c.field.name;
        EXPECT_EQ(lines, Lines{std::string("DBG Zev_SnManager_GetData :") + c.field.name +
                               " error:" + field_digest(broken, c.field) + "!=" + stored + "!\n"});
        // The mark at slot byte 33 is in the image only, until the next store.
        EXPECT_EQ(first_copy(*flash_)[c.field.slot + 33], 'm');
        ASSERT_EQ(update(kPlain2.mask, text(c.field.name)), 0);
        EXPECT_EQ(first_copy(*flash_)[c.field.slot + 33], 0) << c.field.name;
        // Writing the same bytes leaves the digest wrong.
        const Bytes same = field_bytes(broken, c.field);
        EXPECT_EQ(logged([&] { update(c.field.mask, Bytes(same.begin(), same.begin() + 3)); }).back(),
                  kNoChange(c.field.mask));
        get(c.field.mask, 4, &r);
        EXPECT_EQ(r, c.mismatch);
    }
    // Plain fields have no digest; other fields stay readable.
    Bytes out = get(kPlain1.mask, 8);
    EXPECT_EQ(out, text("Plain1-d"));
}

TEST_F(SnAccess, ReadLengths) {
    load(good_record("l"));
    // As many bytes as asked, whatever was stored.
    Bytes want = text("Sn-l");
    want.resize(10, 0);
    EXPECT_EQ(get(kSn.mask, 10), want);
    // Beyond the field: the field's bytes only, the rest untouched.
    Bytes big = get(kSn.mask, 80, nullptr, 0xEE);
    EXPECT_EQ(Bytes(big.begin(), big.begin() + 64), field_bytes(good_record("l"), kSn));
    EXPECT_EQ(Bytes(big.begin() + 64, big.end()), Bytes(16, 0xEE));
    big = get(kUi.mask, 600, nullptr, 0xEE);
    EXPECT_EQ(Bytes(big.begin() + 512, big.end()), Bytes(88, 0xEE));
    big = get(kPlain2.mask, 49, nullptr, 0xEE);
    EXPECT_EQ(big[48], 0xEE);
    const Lines lines = logged([] { EXPECT_EQ(Zev_SnManager_GetData(kSn.mask, nullptr, 4), -1); });
    EXPECT_EQ(lines, Lines{"ERR Zev_SnManager_GetData :DataOut is NULL\n"});
}

TEST_F(SnAccess, FailedFlashWritesStillReturnZero) {
    flash_->remove_device(kSecondDev);
    EXPECT_EQ(update(kSn.mask, text("kept")), 0);
    EXPECT_EQ(get(kSn.mask, 4), text("kept"));
    const Bytes first = first_copy(*flash_);
    EXPECT_EQ(Bytes(first.begin(), first.begin() + 4), text("kept"));
    EXPECT_EQ(snaps_.size(), 2u);
}

}  // namespace
