// The offline functions (<alad/alad_offline.h>) with anything a program can pass: pictures of every
// depth and channel count and any values (brightness that is not a number included), ambient
// curves and AGTM tables of any length and content, panels and light readings that are not
// numbers, content weights of any value, the local tone mapping with any user record, on stills
// and as video frames. Nothing may throw, crash or hit undefined behaviour.
#include <cstdint>
#include <vector>

#include "alad/alad_offline.h"
#include "cltm/cltm_user.h"
#include "tests/fuzz/fuzz_util.h"

namespace {

using alad_fuzz::Number;

// Mostly the type a function is made for (with values in its range), else anything.
cv::Mat Picture(FuzzedDataProvider& in, int usual_type, double lo, double hi) {
    if (in.ConsumeIntegralInRange<int>(0, 15) == 0) return cv::Mat();
    const int rows = in.ConsumeIntegralInRange<int>(1, 40), cols = in.ConsumeIntegralInRange<int>(1, 40);
    if (in.ConsumeIntegralInRange<int>(0, 3) == 0) return alad_fuzz::FilledMat(in, rows, cols, alad_fuzz::AnyType(in));
    cv::Mat picture = alad_fuzz::FilledMat(in, rows, cols, usual_type);
    if (in.ConsumeBool()) {
        // Within the range the function expects.
        cv::Mat uniform(rows, cols, usual_type);
        cv::RNG(in.ConsumeIntegral<uint64_t>()).fill(uniform, cv::RNG::UNIFORM, lo, hi);
        picture = uniform;
    }
    return picture;
}

// Mostly 256 entries, mostly of their usual values (`usual`), else any (`wild`).
template <typename T, typename Wild, typename Usual>
std::vector<T> Entries(FuzzedDataProvider& in, Wild wild, Usual usual) {
    std::vector<T> entries(in.ConsumeIntegralInRange<int>(0, 3) ? 256 : in.ConsumeIntegralInRange<size_t>(0, 300));
    const bool any = in.ConsumeIntegralInRange<int>(0, 3) == 0;
    for (T& v : entries) v = any ? wild() : usual();
    return entries;
}

std::vector<double> Curve(FuzzedDataProvider& in) {
    return Entries<double>(in, [&] { return Number(in, -1, 2); }, [&] { return in.ConsumeFloatingPointInRange<double>(0, 1); });
}

std::vector<int32_t> Table(FuzzedDataProvider& in) {
    return Entries<int32_t>(in, [&] { return in.ConsumeIntegral<int32_t>(); },
                            [&] { return in.ConsumeIntegralInRange<int32_t>(0, 8192); });
}

void LocalToneMapping(FuzzedDataProvider& in, kelvo::ContentLTM& ltm) {
    const int frames = in.ConsumeIntegralInRange<int>(1, 3);
    for (int f = 0; f < frames; ++f) {
        const uint32_t index = in.ConsumeBool() ? static_cast<uint32_t>(f) : in.ConsumeIntegral<uint32_t>();
        cv::Mat out = in.ConsumeBool() ? cv::Mat() : Picture(in, CV_32SC3, 0, 4096), gain;
        const int32_t status = in.ConsumeBool() ? ltm.CLTMGrayMode(Picture(in, CV_64FC1, 0, 4096), gain, out, index)
                                                : ltm.CLTMBGRMode(Picture(in, CV_32SC3, 0, 4096), out, index);
        ALAD_FUZZ_CHECK(status == 0 || status == -1);
    }
}

}  // namespace

ALAD_FUZZ_QUIET_ENGINE_AT_START

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    switch (in.ConsumeIntegralInRange<int>(0, 5)) {
        case 0: {
            const auto display = alad_fuzz::AnyPanel<kelvo::alad_display_model_>(in);
            const auto view = alad_fuzz::AnyView<kelvo::alad_view_condition_>(in);
            ALAD_FUZZ_CHECK(kelvo::AmbientToneCurve(display, view).size() == ALAD_AGTM_LUT_SIZE);
            ALAD_FUZZ_CHECK(kelvo::AmbientAGTMTable(display, view).size() == ALAD_AGTM_LUT_SIZE);
            break;
        }
        case 1: {
            cv::Mat image = Picture(in, CV_8UC1, 0, 256);
            std::vector<double> curve = in.ConsumeBool() ? std::vector<double>() : Curve(in), gain;
            const float content = static_cast<float>(Number(in, 0, 1)), temporal = static_cast<float>(Number(in, 0, 1));
            if (in.ConsumeBool()) {
                kelvo::ContentAdaptiveToneCurve8Bit(image, curve, gain, content, temporal);
            } else {
                kelvo::ContentAdaptiveToneCurve(image, curve, content, temporal);
            }
            if (in.ConsumeBool()) kelvo::ClearLUT();
            break;
        }
        case 2: {
            cv::Mat picture = Picture(in, CV_8UC3, 0, 256);
            cv::Mat out = in.ConsumeBool() ? cv::Mat() : Picture(in, CV_8UC3, 0, 256);
            const std::vector<double> ambient = Curve(in);
            using Global = void (*)(cv::Mat&, const std::vector<double>&, cv::Mat&);
            static const Global kGlobal[] = {
                kelvo::GlobalToneMappingOneImage,           kelvo::GlobalToneMappingOneImageBy1DGammaLUT,
                kelvo::GlobalToneMappingOneImageByCombineLUT, kelvo::GlobalToneMappingOneImageByScalerLUT,
                GlobalToneMappingOneImageFixed,             GlobalToneMappingOneImageBy1DGammaLUTFixed};
            in.PickValueInArray(kGlobal)(picture, ambient, out);
            break;
        }
        case 3: {
            kelvo::ContentLTM ltm(alad_fuzz::AnyUser<kelvo::alad_cltm_user>(in, 40), in.ConsumeBool());
            cv::Mat src = Picture(in, CV_32SC3, 0, 4096), reference, result;
            const std::vector<int32_t> lut = Table(in);
            using Combined = void (*)(cv::Mat&, const std::vector<int32_t>&, cv::Mat&, cv::Mat&, kelvo::ContentLTM&);
            static const Combined kCombined[] = {kelvo::ToneMappingOneImageLTMAGTMDeepFixed,
                                                 kelvo::ToneMappingOneImageLTMAGTMConcatenateFixed,
                                                 kelvo::ToneMappingOneImageAGTMLTMConcatenateFixed};
            in.PickValueInArray(kCombined)(src, lut, reference, result, ltm);
            break;
        }
        case 4: {
            kelvo::ContentLTM ltm(alad_fuzz::AnyUser<kelvo::alad_cltm_user>(in, 40), in.ConsumeBool());
            LocalToneMapping(in, ltm);
            break;
        }
        default: {  // the engine's user record, converted as the engine converts it
            kelvo::ContentLTM ltm(alad_fuzz::AnyUser<kelvo::ad_user_t_>(in, 40), in.ConsumeBool());
            LocalToneMapping(in, ltm);
            break;
        }
    }
    return 0;
}
