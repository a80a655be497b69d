#include "engine/debug_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace kelvo {
namespace {

// Each test starts from a fresh, empty store.
class DebugStoreTest : public ::testing::Test {
protected:
    void SetUp() override { alad_debug_output_::Terminate(); }
    void TearDown() override { alad_debug_output_::Terminate(); }
    static alad_debug_output_& Store() { return *alad_debug_output_::GetInstance(); }
    static std::vector<unsigned int> Contents(const alad_debug_buffer_& b) { return {b.data, b.data + b.length}; }
};

TEST_F(DebugStoreTest, BuffersReallocateOnlyWhenTheCountChangesAndInitBufferClearsFour) {
    Store().InitBuffer();  // a fresh store has nothing to clear
    std::vector<unsigned int> values(512);
    for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<unsigned int>(i * 7 + 1);
    Store().SetADProcCalcCurveHistData(values.data(), 256);
    Store().SetADProcCalcCurveHistData(values.data(), 512);
    const unsigned int* kept = Store().GetHistBuffer().data;
    std::reverse(values.begin(), values.end());
    Store().SetADProcCalcCurveHistData(values.data(), 512);
    EXPECT_EQ(Store().GetHistBuffer().data, kept);
    EXPECT_EQ(Contents(Store().GetHistBuffer()), values);

    Store().SetADProcCalcCurveTmpCurveData(values.data(), 4);
    Store().SetADProcCalcCurveTransitionCurveData(values.data(), 4);
    Store().AllocateADProcCalcForewardBuffer(4);
    Store().SetADProcCalcForewardCurveData(values.data(), 4, 0);
    Store().InitBuffer();
    EXPECT_EQ(Contents(Store().GetHistBuffer()), std::vector<unsigned int>(512, 0));
    EXPECT_EQ(Contents(Store().GetTmpCurveBuffer()), std::vector<unsigned int>(4, 0));
    EXPECT_EQ(Contents(Store().GetTransitionCurveBuffer()), std::vector<unsigned int>(4, 0));
    EXPECT_EQ(Contents(Store().GetForewardBuffer()), std::vector<unsigned int>(values.begin(), values.begin() + 4));

    ::testing::internal::CaptureStdout();
    EXPECT_EQ(Store().AllocateADProcCalcBackwardBuffer(-1), nullptr);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "ERROR: debug buffer length -1 is negative\n");
}

TEST_F(DebugStoreTest, RowsLandInTheirRowAndRowsThatDoNotFitAreRefused) {
    Store().AllocateADProcCalcForewardBuffer(6);
    const std::vector<unsigned int> row = {5, 6, 7};
    Store().SetADProcCalcForewardCurveData(row.data(), 3, 1);
    EXPECT_EQ(std::vector<unsigned int>(Store().GetForewardBuffer().data + 3, Store().GetForewardBuffer().data + 6),
              row);
    const struct { int count, index; } refused[] = {{3, 2}, {4, 1}, {3, -1}, {-3, 0}, {7, 0}};
    for (const auto& r : refused) {
        ::testing::internal::CaptureStdout();
        Store().SetADProcCalcForewardCurveData(row.data(), r.count, r.index);
        Store().SetADProcCalcBackwardCurveData(row.data(), r.count, r.index);  // never allocated
        const std::string out = ::testing::internal::GetCapturedStdout();
        EXPECT_NE(out.find("ERROR: foreward curve row"), std::string::npos) << r.count << "," << r.index;
        EXPECT_NE(out.find("ERROR: backward curve row"), std::string::npos) << r.count << "," << r.index;
    }
}

TEST_F(DebugStoreTest, WritesAfterTerminateLandInAFreshStore) {
    const std::vector<unsigned int> values = {1, 2, 3};
    cv::Mat image(1, 1, CV_32SC3, cv::Scalar(4, 5, 6));
    Store().SetADProcCalcCurveHistData(values.data(), 3);
    Store().SetADCLTMResultData(image);
    image.setTo(cv::Scalar(0, 0, 0));
    EXPECT_EQ(Store().GetCLTMResultData().at<cv::Vec3i>(0, 0), cv::Vec3i(4, 5, 6));  // a deep copy
    alad_debug_output_::Terminate();
    // What a stage does after the pipeline was destroyed: it finds a new, empty store.
    Store().SetADProcCalcCurveSmoothCurveData(values.data(), 3);
    EXPECT_EQ(Contents(Store().GetSmoothCurveBuffer()), values);
    EXPECT_EQ(Store().GetHistBuffer().length, 0);
    EXPECT_TRUE(Store().GetCLTMResultData().empty());
}

