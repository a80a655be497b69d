// Records the engine cannot use: panels and viewing conditions that make no tone curve, and frame
// sizes above the bound. Each is reported and answered with -1, and the engine keeps running.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/display_panel_model.h"
#include "agtm/scaler_lut.h"
#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "alad/alad_interface.h"
#include "alad/alad_offline.h"
#include "common/frame_size.h"
#include "tests/verify/verify_test_util.h"

namespace kelvo {
namespace {

using testing_util::SizedUser;
using testing_util::SmallUser;
using alad_test::EngineRegs;
using alad_test::Printed;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr float kNaNf = std::numeric_limits<float>::quiet_NaN();
constexpr float kInff = std::numeric_limits<float>::infinity();


const alad_view_condition_ kView{300.0f, 20000.0f};

alad_display_model_ Panel(double gamma, double white, double black, double backlight = 1.0,
                          double reflectance = 0.01) {
    return {gamma, white, black, backlight, reflectance};
}

cv::Mat Frame() { return testing_util::Random12(48, 64, 7); }

// Order 4 (the AGTM stage alone) shows the table's effect on a frame directly.
cv::Mat RunFrame() {
    cv::Mat out;
    Printed([&] { EXPECT_EQ(RunOneFrameALAD(Frame(), out), 0); });
    return out;
}

// A panel or viewing condition that makes no tone curve: the call says why and returns -1, the
// AGTM table is the neutral one (frames pass the stage unchanged, never black), and the next
// usable record of the kind at fault brings back exactly the normal table and frames.
TEST(BadRecordsTest, PanelsAndViewsWithoutACurveGiveTheNeutralTableUntilAGoodOne) {
    enum Call { kByInit, kByPanel, kByView };
    const struct {
        Call call;
        alad_display_model_ display;
        alad_view_condition_ view;
        std::string message;
    } cases[] = {
        {kByPanel, Panel(kNaN, 500, 0.2), kView, "gamma nan (a finite number above 0 is needed)"},
        {kByPanel, Panel(kInf, 500, 0.2), kView, "gamma inf"},
        {kByPanel, Panel(0.0, 500, 0.2), kView, "gamma 0 "},
        {kByPanel, Panel(-2.2, 500, 0.2), kView, "gamma -2.2 "},
        {kByPanel, Panel(2.2, 0.0, 0.2), kView, "white luminance 0 cd/m2"},
        {kByPanel, Panel(2.2, -500, 0.2), kView, "white luminance -500 cd/m2"},
        {kByPanel, Panel(2.2, kInf, 0.2), kView, "white luminance inf cd/m2"},
        {kByPanel, Panel(2.2, kNaN, 0.2), kView, "white luminance nan cd/m2"},
        {kByPanel, Panel(2.2, 500, kNaN), kView, "black luminance nan cd/m2"},
        {kByPanel, Panel(2.2, 500, -kInf), kView, "black luminance -inf cd/m2"},
        {kByPanel, Panel(2.2, 500, 500), kView, "black luminance 500 cd/m2 (a finite number below the white"},
        {kByPanel, Panel(2.2, 500, 800), kView, "black luminance 800 cd/m2"},
        {kByPanel, Panel(2.2, 500, 0.2, kNaN), kView, "backlight nan"},
        {kByPanel, Panel(2.2, 500, 0.2, 1.0, kInf), kView, "reflectance inf"},
        // Found by testing: values that pass one by one but make no curve together.
        {kByPanel, Panel(2.2, 1e300, 0.2), kView, "is not finite"},          // white beyond single precision
        {kByPanel, Panel(1e-300, 500, 0.2), kView, "is not finite"},         // gamma 0 in single precision
        {kByInit, Panel(kNaN, 500, 0.2), kView, "InitEngineALAD: the display panel and viewing condition make no tone"},
        {kByInit, Panel(2.2, 500, -0.5), kView, "effective black at the source -0.02"},
        {kByInit, Panel(2.2, 500, 0.2, 1.0, -1.0), kView, "effective black at the source"},  // negative reflection
        {kByInit, Panel(2.2, 500, kNaN), kView, "black luminance nan"},
        {kByInit, Panel(2.2, 500, 0.2, 1.0, kNaN), kView, "reflectance nan"},
        {kByInit, Panel(2.2, 500, 0.2), {kNaNf, 20000.0f}, "ambient light at the source nan lux"},
        {kByView, Panel(2.2, 500, 0.2), {300.0f, kInff}, "ambient light at the destination inf lux"},
        {kByView, Panel(2.2, 500, 0.2), {-kInff, 20000.0f}, "ambient light at the source -inf lux"},
        {kByView, Panel(2.2, 500, 0.2), {kNaNf, kNaNf}, "ambient light at the source nan lux"},
    };
    const alad_display_model_ good;
    Printed([&] { ASSERT_EQ(InitEngineALAD(SmallUser(4), good, kView), 0); });
    const std::vector<int32_t> normal_table = EngineRegs().table;
    const cv::Mat normal = RunFrame();
    ASSERT_NE(cv::norm(normal, Frame(), cv::NORM_INF), 0.0);

    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        Printed([&] { ASSERT_EQ(InitEngineALAD(SmallUser(4), good, kView), 0); });
        const std::string printed = Printed([&] {
            switch (c.call) {
                case kByInit: EXPECT_EQ(InitEngineALAD(SmallUser(4), c.display, c.view), -1); break;
                case kByPanel: EXPECT_EQ(UpdateDisplayPanelParameter(c.display), -1); break;
                case kByView: EXPECT_EQ(UpdateViewConditionParameter(c.view), -1); break;
            }
        });
        EXPECT_NE(printed.find(c.message), std::string::npos) << printed;
        EXPECT_NE(printed.find("every AGTM gain is 1.0"), std::string::npos) << printed;
        EXPECT_EQ(EngineRegs().table, NeutralAGTMTable());
        EXPECT_EQ(cv::norm(RunFrame(), Frame(), cv::NORM_INF), 0.0);  // unchanged, not black

        // A bad panel stays bad for a new viewing condition; a usable one brings back the table.
        const bool panel_at_fault = c.view.blackLevelSrc == kView.blackLevelSrc &&
                                    c.view.blackLevelDst == kView.blackLevelDst;
        if (panel_at_fault) {
            Printed([&] { EXPECT_EQ(UpdateViewConditionParameter(kView), -1); });
            Printed([&] { EXPECT_EQ(UpdateDisplayPanelParameter(good), 0); });
        } else {
            Printed([&] { EXPECT_EQ(UpdateViewConditionParameter(kView), 0); });
        }
        EXPECT_EQ(EngineRegs().table, normal_table);
        EXPECT_EQ(cv::norm(RunFrame(), normal, cv::NORM_INF), 0.0);
    }

