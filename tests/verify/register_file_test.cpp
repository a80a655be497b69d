#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "alad/alad_verify.h"
#include "tests/verify/verify_test_util.h"

namespace {

using namespace alad_test;

constexpr int32_t kUntouched = -7;

// A record whose every field and entry reads kUntouched, so that what a file writes shows.
struct Record {
    std::vector<uint32_t> hist = std::vector<uint32_t>(65, static_cast<uint32_t>(kUntouched));
    std::vector<int32_t> agtm = std::vector<int32_t>(256, kUntouched);
    kelvo::alad_verification_registrator_ reg;
    Record() {
        std::fill_n(&reg.reg_tm_mode, 13, kUntouched);
        reg.hist_adjust_curve = hist.data();
        reg.agtm = agtm.data();
    }
    // The fields written: field number (1..13) -> value.
    std::map<int, int32_t> Set() const {
        std::map<int, int32_t> set;
        for (int i = 0; i < 13; ++i) if ((&reg.reg_tm_mode)[i] != kUntouched) set[i + 1] = (&reg.reg_tm_mode)[i];
        return set;
    }
    bool TablesUntouched() const { return hist == Record().hist && agtm == Record().agtm; }
};

TEST(RegisterFileTest, ScalarKeysSetTheirFieldsAndNothingElse) {
    ScratchDir dir;
    const struct {
        std::string text;
        std::map<int, int32_t> fields;
    } cases[] = {
        {"tm_mode=1 width=1080 height=2400", {{1, 1}, {2, 1080}, {3, 2400}}},
        {"tm_mode=1\nwidth=1080\r\n\theight=2400\n\n", {{1, 1}, {2, 1080}, {3, 2400}}},
        {"=tm_mode=4", {{1, 4}}},
        {"strength_target=abc", {{11, 0}}},
        {"strength_step=12abc linear_adj_offset=-5 linear_adj_ratio=+9", {{12, 12}, {8, -5}, {9, 9}}},
        {"foo=5 note TM_MODE=2 tm_mode_x=2 Width=3 = ==", {}},
        {"tm_mode=1 width=2 height=3 blk_width_b=4 blk_height_b=5 hist_mode=6 curve_transition=7 linear_adj_offset=8 "
         "linear_adj_ratio=9 strength_mode=10 strength_target=11 strength_step=12 strength_interval=13",
         {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 7}, {8, 8}, {9, 9}, {10, 10}, {11, 11}, {12, 12},
          {13, 13}}},
        {"width=2147483647 height=-2147483648", {{2, 2147483647}, {3, -2147483648}}},
    };
    for (const auto& c : cases) {
        Record r;
        const std::string path = WriteText(dir / "regs.txt", c.text);
        const Captured out = Capture([&] { EXPECT_EQ(ReadRegisterFile(path.c_str(), r.reg), 0); });
        EXPECT_EQ(r.Set(), c.fields) << c.text;
        EXPECT_EQ(out.out + out.err, "") << c.text;
        EXPECT_TRUE(r.TablesUntouched()) << c.text;
    }
}

TEST(RegisterFileTest, TableKeysTakeTheirIndexFromFixedPositionsInsideTheTables) {
    ScratchDir dir;
    Record r, expected;
    // The index is at characters 15-16 ("hist") and 11-13 ("agtm") whatever the free text says; a
    // one-character index sits at position 14 alone.
    const char* const outside[] = {"hist_adj_curv_65=1", "hist_adj_curv_99=2", "hist_adj_curv_-1=3",
                                   "agtm_entry256=4",    "agtm_entry-01=5",    "agtm_entry999=6"};
    std::string text = "hist_adj_curv_07=100 agtm_entry123=4000 histXXXXXXXXXX64=-3 agtmYYYYYY000=2048 "
                       "agtm_entry255=1 hist_adj_curv_0=5 agtm_entry12=6";
    for (const char* token : outside) text += std::string(" ") + token;
    const std::string path = WriteText(dir / "regs.txt", text);
    const Captured out = Capture([&] { EXPECT_EQ(ReadRegisterFile(path.c_str(), r.reg), 0); });
    EXPECT_TRUE(r.Set().empty());
    for (auto [i, v] : {std::pair{7, 100u}, {64, static_cast<uint32_t>(-3)}, {0, 5u}}) expected.hist[i] = v;
    for (auto [i, v] : {std::pair{123, 4000}, {0, 2048}, {255, 1}, {12, 6}}) expected.agtm[i] = v;
    EXPECT_EQ(r.hist, expected.hist);
    EXPECT_EQ(r.agtm, expected.agtm);
    // Entries outside a table are reported and skipped.
    for (const std::string token : outside)
        EXPECT_NE(out.err.find("register file '" + path + "': token '" + token + "'"), std::string::npos) << token;
    EXPECT_NE(out.err.find("CLTM table index 99 is outside 0..64; ignored"), std::string::npos);
    EXPECT_NE(out.err.find("AGTM table index -1 is outside 0..255; ignored"), std::string::npos);
}

