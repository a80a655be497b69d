// The test programs' entry point.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <unistd.h>

#include <opencv2/core.hpp>

int main(int argc, char** argv) {
    // Scratch files go to a folder of this process's own, so that test runs of several build trees
    // (or several checkouts) at once never write into each other's files.
    const std::filesystem::path scratch =
        std::filesystem::temp_directory_path() / ("alad-tests-" + std::to_string(getpid()));
    std::filesystem::create_directories(scratch);
    setenv("TEST_TMPDIR", (scratch.string() + "/").c_str(), 1);

    testing::InitGoogleTest(&argc, argv);
    // OpenCV's worker threads do not get scheduled under user-mode emulation (the arm64 test run
    // under qemu): keep OpenCV's own parallel loops on the calling thread there.
    if (std::getenv("ALAD_SEQUENTIAL_OPENCV")) cv::setNumThreads(0);
    const int result = RUN_ALL_TESTS();
    std::error_code ignored;
    std::filesystem::remove_all(scratch, ignored);
    return result;
}
