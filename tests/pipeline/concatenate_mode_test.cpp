#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/agtm_apply.h"
#include "agtm/scaler_lut.h"
#include "cltm/cltm_frame.h"
#include "common/debug_store.h"
#include "common/threads.h"
#include "pipeline/concatenate_mode.h"
#include "tests/common/test_threads.h"
#include "tests/engine/engine_test_util.h"

namespace kelvo {
namespace {

constexpr int kWidth = 70, kHeight = 50;

using testing_util::Same;

cv::Mat RandomFrame(int width, int height, unsigned seed) { return testing_util::Random12(height, width, seed); }

// 64x64 blocks, curve 1, strength 8, the detail filter on.
alad_cltm_user User(uint32_t order, uint32_t width = kWidth, uint32_t height = kHeight) {
    return {64, 64, 1, 8, 1, width, height, order};
}

std::string Log(ALADConcatenateMode& pipeline, const cv::Mat& src, cv::Mat& dst) {
    testing_util::Stdout log;
    pipeline.RunOneFrame(src, dst);
    return log.Text();
}

// A pipeline initialised for `user`, and the two stages run by hand beside it.
struct Rig {
    explicit Rig(alad_cltm_user u) : cltm(u, u.width, u.height, true) {
        pipeline.Init(panel, u, true);
        agtm.lut = ComputeAGTMTable(panel);
    }
    cv::Mat CLTM(const cv::Mat& in) {
        cv::Mat out;
        cltm.Video(in, out);
        return out;
    }
    cv::Mat AGTM(const cv::Mat& in) {
        cv::Mat reference, out;
        ToneMappingOneImageByScalerLUTImple_(in, agtm, reference, out);
        return out;
    }
    std::string Run(const cv::Mat& src, cv::Mat& dst) { return Log(pipeline, src, dst); }