    // The offline table and curve of such records are the neutral table and the identity curve.
    std::vector<int32_t> table;
    std::vector<double> curve;
    const std::string printed = Printed([&] {
        table = AmbientAGTMTable(Panel(kNaN, 500, 0.2), kView);
        curve = AmbientToneCurve(Panel(2.2, 500, 0.2), {kNaNf, kNaNf});
    });
    EXPECT_EQ(table, NeutralAGTMTable());
    ASSERT_EQ(curve.size(), 256u);
    EXPECT_EQ(curve[255], 255 * 0.00392156862745098);
    EXPECT_NE(printed.find("AmbientAGTMTable: the panel and viewing condition make no tone curve: gamma nan"),
              std::string::npos);
    EXPECT_NE(printed.find("AmbientToneCurve: the panel and viewing condition make no tone curve: ambient light"),
              std::string::npos);
}

// The driver's and the front end's forms record the -1 for GetLastStatusForDriver, and the next
// good record restores the table they read back.
TEST(BadRecordsTest, DriverAndFrontEndFormsRecordMinusOne) {
    const alad_view_condition_driver_ good_view{300.0f, 20000.0f}, bad_view{300.0f, kInff};
    alad_display_model_driver_ good_panel{2.2, 500.0, 0.2, 1.0, 0.01}, bad_panel{0.0, 500.0, 0.2, 1.0, 0.01};
    const alad_view_condition_interface_ front_bad{kNaNf, 1000.0f};
    const struct {
        std::function<void()> bad, good;
    } calls[] = {
        {[&] { InitEngineALADforDriver(nullptr, nullptr, &bad_view); },
         [&] { UpdateViewConditionParameterForDriver(&good_view); }},
        {[&] { UpdateDisplayPanelParameterForDriver(&bad_panel); },
         [&] { UpdateDisplayPanelParameterForDriver(&good_panel); }},
        {[&] { UpdateViewConditionParameterForDriver(&bad_view); },
         [&] { UpdateViewConditionParameterForDriver(&good_view); }},
        {[&] { InitEngineALADInterface(nullptr, nullptr, &front_bad); },
         [&] { UpdateViewConditionParameterForDriver(&good_view); }},
    };
    Printed([&] { InitEngineALADforDriver(nullptr, nullptr, &good_view); });
    const std::vector<int32_t> normal_table = EngineRegs().table;
    for (const auto& call : calls) {
        Printed([&] { InitEngineALADforDriver(nullptr, nullptr, &good_view); });
        const std::string printed = Printed(call.bad);
        EXPECT_EQ(GetLastStatusForDriver(), -1) << printed;
        EXPECT_NE(printed.find("make no tone curve"), std::string::npos) << printed;
        EXPECT_EQ(EngineRegs().table, NeutralAGTMTable());
        Printed(call.good);
        EXPECT_EQ(GetLastStatusForDriver(), 0);
        EXPECT_EQ(EngineRegs().table, normal_table);
    }
}

TEST(BadRecordsTest, FrameSizeBound) {
    const struct {
        int64_t width, height;
        bool within;
    } sizes[] = {{0, 0, true},          {1, 1, true},          {8192, 4050, true},  {7680, 4320, true},
                 {4320, 7680, true},    {8192, 4051, false},   {8193, 1, false},    {1, 8193, false},
                 {8192, 8192, false},   {-1, 1650, false},     {720, -1, false},    {4294967295, 1650, false}};
    for (const auto& s : sizes) {
        EXPECT_EQ(alad::FrameSizeWithinBound(s.width, s.height), s.within) << s.width << "x" << s.height;
    }
}

// A size above the bound is refused with its message by every call that takes one, before
// anything changes: the engine keeps its configuration and runs a normal frame.
TEST(BadRecordsTest, FrameSizesAboveTheBoundAreRefusedAndTheEngineRunsOn) {
    std::vector<uint32_t> curve(65, 400);
    std::vector<int32_t> table(256, 2048), front_curve(65, 400);
    auto regs_of = [&](int32_t width, int32_t height) {
        return alad_verification_registrator_{4, width, height, 64, 64, 0, 0, 0, 0, 0, 200, 9, 0, curve.data(),
                                              table.data()};
    };
    // The status of a call, or what it recorded for the driver.
    const struct {
        std::function<int32_t()> call;
        std::string message;
    } cases[] = {
        {[&] { return InitEngineALAD(SizedUser(8193, 48, 1), {}, kView); },
         "InitEngineALAD: frame size 8193x48 refused (each side 0 to 8192 pixels, at most 33177600 in all); "
         "the running engine is kept"},
        {[&] { return InitEngineALAD(SizedUser(8192, 8192, 1), {}, kView); }, "frame size 8192x8192 refused"},
        {[&] { return UpdateCLTMParameter(SizedUser(64, 16000, 1)); },
         "UpdateCLTMParameter: frame size 64x16000 refused (each side 0 to 8192 pixels, at most 33177600 in all); "
         "the current configuration is kept"},
        {[&] { return UpdateCLTMParameter(SizedUser(4294967295u, 48, 1)); }, "frame size 4294967295x48 refused"},
        {[&] { return SettingVerificationRegistrator(regs_of(-1, 48)); },
         "SettingVerificationRegistrator: frame size -1x48 refused"},
        {[&] { return SettingVerificationRegistrator(regs_of(16000, 16000)); }, "frame size 16000x16000 refused"},
        {[&] {
             ad_user_t_driver_ user{0, 64, 64, 1, 8, 1, -1, 48};
             UpdateCLTMParameterForDriver(&user);
             return GetLastStatusForDriver();
         },
         "UpdateCLTMParameterForDriver: frame size -1x48 refused"},
        {[&] {
             ad_user_interface_t_ user{};
             user.width = 64;
             user.height = -48;
             UpdateCLTMParameterForVerify(&user);
             return GetLastStatusForDriver();
         },
         "UpdateCLTMParameterForVerify: frame size 64x-48 refused"},
        {[&] {
             const alad_verification_registrator_interface_ regs{4, 9000, 48, 64, 64, 0, 0, 0, 0, 0, 200, 9, 0,
                                                                 front_curve.data(), table.data()};
             SettingVerificationRegistratorInterface(&regs);
             return GetLastStatusForDriver();
         },
         "SettingVerificationRegistrator: frame size 9000x48 refused"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        Printed([&] { ASSERT_EQ(InitEngineALAD(SmallUser(1), {}, kView), 0); });
        RunFrame();
        const EngineRegs before;
        const std::string printed = Printed([&] { EXPECT_EQ(c.call(), -1); });
        EXPECT_NE(printed.find(c.message), std::string::npos) << printed;
        const EngineRegs after;
        EXPECT_EQ(testing_util::Values(after.regs), testing_util::Values(before.regs));
        EXPECT_EQ(after.table, before.table);
        const cv::Mat out = RunFrame();
        EXPECT_EQ(out.size(), cv::Size(64, 48));
        EXPECT_NE(cv::norm(out, Frame(), cv::NORM_INF), 0.0);  // both stages ran
    }
}

}  // namespace
}  // namespace kelvo
