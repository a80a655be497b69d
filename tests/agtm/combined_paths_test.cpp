#include "agtm/combined_paths.h"

#include <gtest/gtest.h>

#include <vector>

#include "agtm/agtm_apply.h"
#include "agtm/display_panel_model.h"
#include "tests/engine/engine_test_util.h"

namespace kelvo {
namespace {

using Path = void (*)(cv::Mat&, const std::vector<int32_t>&, cv::Mat&, cv::Mat&, ContentLTM&);
const Path kDeep = ToneMappingOneImageLTMAGTMDeepFixed, kLtmAgtm = ToneMappingOneImageLTMAGTMConcatenateFixed,
           kAgtmLtm = ToneMappingOneImageAGTMLTMConcatenateFixed;

using testing_util::Same;

cv::Mat Picture(uint64_t seed) { return testing_util::Random12(90, 170, seed); }

// The table the engine makes for a bright destination.
std::vector<int32_t> SunlightTable() {
    DisplayPanelModel model(2.2, 500.0, 0.2, 1.0, 0.01, 300.0, 20000.0);
    return ComputeAGTMTable(model);
}

TEST(CombinedPathsTest, LtmAgtmConcatenateIsTheAgtmStageForAnyLtm) {
    cv::Mat picture = Picture(21), expected_ref, expected_res;
    agtm_param_api_ param;
    param.lut = SunlightTable();
    ToneMappingOneImageByScalerLUTImple_(picture, param, expected_ref, expected_res);
    ContentLTM still, video(alad_cltm_user{}, true), with_filter(alad_cltm_user{256, 256, 1, 8, 1}, false);
    for (ContentLTM* ltm : {&still, &video, &with_filter}) {
        cv::Mat reference, result;
        kLtmAgtm(picture, param.lut, reference, result, *ltm);
        EXPECT_TRUE(Same(reference, expected_ref));
        EXPECT_TRUE(Same(result, expected_res));
    }
}

// The merged path's exact gains with a table of gains 1.0, and AGTM then LTM (the AGTM stage's
// reference and the LTM of the input), are checked by python/tests/test_functions.py.
TEST(CombinedPathsTest, MergedPathWithARealTableAndRefusedInputs) {
    cv::Mat picture = Picture(23), reference, result;
    const std::vector<int32_t> table = SunlightTable();
    ContentLTM still;
    kDeep(picture, table, reference, result, still);
    EXPECT_LE(cv::norm(reference, result, cv::NORM_INF), 24.0);
    cv::Mat lifted = result > picture;  // bright ambient light lifts the picture
    EXPECT_GT(cv::countNonZero(lifted.reshape(1)), picture.total() * 3 / 2);
    // With gains of 1.0 the reference stays closer still.
    kDeep(picture, std::vector<int32_t>(256, 2048), reference, result, still);
    EXPECT_LE(cv::norm(reference, result, cv::NORM_INF), 8.0);
    // Refused: a short table, a picture of another type. The outputs are left as they were.
    const cv::Mat keep(3, 3, CV_32SC3, cv::Scalar::all(9));
    cv::Mat wrong(8, 8, CV_8UC3, cv::Scalar::all(1));
    for (const Path path : {kDeep, kLtmAgtm, kAgtmLtm}) {
        cv::Mat ref = keep.clone(), res = keep.clone();
        path(picture, std::vector<int32_t>(255, 2048), ref, res, still);
        path(wrong, table, ref, res, still);
        EXPECT_TRUE(Same(ref, keep) && Same(res, keep));
    }
}

}  // namespace
}  // namespace kelvo
