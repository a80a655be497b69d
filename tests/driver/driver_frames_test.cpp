// The driver's ARGB8888 frames in place against the chain of public conversions that the frame path
// stands for: byte for byte, with the same lines, status and debug store, on random sizes (1x1 and
// odd widths too), orders, alpha bytes, panels, register sets (tables with negative and capped
// gains, whose results leave 0..4095), frames of other sizes, resets, thread counts, debug images on
// and off, and each kernel build.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "common/debug_store.h"
#include "tests/cltm/cltm_test_util.h"
#include "tests/common/test_threads.h"

namespace {

using kelvo::testing_util::Rng;
using kelvo::testing_util::Uniform;

// The chain, step by step, as the driver ran it before the stages took its buffers in place.
int32_t LiteralChain(_image& image) {
    cv::Mat argb, rgb, alpha, bgr, wide, frame, out, out8, argb_out;
    imageBuffer2MatARGBforDriver(image, argb);
    if (argb.empty()) return -1;
    imageMatARGB2RGB(argb, rgb, alpha);
    cv::cvtColor(rgb, bgr, cv::COLOR_RGB2BGR);
    transform8To12(bgr, wide);
    wide.convertTo(frame, CV_32SC3, 1.0);
    const int32_t status = kelvo::RunOneFrameALAD(frame, out);
    if (out.empty()) return -1;
    out.convertTo(out8, CV_8UC3, 0.0625, 0.0);
    imageBGR2ARGB_8888(out8, alpha, argb_out);
    imageMatARGB2BufferForDriver(argb_out, image.data);
    return status;
}

struct Frame {
    int width = 0, height = 0;
    std::vector<uint8_t> bytes;
    bool reset_before = false;
};

struct Sequence {
    kelvo::ad_user_t_ user;
    kelvo::alad_display_model_ display;
    kelvo::alad_view_condition_ view;
    bool registers = false;
    kelvo::alad_verification_registrator_ regs;
    std::vector<uint32_t> curve = std::vector<uint32_t>(ALAD_HIST_ADJUST_CURVE_SIZE);
    std::vector<int32_t> table = std::vector<int32_t>(ALAD_AGTM_LUT_SIZE);
    bool keep_images = true;
    int threads = 1;
    std::vector<Frame> frames;
};

// Everything a frame leaves that a caller can see.
struct Result {
    std::vector<uint8_t> bytes;
    int32_t status = 0;
    std::vector<std::string> lines;
    cv::Mat cltm, agtm;
    std::vector<std::vector<unsigned int>> curves;
    bool operator==(const Result& o) const {
        using kelvo::testing_util::SameImage;
        return bytes == o.bytes && status == o.status && lines == o.lines && SameImage(cltm, o.cltm) &&
               SameImage(agtm, o.agtm) && curves == o.curves;
    }
};

void Collect(void* user, int level, const char* line) {
    static_cast<std::vector<std::string>*>(user)->push_back(std::to_string(level) + " " + line);
}

std::vector<Result> Run(const Sequence& s, bool in_place) {
    std::vector<std::string> lines;
    kelvo::SetEngineLogSink(Collect, &lines);
    kelvo::SetEngineDebugImages(s.keep_images);
    kelvo::alad_debug_output_::Terminate();  // both runs start from an empty store
    kelvo::InitEngineALAD(s.user, s.display, s.view);
    if (s.registers) {
        kelvo::alad_verification_registrator_ regs = s.regs;
        std::vector<uint32_t> curve = s.curve;
        std::vector<int32_t> table = s.table;
        regs.hist_adjust_curve = curve.data();
        regs.agtm = table.data();
        kelvo::SettingVerificationRegistrator(regs);
    }
    kelvo::SetEngineThreads(in_place ? alad_test::TestThreads(s.threads) : 1);
    std::vector<Result> results;
    for (const Frame& f : s.frames) {
        if (f.reset_before) kelvo::ResetEngineALAD();
        Result r;
        r.bytes = f.bytes;
        _image image{f.width, f.height, 4, r.bytes.data()};
        lines.clear();
        if (in_place) {
            RunOneFrameBufferALADforDriver(&image);
            r.status = GetLastStatusForDriver();
        } else {
            r.status = LiteralChain(image);
        }
        r.lines = lines;
        const kelvo::alad_debug_output_& store = *kelvo::alad_debug_output_::GetInstance();
        r.cltm = store.GetCLTMResultData().clone();
        r.agtm = store.GetAGTMResultData().clone();
        r.curves = kelvo::testing_util::DebugArrays();
        results.push_back(std::move(r));
    }
    kelvo::SetEngineThreads(1);
    kelvo::SetEngineLogSink(nullptr, nullptr);
    kelvo::SetEngineDebugImages(true);
    return results;
}

std::vector<uint8_t> RandomBytes(Rng& rng, int w, int h) {
    std::vector<uint8_t> bytes(static_cast<size_t>(w) * h * 4);
    const uint32_t alpha = Uniform(rng, 0, 3), colour = Uniform(rng, 0, 2);  // alpha: random, 0, 255, a ramp
    const uint32_t base = Uniform(rng, 0, 200), spread = Uniform(rng, 1, 55);
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i % 4 == 0) {
            bytes[i] = static_cast<uint8_t>(alpha == 0 ? rng() : alpha == 1 ? 0 : alpha == 2 ? 255 : i / 4);
        } else {  // anything, a narrow band, or dark
            bytes[i] = static_cast<uint8_t>(colour == 0 ? rng() : colour == 1 ? base + rng() % spread : rng() % 12);
        }
    }
    return bytes;
}