    ALADConcatenateMode pipeline;
    DisplayPanelModel panel{2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 20000.0};
    testing_util::Engine cltm;
    agtm_param_api_ agtm;
};

// Also in place, on two threads, with and without the filter, and with the debug store's images
// switched off (then the store keeps none, and the frames are the same). The first frame's stage
// results, taken from the store, stay as they were while later frames run (the pipeline reuses
// only the store's buffers that nobody else holds).
TEST(PipelineTest, EveryOrderChainsTheStagesLikeAHandRun) {
    const char* lines[] = {"", "case order 1: CLTM + AGTM.", "case order 2: AGTM + CLTM.", "case order 3: CLTM.",
                           "case order 4: AGTM."};
    for (const bool keep : {true, false}) {
        alad_debug_output_::SetKeepImages(keep);
        for (uint32_t order = 1; order <= 4; ++order) {
            for (const bool in_place : {false, true}) {
                alad_cltm_user user = User(order);
                user.filter_flag = in_place ? 0 : 1;
                Rig rig(user);
                alad::SetEngineThreadCount(alad_test::TestThreads(in_place ? 2 : 1));
                std::vector<cv::Mat> held, snapshots;
                for (unsigned seed = 1; seed <= 3; ++seed) {
                    const cv::Mat frame = RandomFrame(kWidth, kHeight, seed);
                    cv::Mat dst = in_place ? frame.clone() : cv::Mat(), cltm, agtm, expected = frame;
                    EXPECT_EQ(rig.Run(in_place ? dst : frame, dst),
                              std::string("mCLTMParam.width = 70 , sz.width = 70\nmCLTMParam.height = 50 , sz.height = 50\n"
                                          "LCH 00.\nLCH 01.\nLCH 02.\n") + lines[order] + "\n");
                    if (order == 1 || order == 3) expected = cltm = rig.CLTM(expected);
                    if (order != 3) expected = agtm = rig.AGTM(expected);
                    if (order == 2) expected = cltm = rig.CLTM(expected);
                    const alad_debug_output_* store = alad_debug_output_::GetInstance();
                    const std::string where = "order " + std::to_string(order) + " frame " + std::to_string(seed) +
                                              (in_place ? " in place" : "") + (keep ? "" : ", no debug images");
                    EXPECT_TRUE(keep ? cltm.empty() || Same(store->GetCLTMResultData(), cltm)
                                     : store->GetCLTMResultData().empty()) << where;
                    EXPECT_TRUE(keep ? agtm.empty() || Same(store->GetAGTMResultData(), agtm)
                                     : store->GetAGTMResultData().empty()) << where;
                    EXPECT_TRUE(Same(dst, expected)) << where;
                    for (const cv::Mat* kept : {&store->GetCLTMResultData(), &store->GetAGTMResultData()}) {
                        if (seed == 1 && !kept->empty()) {  // held over the later frames
                            held.push_back(*kept);
                            snapshots.push_back(kept->clone());
                        }
                    }
                }
                for (size_t i = 0; i < held.size(); ++i) EXPECT_TRUE(Same(held[i], snapshots[i])) << "order " << order;
                alad::SetEngineThreadCount(1);
            }
        }
    }
    alad_debug_output_::SetKeepImages(true);
}

TEST(PipelineTest, OtherOrdersCopyTheFrameAndDestinationsAreMadeAnewOrKeepTheirType) {
    const cv::Mat frame = RandomFrame(9, 7, 4);
    for (const uint32_t order : {0u, 5u, 6u, 0xFFFFFFFFu}) {
        Rig rig(User(order, 9, 7));
        cv::Mat dst;
        const std::string log = rig.Run(frame, dst);
        EXPECT_TRUE(Same(dst, frame)) << order;
        EXPECT_EQ(log.substr(log.size() - 8), "LCH 02.\n") << order;  // nothing logged after the marks
    }
    // A pipeline that was never initialised passes frames through as well.
    ALADConcatenateMode empty;
    cv::Mat dst;
    Log(empty, frame, dst);
    EXPECT_TRUE(Same(dst, frame));

    // A destination of the wrong size is made anew; one of the right size keeps its type.
    Rig rig(User(4, 9, 7));
    const cv::Mat expected = rig.AGTM(frame);
    cv::Mat wrong_size(3, 3, CV_8UC1), other_type(7, 9, CV_64FC3, cv::Scalar::all(-1)), as_int;
    rig.Run(frame, wrong_size);
    EXPECT_TRUE(Same(wrong_size, expected));
    rig.Run(frame, other_type);
    other_type.convertTo(as_int, CV_32S);
    EXPECT_TRUE(other_type.type() == CV_64FC3 && Same(as_int, expected));
}

TEST(PipelineTest, FramesOfAnotherSizeAreHandledSafelyAndTheNextRightFrameWorks) {
    Rig rig(User(1));
    const cv::Mat first = RandomFrame(kWidth, kHeight, 6), second = RandomFrame(kWidth, kHeight, 7);
    cv::Mat dst, big_dst, small_dst, empty_dst, gray_dst;
    rig.Run(first, dst);
    rig.AGTM(rig.CLTM(first));
    // Larger than the buffers: refused by the local stage, never written past them.
    EXPECT_NE(rig.Run(RandomFrame(kWidth + 30, kHeight + 5, 8), big_dst).find("mCLTMParam.width = 70 , sz.width = 100"),
              std::string::npos);
    EXPECT_EQ(big_dst.size(), cv::Size(kWidth + 30, kHeight + 5));
    EXPECT_NE(rig.Run(RandomFrame(20, 10, 9), small_dst).find("ERROR: unmatched size 20x10"), std::string::npos);
    rig.Run(cv::Mat(), empty_dst);
    EXPECT_TRUE(empty_dst.empty());
    EXPECT_NE(rig.Run(cv::Mat(kHeight, kWidth, CV_32SC1, cv::Scalar(100)), gray_dst).find("needs 3 channels"),
              std::string::npos);
    // The next frame of the configured size continues the sequence as if nothing had happened.
    rig.Run(second, dst);
    EXPECT_TRUE(Same(dst, rig.AGTM(rig.CLTM(second))));
}

TEST(PipelineTest, AGTMTableCopiesInAndOut) {
    Rig rig(User(4, 8, 8));
    std::vector<int> table(256), back(256), big(300, 7), out(300, -1);
    rig.pipeline.GetAGTMLUTs(back.data(), 256);
    EXPECT_EQ(back, rig.agtm.lut);
    for (int i = 0; i < 256; ++i) table[i] = 2048 + i;
    rig.pipeline.SetAGTMLUTs(table.data(), 0);  // no entries: nothing copied
    rig.pipeline.SetAGTMLUTs(table.data(), -5);
    rig.pipeline.GetAGTMLUTs(back.data(), 256);
    EXPECT_EQ(back, rig.agtm.lut);
    rig.pipeline.SetAGTMLUTs(table.data(), 256);
    rig.pipeline.GetAGTMLUTs(back.data(), 256);
    EXPECT_EQ(back, table);
    // More than the table holds: the table's 256 are copied and the rest ignored, with a message.
    testing_util::Stdout log;
    rig.pipeline.SetAGTMLUTs(big.data(), 300);
    rig.pipeline.GetAGTMLUTs(out.data(), 300);
    EXPECT_NE(log.Text().find("the table holds 256"), std::string::npos);
    EXPECT_EQ(std::vector<int>(out.begin() + 255, out.begin() + 257), (std::vector<int>{7, -1}));
}

}  // namespace
}  // namespace kelvo
