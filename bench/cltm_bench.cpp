// CLTM timings: a whole video frame as the pipeline runs it (mapped with the previous curves, then
// new curves from this frame), and its two halves on their own.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "bench/bench_frames.h"
#include "cltm/cltm_curve.h"
#include "cltm/cltm_frame.h"
#include "cltm/cltm_map.h"

namespace {

using namespace kelvo;

struct VideoSetup {
    VideoSetup(int width, int height, uint32_t block, bool filter)
        : block_params(User(width, height, block, filter)), ctx(ad_init_video(), ad_deinit_video) {
        params.width = static_cast<uint32_t>(width);
        params.height = static_cast<uint32_t>(height);
        params.param = block_params.get();
        video.ctx = ctx.get();
        ctx->width = params.width;
        ctx->height = params.height;
        buffers.AllocateBufferBySize(params.width, params.height, block_params.get());
        frame = alad_bench::MakeFrame12(width, height);
        // Past the first frame, which only passes through.
        CLTMVideoRunOneFrameImple_(frame, params, video, buffers, work, out);
    }
    static alad_cltm_user User(int width, int height, uint32_t block, bool filter) {
        alad_cltm_user user;
        user.blk_width = block;
        user.blk_height = block;
        user.filter_flag = filter ? 1 : 0;
        user.width = static_cast<uint32_t>(width);
        user.height = static_cast<uint32_t>(height);
        return user;
    }

    CLTMParamBlock block_params;
    std::unique_ptr<ad_cxt_t, void (*)(ad_cxt_t*)> ctx;
    cltm_params_api_ params;
    CLTMVideoContextAPI video;
    CLTMBufferManager buffers;
    cv::Mat frame, work, out;
};

// Args: width, height, block size, filter, threads.
void BM_VideoFrame(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    VideoSetup s(width, height, static_cast<uint32_t>(state.range(2)), state.range(3) != 0);
    alad_bench::EngineThreads threads(static_cast<int>(state.range(4)));
    for (auto _ : state) {
        const int32_t r = CLTMVideoRunOneFrameImple_(s.frame, s.params, s.video, s.buffers, s.work, s.out);
        benchmark::DoNotOptimize(r);
        benchmark::DoNotOptimize(s.out.data);
    }
}

// The plain path (whole-plane passes), the reference the sweep replaces.
void BM_VideoFramePlain(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    VideoSetup s(width, height, static_cast<uint32_t>(state.range(2)), state.range(3) != 0);
    for (auto _ : state) {
        const int32_t r = CLTMVideoRunOneFramePlain(s.frame, s.params, s.video, s.buffers, s.work, s.out);
        benchmark::DoNotOptimize(r);
        benchmark::DoNotOptimize(s.out.data);
    }
}

void BM_Map(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    VideoSetup s(width, height, static_cast<uint32_t>(state.range(2)), state.range(3) != 0);
    const auto* in = reinterpret_cast<const int32_t*>(s.buffers.mInputPlane);
    for (auto _ : state) {
        const int32_t r = ad_proc_map(s.buffers.mOutputPlane, in, s.params.width, s.params.height,
                                      s.buffers.mToneCurves, 255, s.params.param);
        benchmark::DoNotOptimize(r);
        benchmark::DoNotOptimize(s.buffers.mOutputPlane[0]);
    }
}

void BM_Curves(benchmark::State& state) {
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    VideoSetup s(width, height, static_cast<uint32_t>(state.range(2)), false);
    for (auto _ : state) {
        const int32_t r =
            ad_proc_calc_curve(s.buffers.mToneCurves, s.buffers.mHistBuffer, s.buffers.mHistBuffer + 128,
                               s.buffers.mInputPlane, s.params.width, s.params.height, 4096, s.params.param);
        benchmark::DoNotOptimize(r);
        benchmark::DoNotOptimize(s.buffers.mToneCurves[0]);
    }
}

std::string Size(int w, int h) { return std::to_string(w) + "x" + std::to_string(h); }

int RegisterAll() {
    // 1080x120 stays in the caches: its time per pixel is the arithmetic's without the memory's.
    const int sizes[][2] = {{1080, 2400}, {720, 1650}, {1080, 120}};
    for (const auto& sz : sizes) {
        for (int block : {64, 128, 256}) {
            for (int filter : {0, 1}) {
                if ((sz[0] != 1080 || sz[1] != 2400) && block != 128) continue;  // the smaller frames at the default geometry only
                const std::string name = "CLTM/video/blk" + std::to_string(block) +
                                         (filter ? "/filter_on/" : "/filter_off/") + Size(sz[0], sz[1]);
                benchmark::RegisterBenchmark(name.c_str(), BM_VideoFrame)
                    ->Args({sz[0], sz[1], block, filter, 1})
                    ->Unit(benchmark::kMillisecond)
                    ->UseRealTime();
            }
        }
    }
    for (int filter : {0, 1}) {
        const std::string tail = std::string(filter ? "filter_on/" : "filter_off/") + Size(1080, 2400);
        benchmark::RegisterBenchmark(("CLTM/video/blk128/threads2/" + tail).c_str(), BM_VideoFrame)
            ->Args({1080, 2400, 128, filter, 2})
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        benchmark::RegisterBenchmark(("CLTM/video_plain/blk128/" + tail).c_str(), BM_VideoFramePlain)
            ->Args({1080, 2400, 128, filter})
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    }
    for (int filter : {0, 1}) {
        benchmark::RegisterBenchmark(
            (std::string("CLTM/map/blk128/") + (filter ? "filter_on/" : "filter_off/") + Size(1080, 2400)).c_str(),
            BM_Map)
            ->Args({1080, 2400, 128, filter})
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    }
    benchmark::RegisterBenchmark("CLTM/curves/blk128/1080x2400", BM_Curves)
        ->Args({1080, 2400, 128})
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
    return 0;
}

const int kRegistered = RegisterAll();

}  // namespace
