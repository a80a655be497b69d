// Scratch files for the harness tests.
#ifndef ALAD_TESTS_VERIFY_VERIFY_TEST_UTIL_H
#define ALAD_TESTS_VERIFY_VERIFY_TEST_UTIL_H

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace alad_test {

// A fresh folder per test, removed afterwards.
class ScratchDir {
public:
    ScratchDir() {
        const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
        path_ = std::filesystem::path(testing::TempDir()) /
                ("alad_" + std::string(info->test_suite_name()) + "_" + info->name());
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

inline std::string WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

inline std::vector<std::string> ReadLines(const std::string& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

// Standard output and standard error of a call.
struct Captured {
    std::string out, err;
};

template <typename Call>
Captured Capture(Call&& call) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Captured c;
    try {
        call();
    } catch (...) {
        c.out = testing::internal::GetCapturedStdout();
        c.err = testing::internal::GetCapturedStderr();
        throw;
    }
    c.out = testing::internal::GetCapturedStdout();
    c.err = testing::internal::GetCapturedStderr();
    return c;
}

}  // namespace alad_test

#endif  // ALAD_TESTS_VERIFY_VERIFY_TEST_UTIL_H
