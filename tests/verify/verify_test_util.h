// Scratch files, console capture and the engine's register read-back, shared by the harness,
// tool and driver tests.
#ifndef ALAD_TESTS_VERIFY_VERIFY_TEST_UTIL_H
#define ALAD_TESTS_VERIFY_VERIFY_TEST_UTIL_H

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "alad/alad_engine.h"
#include "tests/engine/engine_test_util.h"

namespace alad_test {

// A fresh folder per test, removed afterwards.
struct ScratchDir {
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    std::filesystem::path path = std::filesystem::path(testing::TempDir()) /
                                 ("alad_" + std::string(info->test_suite_name()) + "_" + info->name());
    ScratchDir() { std::filesystem::remove_all(path); std::filesystem::create_directories(path); }
    ~ScratchDir() { std::error_code ignored; std::filesystem::remove_all(path, ignored); }
    std::string operator/(const std::string& name) const { return (path / name).string(); }
};

// A fixture whose tests each work in a scratch folder of their own.
class ScratchTest : public testing::Test {
protected:
    std::string Path(const std::string& name) const { return dir_ / name; }
    ScratchDir dir_;
};

inline std::string WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

inline std::vector<std::string> ReadLines(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

// 16-bit little-endian samples as bytes, as in 10-bit YUV files.
inline std::string Le16(const std::vector<int>& samples) {
    std::string bytes;
    for (int s : samples) bytes += {static_cast<char>(s & 0xFF), static_cast<char>(s >> 8)};
    return bytes;
}

// Standard output and standard error of a call (also when it throws), and a command's exit code.
struct Captured {
    std::string out, err;
    int code = -1;
};
template <typename Call>
Captured Capture(Call&& call) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const auto end = [] {
        return Captured{testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr(), -1};
    };
    try { call(); } catch (...) { end(); throw; }
    return end();
}
template <typename Call>
std::string Printed(Call&& call) {
    return Capture(call).out;
}

// A command-line entry point run on `args`, its console captured.
using Command = int (*)(int, char**);
inline Captured RunCommand(Command command, std::vector<std::string> args) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    int code = -1;
    Captured run = Capture([&] { code = command(static_cast<int>(argv.size()), argv.data()); });
    run.code = code;
    return run;
}

// The record a register file is read into, with its two tables.
struct FileRegisters {
    std::vector<uint32_t> hist = std::vector<uint32_t>(65);
    std::vector<int32_t> agtm = std::vector<int32_t>(256);
    kelvo::alad_verification_registrator_ regs;
    FileRegisters() {
        regs.hist_adjust_curve = hist.data();
        regs.agtm = agtm.data();
    }
};

// The register set the engine runs now.
struct EngineRegs : kelvo::testing_util::Registers {
    EngineRegs() { EXPECT_EQ(kelvo::ALADRegistratorsInfoForDriverDraftEngine(regs), 0); }
};

}  // namespace alad_test

#endif  // ALAD_TESTS_VERIFY_VERIFY_TEST_UTIL_H
