// Frame after frame of one size allocates nothing frame-sized on any frame path. Large blocks come
// from the system as fresh pages (as a phone's allocator hands them out: here with glibc's mmap
// threshold fixed at 1 MiB), and each page costs a minor fault when first touched; so a path that
// made even the smallest of its frame-sized buffers anew each frame would take hundreds of faults
// per frame at this size.
#include <gtest/gtest.h>

#include <malloc.h>
#include <sys/resource.h>

#include <functional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "alad/alad_interface.h"
#include "tests/engine/engine_test_util.h"

namespace {

constexpr int kWidth = 640, kHeight = 480;  // the ARGB buffer, the smallest frame-sized one, takes 300 pages

long MinorFaults() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

void Quiet(void*, int, const char*) {}

TEST(SteadyStateTest, RepeatedFramesOfOneSizeAllocateNothingFrameSized) {
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    kelvo::SetEngineLogSink(Quiet, nullptr);
    const cv::Mat frame = kelvo::testing_util::Random12(kHeight, kWidth, 11);
    cv::Mat picture, out;
    kelvo::testing_util::Random12(kHeight, kWidth, 12).convertTo(picture, CV_8UC3, 1.0 / 16);
    std::vector<unsigned char> pixels(static_cast<size_t>(kWidth) * kHeight * 4);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<unsigned char>(i * 7 + i / 4096);
    _image buffer{kWidth, kHeight, 4, pixels.data()};

    const std::pair<std::string, std::function<void()>> paths[] = {
        {"RunOneFrameALAD", [&] { kelvo::RunOneFrameALAD(frame, out); }},
        {"RunOneFrameALADforDriver", [&] { RunOneFrameALADforDriver(frame, out); }},
        {"RunOneFrameALADInterface", [&] { RunOneFrameALADInterface(frame, out); }},
        {"ALADImageModeForBSPdriver", [&] { ALADImageModeForBSPdriver(picture, out); }},
        {"RunOneFrameBufferALADforDriver", [&] { RunOneFrameBufferALADforDriver(&buffer); }},
    };
    for (const bool keep : {true, false}) {
        for (const uint32_t order : {1u, 2u, 3u, 4u, 5u}) {
            for (const auto& [name, run] : paths) {
                kelvo::ad_user_t_ user = kelvo::testing_util::SizedUser(kWidth, kHeight, order);
                user.filter_flag = order == 2;  // the filtered sweep too
                kelvo::InitEngineALAD(user, kelvo::alad_display_model_(), kelvo::alad_view_condition_{300.0f, 20000.0f});
                kelvo::SetEngineDebugImages(keep);
                out.release();
                run();  // the first frames of a size make the working images
                run();
                const long before = MinorFaults();
                constexpr int kFrames = 3;
                for (int i = 0; i < kFrames; ++i) run();
                const long per_frame = (MinorFaults() - before) / kFrames;
                EXPECT_LT(per_frame, 64) << name << ", order " << order << ", debug images " << (keep ? "on" : "off");
            }
        }
    }
    kelvo::SetEngineDebugImages(true);
    kelvo::SetEngineLogSink(nullptr, nullptr);
}

}  // namespace
