// The Python module `alad`: the engine, the verification harness and the offline paths of
// libalad.so, on NumPy arrays. Only the library's public headers are used.
#include <chrono>

#include <alad/alad_engine.h>
#include <alad/alad_verify.h>
#include <alad/alad_version.h>

#include "binding.h"

namespace alad_python {

namespace {

// The literal way into the library, for the tests: every pixel copied into a matrix of its own and
// back, element by element, so that the module's zero-copy views can be checked against it.
cv::Mat CopyIn(const py::array_t<int32_t, py::array::c_style>& frame) {
    cv::Mat mat(static_cast<int>(frame.shape(0)), static_cast<int>(frame.shape(1)), CV_32SC3);
    for (int y = 0; y < mat.rows; ++y) {
        for (int x = 0; x < mat.cols; ++x) {
            for (int c = 0; c < 3; ++c) mat.at<cv::Vec3i>(y, x)[c] = frame.at(y, x, c);
        }
    }
    return mat;
}

py::array_t<int32_t> CopyOut(const cv::Mat& mat) {
    py::array_t<int32_t> out({mat.rows, mat.cols, 3});
    for (int y = 0; y < mat.rows; ++y) {
        for (int x = 0; x < mat.cols; ++x) {
            for (int c = 0; c < 3; ++c) out.mutable_at(y, x, c) = mat.at<cv::Vec3i>(y, x)[c];
        }
    }
    return out;
}

}  // namespace

void BindChecks(py::module_& m) {
    py::module_ checks = m.def_submodule("_checks", "Literal paths into the library, for the module's own tests.");
    checks.def("run_copied", [](const py::array_t<int32_t, py::array::c_style>& frame) {
        const cv::Mat src = CopyIn(frame);
        cv::Mat dst;
        Require(Call([&] { return kelvo::RunOneFrameALAD(src, dst); }), "run_copied");
        return CopyOut(dst);
    });
    // The entry point's own time per frame, measured without Python in between: what the
    // benchmark compares Engine.run with.
    checks.def("time_entry_point", [](const py::array_t<int32_t, py::array::c_style>& frame, int repeat) {
        const cv::Mat src(static_cast<int>(frame.shape(0)), static_cast<int>(frame.shape(1)), CV_32SC3,
                          const_cast<int32_t*>(frame.data()));
        cv::Mat dst;
        std::vector<double> seconds;
        const int32_t status = Call([&] {
            int32_t worst = 0;
            for (int i = 0; i < repeat; ++i) {
                const auto start = std::chrono::steady_clock::now();
                worst |= kelvo::RunOneFrameALAD(src, dst);
                seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
            }
            return worst;
        });
        Require(status, "time_entry_point");
        return seconds;
    });
    checks.def("debug_image_copied", [](const std::string& type) {
        cv::Mat image;
        Require(Call([&] { return CopyDebugImage(type, image); }), "debug_image_copied");
        return image.empty() ? py::array_t<int32_t>(std::vector<py::ssize_t>{0, 0, 3}) : CopyOut(image);
    });
}

}  // namespace alad_python

PYBIND11_MODULE(alad, m) {
    namespace py = pybind11;
    m.doc() = R"doc(ALAD, the ambient-light adaptive display engine, from Python.

The engine (AGTM, the ambient global tone mapping, and CLTM, the content local tone mapping) works
on 12-bit frames held as NumPy arrays of shape (H, W, 3), channels B, G, R:

    import alad
    engine = alad.Engine(width=1080, height=2400, order=1, src_lux=300, dst_lux=20000)
    out = engine.run(frame)

Besides Engine: the verification harness (register files, pixel files, dumps, Engine.debug), the
pure AGTM functions (agtm_table, tone_curve, the driver's 40 levels) and the offline paths
(global_tone_map, combined, ContentLTM, content_curve). The library's console lines go to the
logging module, logger "alad" (INFO progress, WARNING, ERROR); refused calls raise EngineError,
wrong arrays ValueError or TypeError, files OSError.)doc";
    m.attr("__version__") = kelvo::ALADVersion();
    py::tuple types(kDebugInfoTypeCount);
    for (int i = 0; i < kDebugInfoTypeCount; ++i) types[i] = kDebugInfoTypes[i];
    m.attr("DEBUG_TYPES") = types;
    alad_python::InstallLogging(m);
    alad_python::BindEngine(m);
    alad_python::BindOffline(m);
    alad_python::BindFiles(m);
    alad_python::BindChecks(m);
}
