// The test programs' entry point.
#include <gtest/gtest.h>

#include <cstdlib>

#include <opencv2/core.hpp>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // OpenCV's worker threads do not get scheduled under user-mode emulation (the arm64 test run
    // under qemu): keep OpenCV's own parallel loops on the calling thread there.
    if (std::getenv("ALAD_SEQUENTIAL_OPENCV")) cv::setNumThreads(0);
    return RUN_ALL_TESTS();
}
