// A program outside the project that uses the installed library.
#include <alad/alad_engine.h>
#include <alad/alad_offline.h>
#include <alad/alad_version.h>

#include <cstdio>

int main() {
    kelvo::ad_user_t_ user;
    user.width = 32;
    user.height = 16;
    user.tm_mode = 1;
    kelvo::alad_view_condition_ view;
    view.blackLevelSrc = 300.0f;
    view.blackLevelDst = 20000.0f;
    if (kelvo::InitEngineALAD(user, kelvo::alad_display_model_(), view) != 0) return 1;
    cv::Mat frame(16, 32, CV_32SC3, cv::Scalar(100, 200, 300)), out;
    if (kelvo::RunOneFrameALAD(frame, out) != 0) return 1;
    // The offline paths are there for outside callers too.
    kelvo::ContentLTM ltm;
    cv::Mat reference, merged;
    kelvo::ToneMappingOneImageLTMAGTMDeepFixed(frame, std::vector<int32_t>(256, 2048), reference, merged, ltm);
    if (merged.size() != frame.size()) return 1;
    std::printf("alad %s: %dx%d\n", kelvo::ALADVersion(), out.cols, out.rows);
    return out.size() == frame.size() ? 0 : 1;
}