Sequence RandomSequence(Rng& rng) {
    Sequence s;
    const uint32_t blocks[] = {64, 128, 256};
    const uint32_t orders[] = {1, 1, 2, 2, 3, 3, 4, 4, 5, 0};
    s.user.blk_width = blocks[Uniform(rng, 0, 2)];
    s.user.blk_height = blocks[Uniform(rng, 0, 2)];
    s.user.tm_mode = orders[Uniform(rng, 0, 9)];
    s.user.filter_flag = static_cast<uint8_t>(Uniform(rng, 0, 1));
    s.user.strength = static_cast<int32_t>(Uniform(rng, 0, 16));
    s.user.curve_id = static_cast<int32_t>(Uniform(rng, 0, 2));
    const uint32_t w = Uniform(rng, 0, 3) == 0 ? Uniform(rng, 1, 3) : Uniform(rng, 0, 1) ? s.user.blk_width + Uniform(rng, 0, 2) - 1 : Uniform(rng, 1, 200);
    const uint32_t h = Uniform(rng, 0, 3) == 0 ? Uniform(rng, 1, 3) : Uniform(rng, 1, 90);
    s.user.width = w;
    s.user.height = h;
    s.display.gamma = 1.8 + 0.1 * Uniform(rng, 0, 8);
    s.view.blackLevelSrc = 300.0f;
    s.view.blackLevelDst = static_cast<float>(Uniform(rng, 0, 60000));
    s.registers = Uniform(rng, 0, 2) == 0;
    if (s.registers) {
        // Drawn field by field in the record's order (a braced list is evaluated left to right).
        const auto u = [&](uint32_t lo, uint32_t hi) { return static_cast<int32_t>(Uniform(rng, lo, hi)); };
        const auto adjust = [&] { return Uniform(rng, 0, 2) == 0 ? u(0, 2046) - 1023 : 0; };
        const auto block = [&] { return static_cast<int32_t>(blocks[Uniform(rng, 0, 2)]); };
        s.regs = {u(1, 6),  static_cast<int32_t>(w), static_cast<int32_t>(h), block(), block(), u(0, 1), u(0, 8191),
                  adjust(), adjust(), u(0, 1), u(0, 255), u(1, 255), u(0, 3), nullptr, nullptr};
        for (uint32_t& v : s.curve) v = Uniform(rng, 200, 2000);
        // Gains negative and capped, only capped (up to 255.0), or in a real curve's range.
        const int32_t low[] = {-4096, 0, 548, 548}, high[] = {600000, 600000, 5048, 5048};
        const uint32_t kind = Uniform(rng, 0, 3);
        for (int32_t& v : s.table) v = low[kind] + static_cast<int32_t>(Uniform(rng, 0, high[kind] - low[kind]));
    }
    s.keep_images = Uniform(rng, 0, 3) != 0;
    s.threads = static_cast<int>(Uniform(rng, 1, 3));
    for (int k = 0, n = static_cast<int>(Uniform(rng, 2, 4)); k < n; ++k) {
        Frame f;
        f.width = static_cast<int>(w);
        f.height = static_cast<int>(h);
        if (k > 0 && Uniform(rng, 0, 7) == 0) {  // another size: refused, or passed through, by the local stage
            f.width = static_cast<int>(Uniform(rng, 1, w + 3));
            f.height = static_cast<int>(Uniform(rng, 1, h + 3));
        }
        f.reset_before = k > 1 && Uniform(rng, 0, 5) == 0;
        f.bytes = RandomBytes(rng, f.width, f.height);
        s.frames.push_back(std::move(f));
    }
    return s;
}

void InPlaceFramesEqualTheChain(uint32_t seed) {
    Rng rng(seed);
    int compared = 0, mapped[5] = {};  // frames whose colours changed, by order
    for (int iter = 0; iter < 80; ++iter) {
        const Sequence s = RandomSequence(rng);
        const std::vector<Result> expected = Run(s, false), actual = Run(s, true);
        ASSERT_EQ(actual.size(), expected.size());
        for (size_t k = 0; k < actual.size(); ++k) {
            const std::string where = "sequence " + std::to_string(iter) + " frame " + std::to_string(k) + ": " +
                                      std::to_string(s.frames[k].width) + "x" + std::to_string(s.frames[k].height) +
                                      " order " + std::to_string(s.registers ? s.regs.reg_tm_mode : s.user.tm_mode);
            ASSERT_EQ(actual[k].lines, expected[k].lines) << where;
            ASSERT_TRUE(actual[k] == expected[k]) << where;
            ++compared;
            const int order = s.registers ? s.regs.reg_tm_mode : static_cast<int>(s.user.tm_mode);
            if (order >= 1 && order <= 4 && actual[k].status == 0 && actual[k].bytes != s.frames[k].bytes) ++mapped[order];
        }
    }
    EXPECT_GT(compared, 150);
    for (int order = 1; order <= 4; ++order) EXPECT_GT(mapped[order], 8) << "order " << order;
}

TEST(DriverFramesTest, InPlaceFramesEqualTheChainOfConversionsInEverythingTheyLeave) {
    kelvo::testing_util::ForEachSimdLevel([] { InPlaceFramesEqualTheChain(515); });
}

}  // namespace
