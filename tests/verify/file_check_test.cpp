#include <gtest/gtest.h>

#include <string>

#include "verify/file_check.h"

namespace alad {
namespace {

// The table of broken files and what 'alad check' says of each is in tests/tools; here, what the
// library adds around the checks.
TEST(FileCheckTest, KindsFormatsAndTheCapOnKeptProblems) {
    // An assignment among the first lines makes a register file, pixel lines before it included
    // ('alad check' shows the plain kinds); a problem can be shown as a warning.
    EXPECT_EQ(GuessFileKind("\n\n  123456789\nwidth=2\n"), FileKind::kRegisters);
    EXPECT_EQ(FormatProblem(FileProblem{"f.txt", 3, 7, Severity::kError, "bad"}, true), "f.txt:3:7: warning: bad");

    // A thousand bad pixel lines are all counted, but only the first problems are kept.
    std::string lines;
    for (int i = 0; i < 1000; ++i) lines += "12345678\n";
    const CheckReport report = CheckPixelText("p.txt", lines, 10, 100);
    EXPECT_EQ(report.errors, 1000);
    EXPECT_EQ(report.problems.size(), CheckReport::kKeptProblems);
    EXPECT_EQ(report.NotKept(), 1000 - static_cast<int64_t>(CheckReport::kKeptProblems));
    EXPECT_EQ(report.problems.back().line, static_cast<int64_t>(CheckReport::kKeptProblems));

    // Columns count bytes from the line's start, also after carriage returns and tabs.
    const CheckReport regs = CheckRegisterText("r.txt", "tm_mode=1\r\n\twidth=x\n", nullptr);
    ASSERT_FALSE(regs.problems.empty());
    EXPECT_EQ(FormatProblem(regs.problems[0]),
              "r.txt:2:8: error: the value 'x' of width is not a plain decimal integer (the reader takes 0)");

    // The facts a run needs: the frame size as read, and whether it was given plainly.
    RegisterFileFacts facts;
    CheckRegisterText("r.txt", "width=640 height=48x0 tm_mode=2", &facts);
    EXPECT_EQ(std::vector<int>({facts.width, facts.height, facts.tm_mode}), std::vector<int>({640, 48, 2}));
    EXPECT_TRUE(facts.width_clean);
    EXPECT_FALSE(facts.height_clean);
    EXPECT_FALSE(facts.FrameSizeKnown());
}

}  // namespace
}  // namespace alad
