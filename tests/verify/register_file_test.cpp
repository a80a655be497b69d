#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"

namespace {

using alad_test::Capture;
using alad_test::ScratchDir;
using alad_test::WriteText;

constexpr int32_t kUntouched = -7;

// A record whose every field and entry reads kUntouched, so that what a file writes shows.
struct Record {
    std::vector<uint32_t> hist = std::vector<uint32_t>(65, static_cast<uint32_t>(kUntouched));
    std::vector<int32_t> agtm = std::vector<int32_t>(256, kUntouched);
    kelvo::alad_verification_registrator_ reg;
    Record() {
        int32_t* fields = &reg.reg_tm_mode;
        for (int i = 0; i < 13; ++i) fields[i] = kUntouched;
        reg.hist_adjust_curve = hist.data();
        reg.agtm = agtm.data();
    }
    int32_t Field(int i) const { return (&reg.reg_tm_mode)[i]; }
};

// Field number (1..13) -> value; every other field must be untouched.
using Fields = std::map<int, int32_t>;

void ExpectFields(const Record& r, const Fields& expected, const std::string& text) {
    for (int i = 0; i < 13; ++i) {
        const auto it = expected.find(i + 1);
        EXPECT_EQ(r.Field(i), it == expected.end() ? kUntouched : it->second) << "field " << i + 1 << " of: " << text;
    }
}

TEST(RegisterFileTest, ScalarKeysSetTheirFieldsAndNothingElse) {
    ScratchDir dir;
    const struct {
        std::string text;
        Fields fields;
    } cases[] = {
        {"tm_mode=1 width=1080 height=2400", {{1, 1}, {2, 1080}, {3, 2400}}},
        {"tm_mode=1\nwidth=1080\r\n\theight=2400\n\n", {{1, 1}, {2, 1080}, {3, 2400}}},
        {"tm_mode=3=7", {{1, 3}}},
        {"=tm_mode=4", {{1, 4}}},
        {"strength_target=abc", {{11, 0}}},
        {"strength_step=12abc linear_adj_offset=-5 linear_adj_ratio=+9", {{12, 12}, {8, -5}, {9, 9}}},
        {"width=5\nwidth=9", {{2, 9}}},
        {"foo=5 note TM_MODE=2 tm_mode_x=2 Width=3 = ==", {}},
        {"tm_mode=1 width=2 height=3 blk_width_b=4 blk_height_b=5 hist_mode=6 curve_transition=7 "
         "linear_adj_offset=8 linear_adj_ratio=9 strength_mode=10 strength_target=11 strength_step=12 "
         "strength_interval=13",
         {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 7}, {8, 8}, {9, 9}, {10, 10}, {11, 11}, {12, 12},
          {13, 13}}},
        {"width=2147483647 height=-2147483648", {{2, 2147483647}, {3, -2147483648}}},
    };
    for (const auto& c : cases) {
        Record r;
        const std::string path = WriteText(dir / "regs.txt", c.text);
        const alad_test::Captured out = Capture([&] { EXPECT_EQ(ReadRegisterFile(path.c_str(), r.reg), 0); });
        ExpectFields(r, c.fields, c.text);
        EXPECT_EQ(out.out + out.err, "") << c.text;
        EXPECT_EQ(r.hist, std::vector<uint32_t>(65, static_cast<uint32_t>(kUntouched))) << c.text;
        EXPECT_EQ(r.agtm, std::vector<int32_t>(256, kUntouched)) << c.text;
    }
}

TEST(RegisterFileTest, TableKeysTakeTheirIndexFromFixedPositions) {
    ScratchDir dir;
    Record r;
    // The index is at characters 15-16 ("hist") and 11-13 ("agtm") whatever the free text says.
    const std::string path = WriteText(dir / "regs.txt",
                                       "hist_adj_curv_07=100 agtm_entry123=4000 histXXXXXXXXXX64=-3 "
                                       "agtmYYYYYY000=2048 agtm_entry255=1 hist_adj_curv_0=5 agtm_entry12=6\n");
    parseRegisterFromFile(path.c_str(), r.reg);
    ExpectFields(r, {}, "tables");
    std::vector<uint32_t> hist(65, static_cast<uint32_t>(kUntouched));
    hist[7] = 100;
    hist[64] = static_cast<uint32_t>(-3);
    hist[0] = 5;  // a one-character index at position 14
    std::vector<int32_t> agtm(256, kUntouched);
    agtm[123] = 4000;
    agtm[0] = 2048;
    agtm[255] = 1;
    agtm[12] = 6;
    EXPECT_EQ(r.hist, hist);
    EXPECT_EQ(r.agtm, agtm);
}

