// The pure functions: AGTM table and ambient tone curve, the 40 ambient levels, the content curve,
// the offline image paths, ContentLTM, the bit-depth widening and the thread setting.
#include <algorithm>
#include <memory>

#include <alad/alad_driver.h>
#include <alad/alad_engine.h>
#include <alad/alad_offline.h>

#include "binding.h"

namespace alad_python {

namespace {

using namespace pybind11::literals;

kelvo::alad_display_model_ Display(double gamma, double white, double black, double backlight, double reflectance) {
    return kelvo::alad_display_model_{gamma, white, black, backlight, reflectance};
}

kelvo::alad_view_condition_ View(double src_lux, double dst_lux) {
    kelvo::alad_view_condition_ view;
    view.blackLevelSrc = static_cast<float>(src_lux);
    view.blackLevelDst = static_cast<float>(dst_lux);
    return view;
}

int ClampLevel(int level) { return std::clamp(level, 0, ALAD_AGTM_LEVELS - 1); }

using GlobalFamily = void (*)(cv::Mat&, const std::vector<double>&, cv::Mat&);
using CombinedPath = void (*)(cv::Mat&, const std::vector<int32_t>&, cv::Mat&, cv::Mat&, kelvo::ContentLTM&);

GlobalFamily GlobalMethod(const std::string& method) {
    if (method == "gray") return kelvo::GlobalToneMappingOneImage;
    if (method == "1d") return kelvo::GlobalToneMappingOneImageBy1DGammaLUT;
    if (method == "combine") return kelvo::GlobalToneMappingOneImageByCombineLUT;
    if (method == "scaler") return kelvo::GlobalToneMappingOneImageByScalerLUT;
    throw py::value_error("method must be 'gray', '1d', 'combine' or 'scaler', not '" + method + "'");
}

CombinedPath CombinedMethod(const std::string& method) {
    if (method == "deep") return kelvo::ToneMappingOneImageLTMAGTMDeepFixed;
    if (method == "ltm-agtm") return kelvo::ToneMappingOneImageLTMAGTMConcatenateFixed;
    if (method == "agtm-ltm") return kelvo::ToneMappingOneImageAGTMLTMConcatenateFixed;
    throw py::value_error("method must be 'deep', 'ltm-agtm' or 'agtm-ltm', not '" + method + "'");
}

// ContentLTM with the settings it was made with, for repr(). Released with the library to itself,
// like every other call.
struct PyContentLTM {
    PyContentLTM() = default;
    PyContentLTM(PyContentLTM&&) = default;
    PyContentLTM& operator=(PyContentLTM&&) = default;
    ~PyContentLTM() {
        if (!ltm) return;
        std::lock_guard<std::mutex> lock(LibraryMutex());
        ltm.reset();
    }