TEST(RegisterFileTest, ConversionErrorsNameTheFileAndTheToken) {
    ScratchDir dir;
    const struct {
        std::string token;
        bool invalid;  // std::invalid_argument, else std::out_of_range
    } cases[] = {{"tm_mode", true},          {"tm_mode=", true},           {"hist=1", false},
                 {"agtm", false},            {"hist_adj_curv_ab=1", true}, {"agtm_entryxyz=1", true},
                 {"hist_adj_curv_07=abc", true}, {"hist_adj_curv_07", true}, {"agtm_entry001=99999999999", false},
                 {"width=99999999999", false}};
    for (const auto& c : cases) {
        Record r;
        const std::string path = WriteText(dir / "regs.txt", "height=5 " + c.token + " width=6\n");
        try {
            parseRegisterFromFile(path.c_str(), r.reg);
            ADD_FAILURE() << "no error for: " << c.token;
        } catch (const RegisterFileError& e) {
            EXPECT_EQ(e.file() + "|" + e.token(), path + "|" + c.token);
            EXPECT_EQ(dynamic_cast<const std::exception&>(e).what(),
                      "register file '" + path + "': token '" + c.token + "': " + e.problem());
            EXPECT_EQ(dynamic_cast<const std::invalid_argument*>(&e) != nullptr, c.invalid) << c.token;
            EXPECT_EQ(dynamic_cast<const std::out_of_range*>(&e) != nullptr, !c.invalid) << c.token;
        }
        EXPECT_EQ(r.Set(), (std::map<int, int32_t>{{3, 5}})) << c.token;  // applied up to the bad token only
    }
}

TEST(RegisterFileTest, UnreadableEmptyAndOverlongInput) {
    ScratchDir dir;
    Record r;
    const std::string missing = dir / "missing.txt";
    EXPECT_EQ(Capture([&] { EXPECT_EQ(ReadRegisterFile(missing.c_str(), r.reg), -1); }).err,
              "open failed: " + missing + "\n");
    EXPECT_EQ(ReadRegisterFile(WriteText(dir / "empty.txt", "").c_str(), r.reg), 0);
    EXPECT_TRUE(r.Set().empty() && r.TablesUntouched());

    // Exactly 1023 characters is a token (its value converts up to the first non-digit); longer ones
    // are refused whole, so that their tail never becomes a token of its own.
    std::string longest = "agtm_entry010=5";
    longest += std::string(1023 - longest.size(), 'z');
    const std::string path = WriteText(dir / "long.txt", longest + "\n" + std::string(1024, 'a') + "width=1 height=4");
    const std::string err = Capture([&] { EXPECT_EQ(ReadRegisterFile(path.c_str(), r.reg), 0); }).err;
    EXPECT_NE(err.find("longer than 1023 characters"), std::string::npos);
    EXPECT_EQ(r.agtm[10], 5);
    EXPECT_EQ(r.Set(), (std::map<int, int32_t>{{3, 4}}));
}

TEST(RegisterFileTest, WrittenFilesReadBackIntoTheSameRecord) {
    ScratchDir dir;
    Record written;
    for (int i = 0; i < 13; ++i) (&written.reg.reg_tm_mode)[i] = i * 1000 - 6000;  // negatives too
    for (int i = 0; i < 65; ++i) written.hist[i] = static_cast<uint32_t>(i * 1009);
    for (int i = 0; i < 256; ++i) written.agtm[i] = 2048 - 37 * i;
    const std::string path = dir / "regs.txt";
    ASSERT_EQ(WriteRegisterFile(path.c_str(), written.reg), 0);
    Record read;
    ASSERT_EQ(ReadRegisterFile(path.c_str(), read.reg), 0);
    EXPECT_EQ(read.Set(), written.Set());
    EXPECT_EQ(read.hist, written.hist);
    EXPECT_EQ(read.agtm, written.agtm);
    const std::vector<std::string> lines = ReadLines(path);
    ASSERT_EQ(lines.size(), 13u + 65 + 256);
    EXPECT_EQ(lines[0], "tm_mode=-6000");
    EXPECT_EQ(lines[13 + 7], "hist_adj_curv_07=7063");
    EXPECT_EQ(lines.back(), "agtm_entry255=-7387");

    // A record without a table, or a file that cannot be made, is refused.
    const std::string nowhere = dir / "no/such/regs.txt";
    EXPECT_EQ(Capture([&] { EXPECT_EQ(WriteRegisterFile(nowhere.c_str(), written.reg), -1); }).err,
              "open failed: " + nowhere + "\n");
    written.reg.agtm = nullptr;
    const std::string err = Capture([&] { EXPECT_EQ(WriteRegisterFile(path.c_str(), written.reg), -1); }).err;
    EXPECT_NE(err.find("no AGTM table"), std::string::npos) << err;
}

}  // namespace
