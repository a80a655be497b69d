#include "common/debug_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace kelvo {
namespace {

using U = std::vector<unsigned int>;

// Each test starts from a fresh, empty store.
class DebugStoreTest : public ::testing::Test {
protected:
    void SetUp() override { alad_debug_output_::Terminate(); }
    void TearDown() override { alad_debug_output_::Terminate(); }
    static alad_debug_output_& Store() { return *alad_debug_output_::GetInstance(); }
    static U Contents(const alad_debug_buffer_& b) { return {b.data, b.data + b.length}; }
    static cv::Vec3i Px(const cv::Mat& m, int y = 0, int x = 0) { return m.at<cv::Vec3i>(y, x); }
};

TEST_F(DebugStoreTest, BuffersReallocateOnlyWhenTheCountChangesInitBufferClearsFourAndRowsMustFit) {
    Store().InitBuffer();  // a fresh store has nothing to clear
    U values(512);
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
    EXPECT_EQ(Contents(Store().GetHistBuffer()), U(512, 0));
    EXPECT_EQ(Contents(Store().GetTmpCurveBuffer()), U(4, 0));
    EXPECT_EQ(Contents(Store().GetTransitionCurveBuffer()), U(4, 0));
    EXPECT_EQ(Contents(Store().GetForewardBuffer()), U(values.begin(), values.begin() + 4));

    ::testing::internal::CaptureStdout();
    EXPECT_EQ(Store().AllocateADProcCalcBackwardBuffer(-1), nullptr);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "ERROR: debug buffer length -1 is negative\n");

    // Rows land in their row; rows that do not fit are refused.
    Store().AllocateADProcCalcForewardBuffer(6);
    const U row = {5, 6, 7};
    Store().SetADProcCalcForewardCurveData(row.data(), 3, 1);
    EXPECT_EQ(U(Store().GetForewardBuffer().data + 3, Store().GetForewardBuffer().data + 6), row);
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

// Copied result images reuse the kept buffer unless a caller still holds it; handed-over images
// give the caller the previously kept one back only when nobody else holds it.
TEST_F(DebugStoreTest, ResultImagesCopiedOrHandedOver) {
    cv::Mat first(4, 5, CV_32SC3, cv::Scalar(1, 2, 3)), second(4, 5, CV_32SC3, cv::Scalar(4, 5, 6));
    Store().SetADAGTMResultData(first);
    const uchar* kept = Store().GetAGTMResultData().data;
    Store().SetADAGTMResultData(second);
    EXPECT_EQ(Store().GetAGTMResultData().data, kept);
    second.setTo(cv::Scalar::all(0));
    EXPECT_EQ(Px(Store().GetAGTMResultData(), 3, 4), cv::Vec3i(4, 5, 6));
    const cv::Mat held = Store().GetAGTMResultData();
    Store().SetADAGTMResultData(first);
    EXPECT_EQ(Px(held), cv::Vec3i(4, 5, 6));
    EXPECT_EQ(Px(Store().GetAGTMResultData()), cv::Vec3i(1, 2, 3));
    EXPECT_NE(Store().GetAGTMResultData().data, held.data);
    // A part of a larger image, an empty image: copies of exactly that.
    const cv::Mat big(6, 6, CV_32SC3, cv::Scalar(7, 8, 9));
    Store().SetADCLTMResultData(big(cv::Rect(1, 1, 3, 2)));
    EXPECT_EQ(Store().GetCLTMResultData().size(), cv::Size(3, 2));
    EXPECT_EQ(Px(Store().GetCLTMResultData(), 1, 2), cv::Vec3i(7, 8, 9));
    Store().SetADCLTMResultData(cv::Mat());
    EXPECT_TRUE(Store().GetCLTMResultData().empty());

    cv::Mat mine(3, 4, CV_32SC3, cv::Scalar(1, 2, 3)), next(3, 4, CV_32SC3, cv::Scalar(4, 5, 6));
    const uchar* handed = mine.data;
    Store().KeepADCLTMResultData(mine);
    EXPECT_TRUE(mine.empty());  // nothing was kept before
    EXPECT_EQ(Store().GetCLTMResultData().data, handed);
    Store().KeepADCLTMResultData(next);
    EXPECT_EQ(next.data, handed);  // the previous one, to write the next result into
    const cv::Mat held2 = Store().GetCLTMResultData();
    cv::Mat third(3, 4, CV_32SC3, cv::Scalar(7, 8, 9));
    Store().KeepADCLTMResultData(third);
    EXPECT_TRUE(third.empty());  // still held by someone: not handed out for writing
    EXPECT_EQ(Px(held2), cv::Vec3i(4, 5, 6));
    EXPECT_EQ(Px(Store().GetCLTMResultData()), cv::Vec3i(7, 8, 9));
    Store().KeepADAGTMResultData(next);
    EXPECT_EQ(Store().GetAGTMResultData().data, handed);
}

}  // namespace
}  // namespace kelvo
