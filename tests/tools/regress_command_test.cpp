#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>

#include "tests/tools/xml_check.h"
#include "tests/verify/verify_test_util.h"
#include "tools/commands.h"

namespace alad_tool {
namespace {

using namespace alad_test;

int Vector(std::vector<std::string> args) { return RunCommand(RunVector, std::move(args)).code; }

// The tool itself, as CI runs it: the regression runs its vectors in processes of the tool.
int Tool(const std::string& args, const std::string& output) {
    const int status = std::system((std::string(ALAD_TOOL_BINARY) + " " + args + " > " + output + " 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The line of `text` that starts with `start`.
std::string LineOf(const std::string& text, const std::string& start) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind(start, 0) == 0) return line;
    }
    return "";
}

// The JUnit report as an XML parser reads it: "tests failures errors testcases failed-cases".
std::string ParsedJUnit(const std::string& path, const std::string& scratch) {
    return RunPython("import sys, xml.etree.ElementTree as E\n"
                     "r = E.parse(sys.argv[1]).getroot()\n"
                     "failed = [c.get('name') + ': ' + f.get('message') for c in r.iter('testcase') for f in c]\n"
                     "print(r.get('tests'), r.get('failures'), r.get('errors'), len(list(r.iter('testcase'))), failed)\n",
                     path, scratch);
}

TEST(RegressCommandTest, FiftyVectorsPassInTwoProcessesAndOnePlantedDifferenceFailsOneCase) {
    ScratchDir dir;
    const std::string vectors = dir / "vectors";
    for (int i = 0; i < 50; ++i) {
        cv::Mat picture(4 + i % 3, 8 + i % 5, CV_8UC3);
        cv::RNG(static_cast<uint64_t>(100 + i)).fill(picture, cv::RNG::UNIFORM, 0, 256);
        const std::string png = dir / ("p" + std::to_string(i) + ".png");
        ASSERT_TRUE(cv::imwrite(png, picture));
        const std::string name = cv::format("vec-%02d", i);
        // Orders, strengths, block sizes and frame counts vary from vector to vector.
        ASSERT_EQ(Vector({png, vectors + "/" + name, "--expect", "--order", std::to_string(1 + i % 4), "--strength",
                          std::to_string(i % 17), "--block", i % 2 ? "64" : "128x256", "--frames",
                          std::to_string(1 + i % 3), "--src", "300", "--dst", std::to_string(1000 * i)}),
                  0)
            << name;
    }
    const std::string junit = dir / "junit.xml", out = dir / "out";
    ASSERT_EQ(Tool("regress " + vectors + " -j 2 --out " + out + " --junit " + junit, dir / "log.txt"), 0)
        << ReadFile(dir / "log.txt");
    EXPECT_NE(ReadFile(dir / "log.txt").find("alad regress: 50 vectors, 50 passed, 0 failed, 0 errors (-j 2"),
              std::string::npos)
        << ReadFile(dir / "log.txt");
    const bool python = HavePython();  // without it, the report is not parsed
    if (python) {
        EXPECT_EQ(ParsedJUnit(junit, dir.path.string()), "50 0 0 50 []\n");
    }

    // One value changed in one expected dump: exactly that vector fails, naming the file and line.
    const std::string hist = vectors + "/vec-17/expected/frame-001/hist.txt";
    std::vector<std::string> lines = ReadLines(hist);
    ASSERT_GT(lines.size(), 3u);
    lines[2] = lines[2] == "00000007" ? "00000008" : "00000007";
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    WriteText(hist, text);
    EXPECT_EQ(Tool("regress " + vectors + " -j2 --out " + out + " --junit " + junit, dir / "log.txt"), 1)
        << ReadFile(dir / "log.txt");
    EXPECT_EQ(Tool("regress " + vectors + " -j2 --out " + out + " --force --junit " + junit, dir / "log.txt"), 1);
    const std::string log = ReadFile(dir / "log.txt");
    EXPECT_NE(log.find("alad regress: 50 vectors, 49 passed, 1 failed, 0 errors"), std::string::npos) << log;
    EXPECT_NE(LineOf(log, "vec-17 ").find(" 3  FAIL "), std::string::npos) << log;
    if (python) {
        const std::string failed = ParsedJUnit(junit, dir.path.string());
        EXPECT_EQ(failed.substr(0, 11), "50 1 0 50 [") << failed;
        EXPECT_NE(failed.find("vec-17: frame-001/hist.txt: 1 of "), std::string::npos) << failed;
        EXPECT_NE(failed.find("lines differ; first at line 3: "), std::string::npos) << failed;
    }

    // A vector whose run fails is an error, with the run's own last word; a folder that is not a
    // regression's is not emptied.
    const std::string broken = dir / "broken";
    std::filesystem::create_directories(broken + "/bad");
    WriteText(broken + "/bad/regs.txt", "width=0\n");
    WriteText(broken + "/bad/image.txt", "000000000\n");
    std::filesystem::copy(vectors + "/vec-00", broken + "/good", std::filesystem::copy_options::recursive);
    EXPECT_EQ(Tool("regress " + broken + " --out " + dir / "out2", dir / "log.txt"), 1);
    const std::string errors = ReadFile(dir / "log.txt");
    EXPECT_NE(LineOf(errors, "bad ").find(" 1  ERROR ") , std::string::npos) << errors;
    EXPECT_NE(LineOf(errors, "bad ").find("alad verify: register file '" + broken + "/bad/regs.txt' sets the frame size 0x0"),
              std::string::npos)
        << errors;
    EXPECT_NE(errors.find("alad regress: 2 vectors, 1 passed, 0 failed, 1 errors"), std::string::npos) << errors;
    // A vector that outlives its time is stopped and counted as an error.
    EXPECT_EQ(Tool("regress " + broken + " --out " + dir / "out3" + " --timeout 0.000001", dir / "log.txt"), 1);
    EXPECT_NE(LineOf(ReadFile(dir / "log.txt"), "good ").find("ERROR   "), std::string::npos) << ReadFile(dir / "log.txt");
    EXPECT_NE(LineOf(ReadFile(dir / "log.txt"), "good ").find("stopped after the timeout of 1e-06 s"), std::string::npos);
    EXPECT_EQ(Tool("regress " + broken + " --out " + vectors + " --force", dir / "log.txt"), 1);
    EXPECT_NE(ReadFile(dir / "log.txt").find("holds no summary.txt, so not an earlier regression; not emptied"),
              std::string::npos);
}

}  // namespace
}  // namespace alad_tool
