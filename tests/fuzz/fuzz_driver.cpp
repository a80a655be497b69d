// The display driver's and the verification front end's entry points, and the buffer and matrix
// conversions, with anything their callers can pass: flat records with any values (negative
// sizes, panels that are not numbers), null records, frame buffers of any declared size and
// channel count (holding as many bytes as they declare, and at least the ARGB8888 four per pixel),
// matrices of every depth and channel count, register files, pixel files and verification runs.
// Nothing may throw, crash or write outside what it was given; wrappers return 0.
#include <cstdint>
#include <string>
#include <vector>

#include "alad/alad_driver.h"
#include "alad/alad_interface.h"
#include "alad/alad_verify.h"
#include "tests/fuzz/fuzz_util.h"

namespace {

using alad_fuzz::Number;

ad_user_t_driver_ DriverUser(FuzzedDataProvider& in) {
    ad_user_t_driver_ user;
    ad_user_t_init_driver_(&user);
    user.width = alad_fuzz::Size(in, 64);
    user.height = alad_fuzz::Size(in, 64);
    user.tm_mode = in.ConsumeBool() ? in.ConsumeIntegralInRange<int32_t>(0, 7) : in.ConsumeIntegral<int32_t>();
    if (in.ConsumeBool()) {
        user.mode = in.ConsumeIntegral<int32_t>();
        user.blk_width = in.ConsumeIntegral<int32_t>();
        user.blk_height = in.ConsumeIntegral<int32_t>();
        user.curve_id = in.ConsumeIntegral<int32_t>();
        user.strength = in.ConsumeIntegral<int32_t>();
    }
    return user;
}

const auto DriverDisplay = alad_fuzz::AnyPanel<alad_display_model_driver_>;
const auto DriverView = alad_fuzz::AnyView<alad_view_condition_driver_>;

// A matrix of any type and a small size, sometimes empty.
cv::Mat AnyMat(FuzzedDataProvider& in) {
    if (in.ConsumeIntegralInRange<int>(0, 15) == 0) return cv::Mat();
    const int rows = in.ConsumeIntegralInRange<int>(1, 12), cols = in.ConsumeIntegralInRange<int>(1, 12);
    return alad_fuzz::FilledMat(in, rows, cols, alad_fuzz::AnyType(in));
}

// The conversions on whatever matrices: outputs untouched or made, never a throw.
void Conversions(FuzzedDataProvider& in) {
    cv::Mat a = AnyMat(in), b = AnyMat(in), out = in.ConsumeBool() ? AnyMat(in) : cv::Mat();
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
        case 0: {
            // A driver buffer as declared: width x height x channels bytes, and at least four per pixel.
            const int width = in.ConsumeIntegralInRange<int>(-2, 16), height = in.ConsumeIntegralInRange<int>(-2, 16);
            const int channels = in.ConsumeIntegralInRange<int>(-1, 8);
            std::vector<unsigned char> bytes(static_cast<size_t>(std::max(width, 0)) * std::max(height, 0) *
                                             std::max(channels, 4) + 1);
            _image buffer = {width, height, channels, in.ConsumeIntegralInRange<int>(0, 7) ? bytes.data() : nullptr};
            imageBuffer2MatARGBforDriver(buffer, out);
            break;
        }
        case 1: {
            std::vector<unsigned char> buffer(a.total() * 4 + 1);
            imageMatARGB2BufferForDriver(a, in.ConsumeIntegralInRange<int>(0, 7) ? buffer.data() : nullptr);
            break;
        }
        case 2: imageMatARGB2RGB(a, out, b); break;
        case 3: imageBGR2ARGB_8888(a, b, out); break;
        case 4: imageBGR2ARGB_8888(a, out); break;
        case 5: transform8To12(a, out); break;
        case 6: transform10To12(a, out); break;
        default: transform8To12Interface(a, out); break;
    }
}

// An ARGB8888 frame of the driver's, processed in place.
void DriverFrame(FuzzedDataProvider& in) {
    const int width = in.ConsumeIntegralInRange<int>(-1, 64), height = in.ConsumeIntegralInRange<int>(-1, 64);
    const int channels = in.ConsumeIntegralInRange<int>(0, 15) ? 4 : in.ConsumeIntegralInRange<int>(-1, 8);
    const size_t bytes = static_cast<size_t>(std::max(width, 0)) * std::max(height, 0) * std::max(channels, 4);
    std::vector<unsigned char> pixels = in.ConsumeBytes<unsigned char>(bytes);
    pixels.resize(bytes + 1, 0x5A);
    _image frame = {width, height, channels, pixels.data()};
    RunOneFrameBufferALADforDriver(alad_fuzz::MaybeNull(in, &frame));
}