// Every frame keeps two images: while nobody else holds the kept one, its buffer takes the next
// copy (no allocation per frame); an image a caller still holds is never written.
TEST_F(DebugStoreTest, ResultImagesAreCopiesWhetherOrNotTheirBufferIsReused) {
    cv::Mat first(4, 5, CV_32SC3, cv::Scalar(1, 2, 3)), second(4, 5, CV_32SC3, cv::Scalar(4, 5, 6));
    Store().SetADAGTMResultData(first);
    const uchar* kept = Store().GetAGTMResultData().data;
    Store().SetADAGTMResultData(second);
    EXPECT_EQ(Store().GetAGTMResultData().data, kept);
    second.setTo(cv::Scalar::all(0));
    EXPECT_EQ(Store().GetAGTMResultData().at<cv::Vec3i>(3, 4), cv::Vec3i(4, 5, 6));

    const cv::Mat held = Store().GetAGTMResultData();
    Store().SetADAGTMResultData(first);
    EXPECT_EQ(held.at<cv::Vec3i>(0, 0), cv::Vec3i(4, 5, 6));
    EXPECT_EQ(Store().GetAGTMResultData().at<cv::Vec3i>(0, 0), cv::Vec3i(1, 2, 3));
    EXPECT_NE(Store().GetAGTMResultData().data, held.data);

    // Another shape, a part of a larger image, an empty image: copies of exactly that.
    const cv::Mat big(6, 6, CV_32SC3, cv::Scalar(7, 8, 9));
    Store().SetADCLTMResultData(big(cv::Rect(1, 1, 3, 2)));
    EXPECT_EQ(Store().GetCLTMResultData().size(), cv::Size(3, 2));
    EXPECT_EQ(Store().GetCLTMResultData().at<cv::Vec3i>(1, 2), cv::Vec3i(7, 8, 9));
    Store().SetADCLTMResultData(cv::Mat());
    EXPECT_TRUE(Store().GetCLTMResultData().empty());
}

// Handing an image over instead of copying it: the store holds it, and the caller gets the
// previously kept image back only when nobody else holds that one.
TEST_F(DebugStoreTest, HandedOverImagesComeBackOnlyWhenNobodyElseHoldsThem) {
    cv::Mat mine(3, 4, CV_32SC3, cv::Scalar(1, 2, 3));
    const uchar* first = mine.data;
    Store().KeepADCLTMResultData(mine);
    EXPECT_TRUE(mine.empty());  // nothing was kept before
    EXPECT_EQ(Store().GetCLTMResultData().data, first);
    EXPECT_EQ(Store().GetCLTMResultData().at<cv::Vec3i>(2, 3), cv::Vec3i(1, 2, 3));

    cv::Mat next(3, 4, CV_32SC3, cv::Scalar(4, 5, 6));
    Store().KeepADCLTMResultData(next);
    EXPECT_EQ(next.data, first);  // the previous one, to write the next result into
    EXPECT_EQ(Store().GetCLTMResultData().at<cv::Vec3i>(0, 0), cv::Vec3i(4, 5, 6));

    const cv::Mat held = Store().GetCLTMResultData();
    cv::Mat third(3, 4, CV_32SC3, cv::Scalar(7, 8, 9));
    Store().KeepADCLTMResultData(third);
    EXPECT_TRUE(third.empty());  // still held by someone: not handed out for writing
    EXPECT_EQ(held.at<cv::Vec3i>(0, 0), cv::Vec3i(4, 5, 6));
    EXPECT_EQ(Store().GetCLTMResultData().at<cv::Vec3i>(0, 0), cv::Vec3i(7, 8, 9));

    Store().KeepADAGTMResultData(next);
    EXPECT_EQ(Store().GetAGTMResultData().data, first);
}

}  // namespace
}  // namespace kelvo