    std::unique_ptr<kelvo::ContentLTM> ltm;
    kelvo::ad_user_t_ user;
    bool video = false;
    bool defaults = true;
};

PyContentLTM MakeContentLTM(const py::object& block, int64_t strength, int64_t curve, bool filter, bool video) {
    PyContentLTM made;
    made.video = video;
    made.defaults = block.is_none() && strength == 8 && curve == 1 && !filter && !video;
    if (made.defaults) {
        made.ltm = std::make_unique<kelvo::ContentLTM>();
        return made;
    }
    kelvo::ad_user_t_& user = made.user;
    user.width = user.height = 0;  // bound by the first picture
    if (!block.is_none()) {
        if (py::isinstance<py::int_>(block)) {
            user.blk_width = user.blk_height = block.cast<uint32_t>();
        } else {
            const auto pair = block.cast<std::pair<uint32_t, uint32_t>>();
            user.blk_width = pair.first;
            user.blk_height = pair.second;
        }
    }
    user.strength = static_cast<int32_t>(strength);
    user.curve_id = static_cast<int32_t>(curve);
    user.filter_flag = filter ? 1 : 0;
    made.ltm = Call([&] { return std::make_unique<kelvo::ContentLTM>(user, video); });
    return made;
}

}  // namespace

void BindOffline(py::module_& m) {
    const kelvo::alad_display_model_ d;
    m.def(
        "agtm_table",
        [](double src_lux, double dst_lux, double gamma, double white, double black, double backlight,
           double reflectance) {
            const auto display = Display(gamma, white, black, backlight, reflectance);
            const auto view = View(src_lux, dst_lux);
            return ToArray(Call([&] { return kelvo::AmbientAGTMTable(display, view); }));
        },
        "src_lux"_a, "dst_lux"_a, py::kw_only(), "gamma"_a = d.gamma, "white"_a = d.white, "black"_a = d.black,
        "backlight"_a = d.backlight, "reflectance"_a = d.reflectance,
        R"doc(The AGTM gain table the engine builds for this panel and viewing condition: 256 int32 gains
(2048 = 1.0), entry i for a pixel whose brightest channel is 16 * i. Pure: no engine is made or
replaced.)doc");
    m.def(
        "tone_curve",
        [](double src_lux, double dst_lux, double gamma, double white, double black, double backlight,
           double reflectance) {
            const auto display = Display(gamma, white, black, backlight, reflectance);
            const auto view = View(src_lux, dst_lux);
            return ToArray(Call([&] { return kelvo::AmbientToneCurve(display, view); }));
        },
        "src_lux"_a, "dst_lux"_a, py::kw_only(), "gamma"_a = d.gamma, "white"_a = d.white, "black"_a = d.black,
        "backlight"_a = d.backlight, "reflectance"_a = d.reflectance,
        R"doc(The ambient tone curve: 256 float64 output codes (nominally 0..1), one per input code i / 255,
that make a picture seen under dst_lux look as it did under src_lux. The `ambient` curve of
global_tone_map. Pure: no engine is made or replaced.)doc");

    py::tuple levels(ALAD_AGTM_LEVELS);
    for (int i = 0; i < ALAD_AGTM_LEVELS; ++i) levels[i] = agtmLuxTable[i];
    m.attr("LUX_LEVELS") = levels;
    m.def(
        "level", [](int lux) { return Call([&] { return getAGTMLevel(lux); }); }, "lux"_a,
        "The display driver's ambient level (0..39) nearest to a lux reading; half-way goes to the lower level.");
    m.def(
        "level_table",
        [](int level) {
            const auto view = View(300.0, agtmLuxTable[ClampLevel(level)]);
            return ToArray(Call([&] { return kelvo::AmbientAGTMTable(kelvo::alad_display_model_(), view); }));
        },
        "level"_a,
        R"doc(The AGTM table of a driver level (clamped to 0..39): the default panel, 300 lux -> LUX_LEVELS[level].
The table the driver's level look-up gives, without replacing the engine.)doc");

    m.def(
        "content_curve",
        [](const py::object& gray, double content_weight, double temporal_weight) {
            cv::Mat image = ViewImage(gray, ImageKind{"gray", {CV_8U}, 0});
            std::vector<double> curve, gain;
            Call([&] {
                kelvo::ContentAdaptiveToneCurve8Bit(image, curve, gain, static_cast<float>(content_weight),
                                                    static_cast<float>(temporal_weight));
            });
            return py::make_tuple(ToArray(curve), ToArray(gain));
        },
        "gray"_a, py::kw_only(), "content_weight"_a = 0.5, "temporal_weight"_a = 0.7,
        R"doc(The content-adaptive tone curve of an 8-bit (H, W) luminance image: (curve, gain), 256 float64
output codes (0..1) and the gain each implies. The curve kept from earlier calls is process-wide
(clear_content_curve empties it).)doc");
    m.def(
        "clear_content_curve", [] { Call([] { kelvo::ClearLUT(); }); },
        "Empties the content curve kept from earlier calls.");

    m.def(
        "global_tone_map",
        [](const py::object& image, const py::object& ambient, const std::string& method) {
            const GlobalFamily run = GlobalMethod(method);
            cv::Mat in = ViewImage(image, ImageKind{"image", {CV_8U}, 3});
            const std::vector<double> curve = Table<double>(ambient, 256, "ambient");
            cv::Mat out;
            Call([&] { run(in, curve, out); });
            if (out.empty()) ThrowEngineError("global_tone_map: refused");
            return MatToArray(out);
        },
        "image"_a, "ambient"_a, py::kw_only(), "method"_a = "gray",
        R"doc(An 8-bit (H, W, 3) B, G, R picture through the ambient tone curve `ambient` (256 codes, see
tone_curve) and its own content curve, combined by `method`: 'gray' (gray through both curves,
channels scaled by the gray ratio), '1d' (one table applied to each channel), 'combine'
(interpolated combined table) or 'scaler' (content and ambient gain tables). Returns uint8 (H, W, 3).)doc");

    py::class_<PyContentLTM>(m, "ContentLTM", R"doc(The CLTM on single pictures, outside the engine.

ContentLTM() has the defaults: blocks 256x256, clip curve 1, strength 8, no filter, still
pictures. With video=True the pictures are frames of one sequence (the first passes through).)doc")
        .def(py::init(&MakeContentLTM), py::kw_only(), "block"_a = py::none(), "strength"_a = 8, "curve"_a = 1,
             "filter"_a = false, "video"_a = false)
        .def(
            "bgr",
            [](PyContentLTM& self, const py::object& image, uint32_t frame) {
                const cv::Mat in = Frame12(image, "image");
                cv::Mat out;
                Require(Call([&] { return self.ltm->CLTMBGRMode(in, out, frame); }), "ContentLTM.bgr");
                return MatToArray(out);
            },
            "image"_a, "frame"_a = 0,
            "The CLTM of a (H, W, 3) 12-bit B, G, R picture (int32 or uint16); returns int32 (H, W, 3).")
        .def(
            "gray",
            [](PyContentLTM& self, const py::object& brightness, uint32_t frame) {
                const cv::Mat in = ViewImage(brightness, ImageKind{"brightness", {CV_64F}, 0});
                cv::Mat gain, luma;
                Require(Call([&] { return self.ltm->CLTMGrayMode(in, gain, luma, frame); }), "ContentLTM.gray");
                return py::make_tuple(MatToArray(gain), MatToArray(luma));
            },
            "brightness"_a, "frame"_a = 0,
            R"doc(The CLTM of a (H, W) float64 brightness on the 12-bit scale: (gain, luma), float32 (H, W): the
ratio new / old and the mapped brightness.)doc")
        .def("__repr__", [](const PyContentLTM& self) {
            if (self.defaults) return std::string("alad.ContentLTM()");
            return "alad.ContentLTM(block=(" + std::to_string(self.user.blk_width) + ", " +
                   std::to_string(self.user.blk_height) + "), strength=" + std::to_string(self.user.strength) +
                   ", curve=" + std::to_string(self.user.curve_id) + ", filter=" +
                   (self.user.filter_flag ? "True" : "False") + ", video=" + (self.video ? "True" : "False") + ")";
        });

    m.def(
        "combined",
        [](const py::object& image, const py::object& table, const std::string& method, PyContentLTM* ltm) {
            const CombinedPath run = CombinedMethod(method);
            cv::Mat in = Frame12(image, "image");
            const std::vector<int32_t> lut = Table<int32_t>(table, ALAD_AGTM_LUT_SIZE, "table");
            cv::Mat reference, result;
            Call([&] {
                kelvo::ContentLTM fresh;
                run(in, lut, reference, result, ltm ? *ltm->ltm : fresh);
            });
            return py::make_tuple(MatToArray(reference), MatToArray(result));
        },
        "image"_a, "table"_a, py::kw_only(), "method"_a = "deep", "ltm"_a = py::none(),
        R"doc(A 12-bit (H, W, 3) B, G, R picture through the AGTM table `table` (256 gains, see agtm_table)
and a ContentLTM (a default one unless `ltm` is given): (reference, result), the floating-point
reference and the integer result, int32 (H, W, 3). method: 'deep' (one merged gain per pixel, the
LTM gain times the AGTM gain at the LTM-mapped brightness), 'ltm-agtm' (the AGTM stage alone) or
'agtm-ltm' (reference: the AGTM stage's reference; result: the LTM of the picture itself).)doc");

    m.def(
        "widen8",
        [](const py::object& image) {
            cv::Mat in = ViewImage(image, ImageKind{"image", {CV_8U}, 3});
            cv::Mat out;
            Call([&] { transform8To12(in, out); });
            return MatToArray(out);
        },
        "image"_a, "8-bit (H, W, 3) values to 12 bits, int32: v * 16 + v // 16 (255 -> 4095).");
    m.def(
        "widen10",
        [](const py::object& image) {
            cv::Mat in = ViewImage(image, ImageKind{"image", {CV_32S}, 3});
            cv::Mat out;
            Call([&] { transform10To12(in, out); });
            return MatToArray(out);
        },
        "image"_a, "10-bit (H, W, 3) int32 values to 12 bits: v * 4 + v // 256 (1023 -> 4095).");

    m.def(
        "set_threads", [](int threads) { Call([&] { kelvo::SetEngineThreads(threads); }); }, "threads"_a,
        "Lets the rows of a frame be shared among up to `threads` threads (1..64); results are identical for any "
        "count. Process-wide.");
    m.def(
        "threads", [] { return Call([] { return kelvo::GetEngineThreads(); }); },
        "The number of threads a frame's rows may be shared among.");
}

}  // namespace alad_python