// A register set in the front end's form, with its two buffers (or without one).
void RegisterSets(FuzzedDataProvider& in) {
    alad_fuzz::FrontEndRegisters front;
    for (int32_t& v : front.hist) v = in.ConsumeIntegral<int32_t>();
    for (int32_t& v : front.agtm) v = in.ConsumeIntegralInRange<int32_t>(0, 8192);
    alad_verification_registrator_interface_& regs = front.regs;
    regs.tm_mode = in.ConsumeIntegralInRange<int32_t>(-1, 7);
    regs.width = alad_fuzz::Size(in, 64);
    regs.height = alad_fuzz::Size(in, 64);
    regs.blk_width_b = in.ConsumeIntegral<int32_t>();
    regs.blk_height_b = in.ConsumeIntegral<int32_t>();
    regs.strength_target = in.ConsumeIntegral<int32_t>();
    regs.curve_transition = in.ConsumeIntegral<int32_t>();
    regs.reg_hist = alad_fuzz::MaybeNull(in, front.hist.data());
    regs.reg_agtm = alad_fuzz::MaybeNull(in, front.agtm.data());
    SettingVerificationRegistratorInterface(alad_fuzz::MaybeNull(in, &regs));

    alad_registrator_driver driver{};
    driver.reg_hist = front.hist.data();
    driver.reg_agtm = front.agtm.data();
    ALADRegistratorsInfoForDriver(alad_fuzz::MaybeNull(in, &driver));
    driver.reg_tm_mode = in.ConsumeIntegral<int32_t>();
    driver.reg_blk_h_num = in.ConsumeIntegral<int32_t>();
    driver.reg_strength_step = in.ConsumeIntegral<int32_t>();
    checkAladRegisterParameterValidity(&driver);
}

// Files through the front end: a register file, a packed pixel file, and a verification run.
void FrontEndFiles(FuzzedDataProvider& in) {
    const std::string regs = alad_fuzz::WriteScratch("driver_regs.txt", in.ConsumeRandomLengthString(200));
    const std::string image = alad_fuzz::WriteScratch("driver_image.txt", in.ConsumeRandomLengthString(400));
    alad_fuzz::FrontEndRegisters parsed;
    parseRegisterFromFileInterface(regs.c_str(), &parsed.regs);
    cv::Mat out;
    parseImageFromFileCmodelInterface(image.c_str(), alad_fuzz::Size(in, 16), alad_fuzz::Size(in, 16), out);
    if (in.ConsumeIntegralInRange<int>(0, 3) == 0) {
        const std::string folder = alad_fuzz::ScratchPath("driver_run");
        std::filesystem::create_directories(folder);
        VerifyInitEngineALADInterface();
        VerifyRunOneFrameALADInterface(regs.c_str(), image.c_str(), folder.c_str(), nullptr, 0);
        VerifyDeinitEngineALADInterface();
    }
}

}  // namespace

ALAD_FUZZ_QUIET_ENGINE_AT_START

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const int calls = in.ConsumeIntegralInRange<int>(1, 8);
    for (int i = 0; i < calls && in.remaining_bytes() > 0; ++i) {
        int32_t result = 0;
        switch (in.ConsumeIntegralInRange<int>(0, 13)) {
            case 0: {
                ad_user_t_driver_ user = DriverUser(in);
                alad_display_model_driver_ display = DriverDisplay(in);
                const alad_view_condition_driver_ view = DriverView(in);
                result = InitEngineALADforDriver(&user, in.ConsumeBool() ? &display : nullptr,
                                                 alad_fuzz::MaybeNull(in, &view));
                break;
            }
            case 1: result = alad_fuzz::OnRecord(in, DriverUser(in), UpdateCLTMParameterForDriver); break;
            case 2: result = alad_fuzz::OnRecord(in, DriverDisplay(in), UpdateDisplayPanelParameterForDriver); break;
            case 3: result = alad_fuzz::OnRecord(in, DriverView(in), UpdateViewConditionParameterForDriver); break;
            case 4:
            case 5: DriverFrame(in); break;
            case 6: {
                cv::Mat src = AnyMat(in), dst = in.ConsumeBool() ? AnyMat(in) : cv::Mat();
                result = in.ConsumeBool() ? RunOneFrameALADforDriver(src, dst) : ALADImageModeForBSPdriver(src, dst);
                break;
            }
            case 7: Conversions(in); break;
            case 8: {
                std::vector<int32_t> lut(ALAD_AGTM_LUT_SIZE);
                getAGTMLevel(in.ConsumeIntegral<int>());
                result = getAGTMCurveParams(in.ConsumeIntegral<int>(), in.ConsumeBool() ? lut.data() : nullptr);
                break;
            }
            case 9: {
                ad_user_interface_t_ user;
                ad_user_t_init_interface(&user);
                alad_display_model_interface_ display;
                const auto view = alad_fuzz::AnyView<alad_view_condition_interface_>(in);
                result = InitEngineALADInterface(&user, &display, alad_fuzz::MaybeNull(in, &view));
                user.width = alad_fuzz::Size(in, 64);
                user.height = alad_fuzz::Size(in, 64);
                user.tm_mode = in.ConsumeIntegral<int32_t>();
                user.flag = in.ConsumeIntegral<uint8_t>();
                UpdateCLTMParameterForVerify(&user);
                break;
            }
            case 10: RegisterSets(in); break;
            case 11: FrontEndFiles(in); break;
            case 12: {
                cv::Mat src = AnyMat(in), dst;
                RunOneFrameALADInterface(src, dst);
                std::vector<int> lut(ALAD_AGTM_LUT_SIZE);
                ComputeAGTMLUTByAmbientLightInterface(0, in.ConsumeIntegral<uint32_t>(), in.ConsumeIntegral<uint32_t>(),
                                                      in.ConsumeBool() ? lut.data() : nullptr, 0);
                PrintCurrentRegistratorFromDriverInterface();
                break;
            }
            default:
                ResetEngineALADforDriver();
                if (in.ConsumeBool()) DeinitEngineALADforDriver();
                if (in.ConsumeBool()) DeinitEngineALADInterface();
                break;
        }
        ALAD_FUZZ_CHECK(result == 0);
        const int32_t status = GetLastStatusForDriver();
        ALAD_FUZZ_CHECK(status == 0 || status == -1);
    }
    return 0;
}
