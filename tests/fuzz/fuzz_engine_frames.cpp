// The engine's frame path driven by anything a caller can pass: records and register sets with any
// values (sizes up to 300 a side, or beyond every bound), panels and light readings that are not
// numbers, frames of 1..300 a side of any type and pixel values, in any order code, with updates,
// register sets and resets between frames, on every kernel build and 1 to 4 threads. Every call
// returns 0 or -1, and a frame always comes back with the input's size.
#include <cstdint>
#include <vector>

#include "alad/alad_engine.h"
#include "common/simd.h"
#include "tests/fuzz/fuzz_util.h"

namespace {

using alad_fuzz::Number;

kelvo::alad_display_model_ Display(FuzzedDataProvider& in) {
    kelvo::alad_display_model_ display;
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0: return display;  // the default panel
        case 1: display.gamma = Number(in, 0.1, 5); break;
        case 2: display.black = Number(in, 0, 10); break;
        default: display = alad_fuzz::AnyPanel<kelvo::alad_display_model_>(in);
    }
    return display;
}

const auto View = alad_fuzz::AnyView<kelvo::alad_view_condition_>;

// A register set with its tables (or, rarely, without one).
struct Registers : alad_fuzz::EngineRegisters<> {
    explicit Registers(FuzzedDataProvider& in) {
        regs.reg_tm_mode = static_cast<int32_t>(alad_fuzz::AnyOrder(in));
        regs.width = alad_fuzz::Size(in, 300);
        regs.height = alad_fuzz::Size(in, 300);
        int32_t* scalars[] = {&regs.reg_blk_width_b,     &regs.reg_blk_height_b,      &regs.reg_hist_mode,
                              &regs.reg_curve_transition, &regs.reg_linear_adj_offset, &regs.reg_linear_adj_ratio,
                              &regs.reg_strength_mode,    &regs.reg_strength_target,   &regs.reg_strength_step,
                              &regs.reg_strength_interval};
        for (int32_t* v : scalars) *v = in.ConsumeBool() ? in.ConsumeIntegralInRange(-2, 300) : in.ConsumeIntegral<int32_t>();
        // Tables: mostly near their usual values (clip levels, gains around 2048), else any.
        const bool wild = in.ConsumeBool();
        for (uint32_t& v : curve) v = wild ? in.ConsumeIntegral<uint32_t>() : in.ConsumeIntegralInRange(0u, 4096u);
        for (int32_t& v : table) v = wild ? in.ConsumeIntegral<int32_t>() : in.ConsumeIntegralInRange(0, 8192);
        if (in.ConsumeIntegralInRange<int>(0, 31) == 0) regs.hist_adjust_curve = nullptr;
        if (in.ConsumeIntegralInRange<int>(0, 31) == 0) regs.agtm = nullptr;
    }
};

// A frame: mostly 12-bit CV_32SC3, else any 3-channel depth, a wrong channel count, any 32-bit
// values, or a view into a larger image (rows not contiguous).
cv::Mat Frame(FuzzedDataProvider& in) {
    const int rows = in.ConsumeIntegralInRange<int>(1, 300), cols = in.ConsumeIntegralInRange<int>(1, 300);
    static const int kTypes[] = {CV_32SC3, CV_32SC3, CV_32SC3, CV_32SC3, CV_8UC3, CV_16UC3, CV_16SC3,
                                 CV_32FC3, CV_64FC3, CV_32SC1, CV_32SC4, CV_8UC4};
    const int type = in.PickValueInArray(kTypes);
    const int values = in.ConsumeIntegralInRange<int>(0, 3);
    const bool view = in.ConsumeIntegralInRange<int>(0, 7) == 0;
    cv::Mat frame = alad_fuzz::FilledMat(in, rows + (view ? 2 : 0), cols + (view ? 3 : 0), type);
    if (type == CV_32SC3 && values != 0) {
        // values 1..3: the 12-bit range the engine is made for; 0: any 32-bit value.
        frame &= cv::Scalar::all(0xFFF);
    }
    return view ? frame(cv::Rect(1, 1, cols, rows)) : frame;
}

void RunFrame(FuzzedDataProvider& in) {
    const cv::Mat src = Frame(in);
    cv::Mat dst;
    switch (in.ConsumeIntegralInRange<int>(0, 5)) {
        case 0: dst.create(src.rows, src.cols, CV_8UC3); break;  // the right size, another type
        case 1: dst.create(3, 5, CV_32SC3); break;                // another size
        default: break;
    }
    const int status = kelvo::RunOneFrameALAD(src, dst);
    ALAD_FUZZ_CHECK(status == 0 || status == -1);
    ALAD_FUZZ_CHECK(dst.rows == src.rows && dst.cols == src.cols);
}

}  // namespace

ALAD_FUZZ_QUIET_ENGINE_AT_START

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    static const alad::SimdLevel kLevels[] = {alad::SimdLevel::kBaseline, alad::SimdLevel::kAvx2,
                                              alad::SimdLevel::kAvx512};
    alad::SetSimdLevel(in.PickValueInArray(kLevels));  // kept as it is where the processor lacks it
    kelvo::SetEngineThreads(in.ConsumeIntegralInRange<int>(1, 4));

    const auto user = alad_fuzz::AnyUser<kelvo::ad_user_t_>(in, 300);
    int32_t status = kelvo::InitEngineALAD(user, Display(in), View(in));
    ALAD_FUZZ_CHECK(status == 0 || status == -1);

    const int calls = in.ConsumeIntegralInRange<int>(1, 8);
    for (int i = 0; i < calls && in.remaining_bytes() > 0; ++i) {
        switch (in.ConsumeIntegralInRange<int>(0, 9)) {
            case 0:
            case 1:
            case 2: RunFrame(in); continue;
            case 3: status = kelvo::UpdateCLTMParameter(alad_fuzz::AnyUser<kelvo::ad_user_t_>(in, 300)); break;
            case 4: status = kelvo::SettingVerificationRegistrator(Registers(in).regs); break;
            case 5: status = kelvo::UpdateViewConditionParameter(View(in)); break;
            case 6: status = kelvo::UpdateDisplayPanelParameter(Display(in)); break;
            case 7: status = kelvo::ResetEngineALAD(); break;
            case 8: {
                alad_fuzz::EngineRegisters<kelvo::alad_verification_registrator> read;
                status = kelvo::ALADRegistratorsInfoForDriverDraftEngine(read.regs);
                if (status == 0) status = kelvo::PrintCurrentRegistratorFromDriver();
                break;
            }
            default: {
                std::vector<int> lut(ALAD_AGTM_LUT_SIZE);
                const uint32_t src = in.ConsumeIntegral<uint32_t>(), dst = in.ConsumeIntegral<uint32_t>();
                status = in.ConsumeBool() ? kelvo::DeinitEngineALAD()
                                          : kelvo::ComputeAGTMLUTByAmbientLight(0, src, dst, lut.data());
                break;
            }
        }
        ALAD_FUZZ_CHECK(status == 0 || status == -1);
    }
    kelvo::SetEngineThreads(1);
    return 0;
}
