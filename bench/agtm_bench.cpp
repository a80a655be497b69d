// The AGTM stage on realistic frame sizes.
#include <benchmark/benchmark.h>

#include "agtm/agtm_apply.h"
#include "agtm/display_panel_model.h"
#include "agtm/scaler_lut.h"
#include "bench/bench_frames.h"

namespace {

// Both outputs (floating-point reference and integer result), written into images kept from the
// previous frame, as the pipeline does.
void BM_AgtmApply(benchmark::State& state) {
    const cv::Mat frame = alad_bench::MakeFrame12(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    kelvo::DisplayPanelModel model(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 20000.0);
    kelvo::agtm_param_api_ param;
    param.lut = kelvo::ComputeAGTMTable(model);
    cv::Mat reference, result;
    for (auto _ : state) {
        kelvo::ToneMappingOneImageByScalerLUTImple_(frame, param, reference, result);
        benchmark::DoNotOptimize(result.data);
    }
}

// The integer result alone, as the pipeline asks for it.
void BM_AgtmApplyInteger(benchmark::State& state) {
    const cv::Mat frame = alad_bench::MakeFrame12(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    kelvo::DisplayPanelModel model(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 20000.0);
    kelvo::agtm_param_api_ param;
    param.lut = kelvo::ComputeAGTMTable(model);
    cv::Mat result;
    alad_bench::EngineThreads threads(static_cast<int>(state.range(2)));
    for (auto _ : state) {
        kelvo::ToneMappingOneImageByScalerLUTIntegerImple_(frame, param, result);
        benchmark::DoNotOptimize(result.data);
    }
}

// Computing the table from the display and viewing records (once per ambient light change).
void BM_AgtmTable(benchmark::State& state) {
    for (auto _ : state) {
        kelvo::DisplayPanelModel model(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 20000.0);
        benchmark::DoNotOptimize(kelvo::ComputeAGTMTable(model));
    }
}

}  // namespace

BENCHMARK(BM_AgtmApply)->Name("AGTM/apply/1080x2400")->Args({1080, 2400})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_AgtmApply)->Name("AGTM/apply/720x1650")->Args({720, 1650})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_AgtmApplyInteger)->Name("AGTM/integer/1080x2400")->Args({1080, 2400, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_AgtmApplyInteger)->Name("AGTM/integer/threads2/1080x2400")->Args({1080, 2400, 2})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_AgtmTable)->Name("AGTM/table")->Unit(benchmark::kMicrosecond);