TEST(RegisterFileTest, IndexOutsideATableIsReportedAndSkipped) {
    ScratchDir dir;
    Record r;
    const std::string path = WriteText(dir / "regs.txt",
                                       "hist_adj_curv_65=1 hist_adj_curv_99=2 hist_adj_curv_-1=3 agtm_entry256=4 "
                                       "agtm_entry-01=5 agtm_entry999=6 width=8\n");
    const alad_test::Captured out = Capture([&] { EXPECT_EQ(ReadRegisterFile(path.c_str(), r.reg), 0); });
    ExpectFields(r, {{2, 8}}, "out of range");
    EXPECT_EQ(r.hist, std::vector<uint32_t>(65, static_cast<uint32_t>(kUntouched)));
    EXPECT_EQ(r.agtm, std::vector<int32_t>(256, kUntouched));
    for (const char* token : {"hist_adj_curv_65=1", "hist_adj_curv_99=2", "hist_adj_curv_-1=3", "agtm_entry256=4",
                              "agtm_entry-01=5", "agtm_entry999=6"}) {
        EXPECT_NE(out.err.find("register file '" + path + "': token '" + token + "'"), std::string::npos) << token;
    }
    EXPECT_NE(out.err.find("CLTM table index 99 is outside 0..64; ignored"), std::string::npos);
    EXPECT_NE(out.err.find("AGTM table index -1 is outside 0..255; ignored"), std::string::npos);
}

TEST(RegisterFileTest, ConversionErrorsNameTheFileAndTheToken) {
    ScratchDir dir;
    enum Kind { kInvalid, kRange };
    const struct {
        std::string text, token;
        Kind kind;
    } cases[] = {
        {"tm_mode", "tm_mode", kInvalid},
        {"tm_mode=", "tm_mode=", kInvalid},
        {"tm_mode = 1", "tm_mode", kInvalid},
        {"hist=1", "hist=1", kRange},
        {"agtm", "agtm", kRange},
        {"hist_adj_curv_ab=1", "hist_adj_curv_ab=1", kInvalid},
        {"agtm_entryxyz=1", "agtm_entryxyz=1", kInvalid},
        {"hist_adj_curv_07=abc", "hist_adj_curv_07=abc", kInvalid},
        {"hist_adj_curv_07", "hist_adj_curv_07", kInvalid},
        {"agtm_entry001=99999999999", "agtm_entry001=99999999999", kRange},
        {"width=99999999999", "width=99999999999", kRange},
    };
    for (const auto& c : cases) {
        Record r;
        const std::string path = WriteText(dir / "regs.txt", "height=5 " + c.text + " width=6\n");
        try {
            parseRegisterFromFile(path.c_str(), r.reg);
            ADD_FAILURE() << "no error for: " << c.text;
        } catch (const RegisterFileError& e) {
            EXPECT_EQ(e.file(), path);
            EXPECT_EQ(e.token(), c.token);
            EXPECT_FALSE(e.problem().empty());
            const std::exception* standard = dynamic_cast<const std::exception*>(&e);
            ASSERT_NE(standard, nullptr);
            EXPECT_EQ(standard->what(), e.message());
            EXPECT_NE(e.message().find(path), std::string::npos);
            if (c.kind == kInvalid) {
                EXPECT_NE(dynamic_cast<const std::invalid_argument*>(&e), nullptr) << c.text;
            } else {
                EXPECT_NE(dynamic_cast<const std::out_of_range*>(&e), nullptr) << c.text;
            }
        }
        // What came before the bad token is applied, nothing after it.
        ExpectFields(r, {{3, 5}}, c.text);
    }
}

TEST(RegisterFileTest, UnreadableFileLeavesTheRecordAlone) {
    ScratchDir dir;
    Record r;
    const std::string path = dir / "missing.txt";
    const alad_test::Captured out = Capture([&] { EXPECT_EQ(ReadRegisterFile(path.c_str(), r.reg), -1); });
    EXPECT_EQ(out.err, "open failed: " + path + "\n");
    ExpectFields(r, {}, "missing");
    const std::string empty = WriteText(dir / "empty.txt", "");
    EXPECT_EQ(ReadRegisterFile(empty.c_str(), r.reg), 0);
    ExpectFields(r, {}, "empty");
}

TEST(RegisterFileTest, TokensAreCappedAt1023Characters) {
    ScratchDir dir;
    Record r;
    // Exactly 1023 characters is a token; the value converts up to its first non-digit.
    std::string longest = "agtm_entry010=5";
    longest += std::string(1023 - longest.size(), 'z');
    // Longer ones are refused whole: their tail must not turn into a token of its own.
    const std::string overlong = std::string(1024, 'a') + "width=1";
    const std::string path = WriteText(dir / "regs.txt", longest + "\n" + overlong + " height=4\n");
    const alad_test::Captured out = Capture([&] { EXPECT_EQ(ReadRegisterFile(path.c_str(), r.reg), 0); });
    EXPECT_EQ(r.agtm[10], 5);
    ExpectFields(r, {{3, 4}}, "long tokens");
    EXPECT_NE(out.err.find("longer than 1023 characters"), std::string::npos);
}

}  // namespace
