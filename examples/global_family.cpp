// The offline global family on a picture, from the installed library: the ambient tone curve for a
// picture made for 300 lux and seen under 20000 lux, applied four ways.
//   usage: global_family IN.png OUT_PREFIX
#include <alad/alad_offline.h>

#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s IN.png OUT_PREFIX\n", argv[0]);
        return 2;
    }
    cv::Mat picture = cv::imread(argv[1], cv::IMREAD_COLOR);  // 8-bit B, G, R
    if (picture.empty()) {
        std::fprintf(stderr, "cannot read %s\n", argv[1]);
        return 1;
    }
    kelvo::alad_display_model_ panel;  // gamma 2.2, 500 cd/m2 white, 0.2 cd/m2 black, ...
    kelvo::alad_view_condition_ view;
    view.blackLevelSrc = 300.0f;    // lux the picture was made for
    view.blackLevelDst = 20000.0f;  // lux it is seen under
    const std::vector<double> ambient = kelvo::AmbientToneCurve(panel, view);  // 256 codes, 0..1

    const struct {
        const char* name;
        void (*run)(cv::Mat&, const std::vector<double>&, cv::Mat&);
    } variants[] = {
        {"gray", kelvo::GlobalToneMappingOneImage},
        {"1d", kelvo::GlobalToneMappingOneImageBy1DGammaLUT},
        {"combine", kelvo::GlobalToneMappingOneImageByCombineLUT},
        {"scaler", kelvo::GlobalToneMappingOneImageByScalerLUT},
    };
    for (const auto& variant : variants) {
        cv::Mat out;
        variant.run(picture, ambient, out);
        const std::string path = std::string(argv[2]) + variant.name + ".png";
        if (out.empty() || !cv::imwrite(path, out)) return 1;
        std::printf("%s\n", path.c_str());
    }
    return 0;
}
