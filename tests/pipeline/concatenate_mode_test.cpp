#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/agtm_apply.h"
#include "agtm/scaler_lut.h"
#include "cltm/cltm_frame.h"
#include "engine/debug_store.h"
#include "engine/records.h"
#include "pipeline/concatenate_mode.h"

namespace kelvo {
namespace {

constexpr int kWidth = 70, kHeight = 50;

cv::Mat RandomFrame(int width, int height, unsigned seed) {
    cv::Mat frame(height, width, CV_32SC3);
    cv::RNG rng(seed);
    rng.fill(frame, cv::RNG::UNIFORM, 0, 4096);
    return frame;
}

alad_cltm_user User(uint32_t order, uint32_t width = kWidth, uint32_t height = kHeight) {
    ad_user_t_ user;
    user.blk_width = 64;
    user.blk_height = 32;
    user.width = width;
    user.height = height;
    user.tm_mode = order;
    user.filter_flag = 1;
    return MakeCLTMUser(user);
}

DisplayPanelModel Panel(double dst_lux = 20000.0) { return DisplayPanelModel(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, dst_lux); }

// The stages run by hand, as the pipeline is meant to chain them.
class HandRun {
public:
    explicit HandRun(alad_cltm_user user) : block_(user), ctx_(ad_init_video()) {
        DisplayPanelModel panel = Panel();
        agtm_.lut = ComputeAGTMTable(panel);
        ctx_->width = user.width;
        ctx_->height = user.height;
        params_.width = user.width;
        params_.height = user.height;
        params_.param = block_.get();
        buffers_.AllocateBufferBySize(user.width, user.height, block_.get());
    }
    ~HandRun() { ad_deinit_video(ctx_); }
    cv::Mat CLTM(const cv::Mat& in) {
        cv::Mat work, out;
        CLTMVideoContextAPI api;
        api.ctx = ctx_;
        CLTMVideoRunOneFrameImple_(in, params_, api, buffers_, work, out);
        return out;
    }
    cv::Mat AGTM(const cv::Mat& in) {
        cv::Mat reference, out;
        ToneMappingOneImageByScalerLUTImple_(in, agtm_, reference, out);
        return out;
    }

private:
    CLTMParamBlock block_;
    ad_cxt_t* ctx_;
    cltm_params_api_ params_;
    CLTMBufferManager buffers_;
    agtm_param_api_ agtm_;
};

bool Same(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

std::string RunLogged(ALADConcatenateMode& pipeline, const cv::Mat& src, cv::Mat& dst) {
    testing::internal::CaptureStdout();
    pipeline.RunOneFrame(src, dst);
    return testing::internal::GetCapturedStdout();
}

TEST(PipelineTest, EveryOrderChainsTheStagesLikeAHandRun) {
    const cv::Mat frames[] = {RandomFrame(kWidth, kHeight, 1), RandomFrame(kWidth, kHeight, 2),
                              RandomFrame(kWidth, kHeight, 3)};
    for (uint32_t order = 1; order <= 4; ++order) {
        DisplayPanelModel panel = Panel();
        alad_cltm_user user = User(order);
        ALADConcatenateMode pipeline;
        ASSERT_EQ(pipeline.Init(panel, user, true), 0);
        HandRun hand(user);
        for (const cv::Mat& frame : frames) {
            cv::Mat dst;
            const std::string log = RunLogged(pipeline, frame, dst);
            const char* expected_line[] = {"", "case order 1: CLTM + AGTM.", "case order 2: AGTM + CLTM.",
                                           "case order 3: CLTM.", "case order 4: AGTM."};
            EXPECT_NE(log.find(std::string("LCH 02.\n") + expected_line[order] + "\n"), std::string::npos) << log;
            EXPECT_NE(log.find("mCLTMParam.width = 70 , sz.width = 70\nmCLTMParam.height = 50 , sz.height = 50\n"
                               "LCH 00.\nLCH 01.\nLCH 02.\n"),
                      std::string::npos)
                << log;
            const alad_debug_output_* store = alad_debug_output_::GetInstance();
            cv::Mat expected;
            switch (order) {
                case 1: {
                    const cv::Mat mid = hand.CLTM(frame);
                    expected = hand.AGTM(mid);
                    EXPECT_TRUE(Same(store->GetCLTMResultData(), mid));
                    EXPECT_TRUE(Same(store->GetAGTMResultData(), expected));
                    break;
                }
                case 2: {
                    const cv::Mat mid = hand.AGTM(frame);
                    expected = hand.CLTM(mid);
                    EXPECT_TRUE(Same(store->GetAGTMResultData(), mid));
                    EXPECT_TRUE(Same(store->GetCLTMResultData(), expected));
                    break;
                }
                case 3:
                    expected = hand.CLTM(frame);
                    EXPECT_TRUE(Same(store->GetCLTMResultData(), expected));
                    break;
                default:
                    expected = hand.AGTM(frame);
                    EXPECT_TRUE(Same(store->GetAGTMResultData(), expected));
                    break;
            }
            EXPECT_TRUE(Same(dst, expected)) << "order " << order;
        }
    }
}

// The stage results a caller took from the debug store stay as they were while later frames run
// (the pipeline reuses only the store's buffers that nobody else holds).
TEST(PipelineTest, StoredResultsACallerHoldsSurviveLaterFrames) {
    for (uint32_t order = 1; order <= 4; ++order) {
        DisplayPanelModel panel = Panel();
        alad_cltm_user user = User(order);
        ALADConcatenateMode pipeline;
        ASSERT_EQ(pipeline.Init(panel, user, true), 0);
        const alad_debug_output_* store = alad_debug_output_::GetInstance();
        std::vector<cv::Mat> held, snapshots;
        for (unsigned seed = 1; seed <= 4; ++seed) {
            cv::Mat dst;
            RunLogged(pipeline, RandomFrame(kWidth, kHeight, seed), dst);
            for (const cv::Mat* kept : {&store->GetCLTMResultData(), &store->GetAGTMResultData()}) {
                if (kept->empty()) continue;
                if (seed % 2 == 1) {  // held over the next frames
                    held.push_back(*kept);
                    snapshots.push_back(kept->clone());
                }
            }
        }
        for (size_t i = 0; i < held.size(); ++i) EXPECT_TRUE(Same(held[i], snapshots[i])) << "order " << order;
    }
}

TEST(PipelineTest, OtherOrdersCopyTheFrameAndLogNothingAfterTheMarks) {
    const cv::Mat frame = RandomFrame(9, 7, 4);
    for (const uint32_t order : {0u, 5u, 6u, 0xFFFFFFFFu}) {
        DisplayPanelModel panel = Panel();
        alad_cltm_user user = User(order, 9, 7);
        ALADConcatenateMode pipeline;
        pipeline.Init(panel, user, true);
        cv::Mat dst;
        const std::string log = RunLogged(pipeline, frame, dst);
        EXPECT_TRUE(Same(dst, frame)) << order;
        EXPECT_EQ(log.substr(log.size() - 8), "LCH 02.\n") << order;
    }
    // A pipeline that was never initialised passes frames through as well.
    ALADConcatenateMode empty;
    cv::Mat dst;
    RunLogged(empty, frame, dst);
    EXPECT_TRUE(Same(dst, frame));
}

TEST(PipelineTest, DestinationSizingRule) {
    DisplayPanelModel panel = Panel();
    alad_cltm_user user = User(4, 9, 7);
    ALADConcatenateMode pipeline;
    pipeline.Init(panel, user, true);
    const cv::Mat frame = RandomFrame(9, 7, 5);
    cv::Mat expected;
    RunLogged(pipeline, frame, expected);

    cv::Mat wrong_size(3, 3, CV_8UC1);
    RunLogged(pipeline, frame, wrong_size);
    EXPECT_EQ(wrong_size.type(), CV_32SC3);
    EXPECT_TRUE(Same(wrong_size, expected));

    // The right size in another type keeps its type and receives the values converted.
    cv::Mat other_type(7, 9, CV_64FC3, cv::Scalar::all(-1));
    RunLogged(pipeline, frame, other_type);
    EXPECT_EQ(other_type.type(), CV_64FC3);
    cv::Mat as_int;
    other_type.convertTo(as_int, CV_32S);
    EXPECT_TRUE(Same(as_int, expected));
}

TEST(PipelineTest, FramesOfAnotherSizeAreHandledSafelyAndTheNextRightFrameWorks) {
    DisplayPanelModel panel = Panel();
    alad_cltm_user user = User(1);
    ALADConcatenateMode pipeline;
    pipeline.Init(panel, user, true);
    HandRun hand(user);
    const cv::Mat first = RandomFrame(kWidth, kHeight, 6), second = RandomFrame(kWidth, kHeight, 7);
    cv::Mat dst;
    RunLogged(pipeline, first, dst);
    hand.AGTM(hand.CLTM(first));

    // Larger than the buffers: refused by the local stage, never written past them.
    cv::Mat big_dst;
    const std::string log = RunLogged(pipeline, RandomFrame(kWidth + 30, kHeight + 5, 8), big_dst);
    EXPECT_EQ(big_dst.size(), cv::Size(kWidth + 30, kHeight + 5));
    EXPECT_NE(log.find("mCLTMParam.width = 70 , sz.width = 100"), std::string::npos);
    // Smaller: refused against the bound size.
    cv::Mat small_dst;
    EXPECT_NE(RunLogged(pipeline, RandomFrame(20, 10, 9), small_dst).find("ERROR: unmatched size 20x10"),
              std::string::npos);
    // Empty and single-channel frames.
    cv::Mat empty_dst, gray_dst;
    RunLogged(pipeline, cv::Mat(), empty_dst);
    EXPECT_TRUE(empty_dst.empty());
    const cv::Mat gray(kHeight, kWidth, CV_32SC1, cv::Scalar(100));
    EXPECT_NE(RunLogged(pipeline, gray, gray_dst).find("needs 3 channels"), std::string::npos);

    // The next frame of the configured size continues the sequence as if nothing had happened.
    RunLogged(pipeline, second, dst);
    EXPECT_TRUE(Same(dst, hand.AGTM(hand.CLTM(second))));
}

TEST(PipelineTest, AGTMTableCopiesInAndOut) {
    DisplayPanelModel panel = Panel();
    alad_cltm_user user = User(4, 8, 8);
    ALADConcatenateMode pipeline;
    pipeline.Init(panel, user, true);
    std::vector<int> table(256), original(256);
    pipeline.GetAGTMLUTs(original.data(), 256);
    EXPECT_EQ(original, ComputeAGTMTable(panel));
    for (int i = 0; i < 256; ++i) table[i] = 2048 + i;
    pipeline.SetAGTMLUTs(table.data(), 0);
    pipeline.SetAGTMLUTs(table.data(), -5);
    std::vector<int> back(256);
    pipeline.GetAGTMLUTs(back.data(), 256);
    EXPECT_EQ(back, original);
    pipeline.SetAGTMLUTs(table.data(), 256);
    pipeline.GetAGTMLUTs(back.data(), 256);
    EXPECT_EQ(back, table);
    // More than the table holds: the table's 256 are copied and the rest ignored, with a message.
    std::vector<int> big(300, 7), out(300, -1);
    testing::internal::CaptureStdout();
    pipeline.SetAGTMLUTs(big.data(), 300);
    pipeline.GetAGTMLUTs(out.data(), 300);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("the table holds 256"), std::string::npos);
    EXPECT_EQ(out[255], 7);
    EXPECT_EQ(out[256], -1);
}

}  // namespace
}  // namespace kelvo
