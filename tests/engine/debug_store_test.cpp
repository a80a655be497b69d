#include <gtest/gtest.h>

#include <vector>

#include "engine/debug_store.h"

namespace kelvo {
namespace {

// Each test starts from a fresh, empty store.
class DebugStoreTest : public ::testing::Test {
protected:
    void SetUp() override { alad_debug_output_::Terminate(); }
    void TearDown() override { alad_debug_output_::Terminate(); }
    static alad_debug_output_& Store() { return *alad_debug_output_::GetInstance(); }
};

std::vector<unsigned int> Iota(int n, unsigned int first) {
    std::vector<unsigned int> v(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) v[static_cast<size_t>(i)] = first + static_cast<unsigned int>(i);
    return v;
}

std::vector<unsigned int> Contents(const alad_debug_buffer_& b) {
    return std::vector<unsigned int>(b.data, b.data + b.length);
}

TEST_F(DebugStoreTest, WholeBuffersReallocateOnlyWhenTheCountChanges) {
    const auto first = Iota(256, 1), second = Iota(512, 1000), third = Iota(512, 7);
    Store().SetADProcCalcCurveHistData(first.data(), 256);
    EXPECT_EQ(Contents(Store().GetHistBuffer()), first);
    Store().SetADProcCalcCurveHistData(second.data(), 512);
    EXPECT_EQ(Contents(Store().GetHistBuffer()), second);
    const unsigned int* kept = Store().GetHistBuffer().data;
    Store().SetADProcCalcCurveHistData(third.data(), 512);
    EXPECT_EQ(Store().GetHistBuffer().data, kept);
    EXPECT_EQ(Contents(Store().GetHistBuffer()), third);

    // The three curve buffers follow the same rule, each in its own buffer.
    Store().SetADProcCalcCurveTmpCurveData(first.data(), 3);
    Store().SetADProcCalcCurveSmoothCurveData(first.data(), 4);
    Store().SetADProcCalcCurveTransitionCurveData(first.data(), 5);
    EXPECT_EQ(Store().GetTmpCurveBuffer().length, 3);
    EXPECT_EQ(Store().GetSmoothCurveBuffer().length, 4);
    EXPECT_EQ(Store().GetTransitionCurveBuffer().length, 5);
}

TEST_F(DebugStoreTest, AllocateBufferByLenghtKeepsAnExactFitAndRefusesNegativeLengths) {
    alad_debug_buffer_ buffer;
    unsigned int* data = Store().AllocateBufferByLenght(buffer, 10);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(buffer.length, 10);
    EXPECT_EQ(Store().AllocateBufferByLenght(buffer, 10), data);
    testing::internal::CaptureStdout();
    EXPECT_EQ(Store().AllocateBufferByLenght(buffer, -1), nullptr);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("negative"), std::string::npos);
    EXPECT_EQ(buffer.length, 10);  // a refused request leaves the buffer alone
    EXPECT_EQ(Store().AllocateBufferByLenght(buffer, 0), nullptr);
    EXPECT_EQ(buffer.data, nullptr);
    EXPECT_EQ(buffer.length, 0);
}

TEST_F(DebugStoreTest, RowWritesLandInTheirRowAndRowsThatDoNotFitAreRefused) {
    Store().AllocateADProcCalcForewardBuffer(6);
    Store().AllocateADProcCalcBackwardBuffer(6);
    const auto row = Iota(3, 50);
    Store().SetADProcCalcForewardCurveData(row.data(), 3, 1);
    Store().SetADProcCalcBackwardCurveData(row.data(), 3, 0);
    EXPECT_EQ(std::vector<unsigned int>(Store().GetForewardBuffer().data + 3, Store().GetForewardBuffer().data + 6),
              row);
    EXPECT_EQ(std::vector<unsigned int>(Store().GetBackwardBuffer().data, Store().GetBackwardBuffer().data + 3), row);

    const struct { int count, index; } refused[] = {{3, 2}, {4, 1}, {3, -1}, {-3, 0}, {7, 0}};
    for (const auto& r : refused) {
        testing::internal::CaptureStdout();
        Store().SetADProcCalcForewardCurveData(row.data(), r.count, r.index);
        Store().SetADProcCalcBackwardCurveData(row.data(), r.count, r.index);
        const std::string out = testing::internal::GetCapturedStdout();
        EXPECT_NE(out.find("ERROR: foreward curve row"), std::string::npos) << r.count << "," << r.index;
        EXPECT_NE(out.find("ERROR: backward curve row"), std::string::npos) << r.count << "," << r.index;
    }
}

TEST_F(DebugStoreTest, InitBufferZeroesFourBuffersAndLeavesTheRest) {
    Store().InitBuffer();  // fresh store: nothing to clear
    EXPECT_EQ(Store().GetHistBuffer().length, 0);

    const auto values = Iota(4, 9);
    Store().SetADProcCalcCurveHistData(values.data(), 4);
    Store().SetADProcCalcCurveTmpCurveData(values.data(), 4);
    Store().SetADProcCalcCurveSmoothCurveData(values.data(), 4);
    Store().SetADProcCalcCurveTransitionCurveData(values.data(), 4);
    Store().AllocateADProcCalcForewardBuffer(4);
    Store().SetADProcCalcForewardCurveData(values.data(), 4, 0);
    Store().InitBuffer();
    const std::vector<unsigned int> zeros(4, 0);
    EXPECT_EQ(Contents(Store().GetHistBuffer()), zeros);
    EXPECT_EQ(Contents(Store().GetTmpCurveBuffer()), zeros);
    EXPECT_EQ(Contents(Store().GetSmoothCurveBuffer()), zeros);
    EXPECT_EQ(Contents(Store().GetTransitionCurveBuffer()), zeros);
    EXPECT_EQ(Contents(Store().GetForewardBuffer()), values);
}

TEST_F(DebugStoreTest, ImagesAreDeepCopies) {
    cv::Mat image(2, 3, CV_32SC3, cv::Scalar(1, 2, 3));
    Store().SetADCLTMResultData(image);
    Store().SetADAGTMResultData(image);
    image.setTo(cv::Scalar(0, 0, 0));
    EXPECT_EQ(Store().GetCLTMResultData().at<cv::Vec3i>(1, 2), cv::Vec3i(1, 2, 3));
    EXPECT_EQ(Store().GetAGTMResultData().at<cv::Vec3i>(0, 0), cv::Vec3i(1, 2, 3));
}

TEST_F(DebugStoreTest, WritesAfterTerminateLandInAFreshStore) {
    const auto values = Iota(8, 3);
    Store().SetADProcCalcCurveHistData(values.data(), 8);
    Store().SetADCLTMResultData(cv::Mat(1, 1, CV_32SC3, cv::Scalar(4, 5, 6)));
    alad_debug_output_::Terminate();

    // What a stage does after the pipeline was destroyed: it finds a new, empty store.
    alad_debug_output_& fresh = Store();
    EXPECT_EQ(fresh.GetHistBuffer().length, 0);
    EXPECT_TRUE(fresh.GetCLTMResultData().empty());
    fresh.SetADProcCalcCurveSmoothCurveData(values.data(), 8);
    EXPECT_EQ(Contents(Store().GetSmoothCurveBuffer()), values);
    EXPECT_EQ(Store().GetHistBuffer().length, 0);
}

}  // namespace
}  // namespace kelvo
