// alad.Engine: the process-wide engine of <alad/alad_engine.h> as a Python object.
#include <array>
#include <cstring>
#include <filesystem>
#include <optional>

#include <alad/alad_driver.h>
#include <alad/alad_engine.h>
#include <alad/alad_records.h>
#include <alad/alad_verify.h>

#include "binding.h"

namespace alad_python {

namespace {

// Bumped by every Engine made: an Engine whose number is not the current one has been replaced.
uint64_t gEngineGeneration = 0;

struct Settings {
    kelvo::ad_user_t_ user;
    kelvo::alad_display_model_ display;
    kelvo::alad_view_condition_ view;
};

// A register set with its own tables.
struct Registers {
    std::array<uint32_t, ALAD_HIST_ADJUST_CURVE_SIZE> hist{};
    std::array<int32_t, ALAD_AGTM_LUT_SIZE> agtm{};
    kelvo::alad_verification_registrator_ reg;
    Registers() {
        reg.hist_adjust_curve = hist.data();
        reg.agtm = agtm.data();
    }
};

// The thirteen registers under their register-file keys.
struct ScalarRegister {
    const char* key;
    int32_t kelvo::alad_verification_registrator_::*field;
};
const ScalarRegister kScalarRegisters[] = {
    {"tm_mode", &kelvo::alad_verification_registrator_::reg_tm_mode},
    {"width", &kelvo::alad_verification_registrator_::width},
    {"height", &kelvo::alad_verification_registrator_::height},
    {"blk_width_b", &kelvo::alad_verification_registrator_::reg_blk_width_b},
    {"blk_height_b", &kelvo::alad_verification_registrator_::reg_blk_height_b},
    {"hist_mode", &kelvo::alad_verification_registrator_::reg_hist_mode},
    {"curve_transition", &kelvo::alad_verification_registrator_::reg_curve_transition},
    {"linear_adj_offset", &kelvo::alad_verification_registrator_::reg_linear_adj_offset},
    {"linear_adj_ratio", &kelvo::alad_verification_registrator_::reg_linear_adj_ratio},
    {"strength_mode", &kelvo::alad_verification_registrator_::reg_strength_mode},
    {"strength_target", &kelvo::alad_verification_registrator_::reg_strength_target},
    {"strength_step", &kelvo::alad_verification_registrator_::reg_strength_step},
    {"strength_interval", &kelvo::alad_verification_registrator_::reg_strength_interval},
};

uint32_t NonNegative(int64_t value, const char* name) {
    if (value < 0 || value > INT32_MAX) {
        throw py::value_error(std::string(name) + " must be 0..2147483647, not " + std::to_string(value));
    }
    return static_cast<uint32_t>(value);
}

int32_t Int32(int64_t value, const char* name) {
    if (value < INT32_MIN || value > INT32_MAX) {
        throw py::value_error(std::string(name) + " = " + std::to_string(value) + " does not fit in 32 bits");
    }
    return static_cast<int32_t>(value);
}

// `block`: one size for both sides, or (width, height).
void SetBlock(kelvo::ad_user_t_& user, const py::handle& block) {
    if (py::isinstance<py::int_>(block)) {
        user.blk_width = user.blk_height = NonNegative(block.cast<int64_t>(), "block");
        return;
    }
    if (py::isinstance<py::sequence>(block) && !py::isinstance<py::str>(block) && py::len(block) == 2) {
        const py::sequence pair = py::reinterpret_borrow<py::sequence>(block);
        user.blk_width = NonNegative(pair[0].cast<int64_t>(), "block width");
        user.blk_height = NonNegative(pair[1].cast<int64_t>(), "block height");
        return;
    }
    throw py::value_error("block must be a size or a (width, height) pair");
}

py::dict RegistersToDict(const kelvo::alad_verification_registrator_& reg) {
    py::dict dict;
    for (const ScalarRegister& r : kScalarRegisters) dict[r.key] = reg.*r.field;
    dict["hist_adjust_curve"] = ToArray(std::vector<uint32_t>(reg.hist_adjust_curve, reg.hist_adjust_curve + ALAD_HIST_ADJUST_CURVE_SIZE));
    dict["agtm"] = ToArray(std::vector<int32_t>(reg.agtm, reg.agtm + ALAD_AGTM_LUT_SIZE));
    return dict;
}

}  // namespace

// Entries of a dict into a register set; the block counts, which the engine derives, are accepted
// (so that what registers() gives can be loaded back) and ignored.
void DictToRegisters(const py::dict& dict, kelvo::alad_verification_registrator_& reg) {
    for (const auto& item : dict) {
        const std::string key = py::str(item.first);
        if (key == "hist_adjust_curve") {
            const auto values = Table<uint32_t>(item.second, ALAD_HIST_ADJUST_CURVE_SIZE, "hist_adjust_curve");
            std::copy(values.begin(), values.end(), reg.hist_adjust_curve);
        } else if (key == "agtm") {
            const auto values = Table<int32_t>(item.second, ALAD_AGTM_LUT_SIZE, "agtm");
            std::copy(values.begin(), values.end(), reg.agtm);
        } else if (key == "blk_h_num" || key == "blk_w_num") {
            continue;
        } else {
            const ScalarRegister* found = nullptr;
            for (const ScalarRegister& r : kScalarRegisters) {
                if (key == r.key) found = &r;
            }
            if (!found) throw py::key_error("unknown register '" + key + "'");
            reg.*(found->field) = Int32(item.second.cast<int64_t>(), found->key);
        }
    }
}

py::dict ReadRegistersDict(const std::string& path) {
    RequireOpenable(path, false);
    Registers registers;
    Require(Call([&] { return ReadRegisterFile(path.c_str(), registers.reg); }), "read_registers");
    return RegistersToDict(registers.reg);
}

void WriteRegistersDict(const std::string& path, const py::dict& dict) {
    Registers registers;
    DictToRegisters(dict, registers.reg);
    RequireOpenable(path, true);
    Require(Call([&] { return WriteRegisterFile(path.c_str(), registers.reg); }), "write_registers");
}

namespace {

class Engine {
public:
    Engine(int64_t width, int64_t height, int64_t order, const py::object& block, int64_t strength, int64_t curve,
           bool filter, double gamma, double white, double black, double backlight, double reflectance,
           double src_lux, double dst_lux) {
        Settings s;
        s.user.width = NonNegative(width, "width");
        s.user.height = NonNegative(height, "height");
        s.user.tm_mode = NonNegative(order, "order");
        SetBlock(s.user, block);
        s.user.strength = Int32(strength, "strength");
        s.user.curve_id = Int32(curve, "curve");
        s.user.filter_flag = filter ? 1 : 0;
        s.display = {gamma, white, black, backlight, reflectance};
        s.view.blackLevelSrc = static_cast<float>(src_lux);
        s.view.blackLevelDst = static_cast<float>(dst_lux);
        ++gEngineGeneration;  // the engine before is replaced even if this one fails
        Require(Call([&] { return kelvo::InitEngineALAD(s.user, s.display, s.view); }), "Engine");
        settings_ = s;
        generation_ = gEngineGeneration;
    }

    py::array Run(const py::object& frame, bool rgb, const py::object& out) {
        Current();
        const cv::Mat src = ViewImage(frame, ImageKind{"frame", {CV_32S, CV_16U}, 3});
        py::array result = out.is_none() ? NewArrayLike(src.rows, src.cols, src.type()) : py::array();
        if (!out.is_none()) {
            const cv::Mat given = ViewImage(out, ImageKind{"out", {src.depth()}, 3}, true);
            if (given.size() != src.size()) throw py::value_error("out must have the frame's shape");
            if (given.data == src.data) throw py::value_error("out must not be the frame itself");
            result = py::reinterpret_borrow<py::array>(out);
        }
        cv::Mat dst(src.rows, src.cols, src.type(), result.mutable_data());
        const int32_t status = Call([&] {
            if (!rgb) return kelvo::RunOneFrameALAD(src, dst);
            // The engine's channel order is B, G, R; the swap costs a copy each way.
            static const int kSwap[] = {0, 2, 1, 1, 2, 0};
            cv::Mat bgr(src.size(), src.type()), bgr_out(src.size(), src.type());
            cv::mixChannels(&src, 1, &bgr, 1, kSwap, 3);
            const int32_t ran = kelvo::RunOneFrameALAD(bgr, bgr_out);
            cv::mixChannels(&bgr_out, 1, &dst, 1, kSwap, 3);
            return ran;
        });
        Require(status, "Engine.run");
        return result;
    }

    void RunArgb(const py::object& buffer) {
        Current();
        cv::Mat argb = ViewImage(buffer, ImageKind{"buffer", {CV_8U}, 4}, true);
        _image image{argb.cols, argb.rows, 4, argb.data};
        Require(Call([&] { return RunOneFrameBufferALADforDriver(&image); }), "Engine.run_argb");
    }

    void UpdateView(const std::optional<double>& src_lux, const std::optional<double>& dst_lux) {
        Current();
        kelvo::alad_view_condition_ view = settings_.view;
        if (src_lux) view.blackLevelSrc = static_cast<float>(*src_lux);
        if (dst_lux) view.blackLevelDst = static_cast<float>(*dst_lux);
        Require(Call([&] { return kelvo::UpdateViewConditionParameter(view); }), "Engine.update_view");
        settings_.view = view;
    }

    void UpdateDisplay(const std::optional<double>& gamma, const std::optional<double>& white,
                       const std::optional<double>& black, const std::optional<double>& backlight,
                       const std::optional<double>& reflectance) {
        Current();
        kelvo::alad_display_model_ display = settings_.display;
        if (gamma) display.gamma = *gamma;
        if (white) display.white = *white;
        if (black) display.black = *black;
        if (backlight) display.backlight = *backlight;
        if (reflectance) display.reflectance = *reflectance;
        Require(Call([&] { return kelvo::UpdateDisplayPanelParameter(display); }), "Engine.update_display");
        settings_.display = display;
    }

    void UpdateCLTM(const std::optional<int64_t>& width, const std::optional<int64_t>& height,
                    const std::optional<int64_t>& order, const py::object& block, const std::optional<int64_t>& strength,
                    const std::optional<int64_t>& curve, const std::optional<bool>& filter) {
        Current();
        kelvo::ad_user_t_ user = settings_.user;
        if (width) user.width = NonNegative(*width, "width");
        if (height) user.height = NonNegative(*height, "height");
        if (order) user.tm_mode = NonNegative(*order, "order");
        if (!block.is_none()) SetBlock(user, block);
        if (strength) user.strength = Int32(*strength, "strength");
        if (curve) user.curve_id = Int32(*curve, "curve");
        if (filter) user.filter_flag = *filter ? 1 : 0;
        Require(Call([&] { return kelvo::UpdateCLTMParameter(user); }), "Engine.update_cltm");
        settings_.user = user;
    }

    void Reset() {
        Current();
        Require(Call([] { return kelvo::ResetEngineALAD(); }), "Engine.reset");
    }

    void LoadRegisters(const py::object& registers) {
        Current();
        Registers set;
        if (py::isinstance<py::dict>(registers)) {
            set.reg = CurrentRegisters();
            std::copy(current_hist_.begin(), current_hist_.end(), set.hist.begin());
            std::copy(current_agtm_.begin(), current_agtm_.end(), set.agtm.begin());
            set.reg.hist_adjust_curve = set.hist.data();
            set.reg.agtm = set.agtm.data();
            DictToRegisters(py::reinterpret_borrow<py::dict>(registers), set.reg);
        } else {
            // As a verification run reads it: a record cleared to zero, filled from the file.
            const std::string path = PathString(registers);
            RequireOpenable(path, false);
            Require(Call([&] { return ReadRegisterFile(path.c_str(), set.reg); }), "Engine.load_registers");
        }
        Require(Call([&] { return kelvo::SettingVerificationRegistrator(set.reg); }), "Engine.load_registers");
    }

    py::dict RegistersDict() {
        Current();
        const kelvo::alad_verification_registrator_ reg = CurrentRegisters();
        py::dict dict = RegistersToDict(reg);
        dict["blk_h_num"] = blk_h_num_;
        dict["blk_w_num"] = blk_w_num_;
        return dict;
    }

    py::dict Debug() {
        Current();
        std::vector<std::vector<uint32_t>> arrays(6);
        cv::Mat images[2];
        Call([&] {
            for (int i = 0; i < 6; ++i) CopyDebugArray(kDebugInfoTypes[i], arrays[i]);
            for (int i = 0; i < 2; ++i) CopyDebugImage(kDebugInfoTypes[6 + i], images[i]);
        });
        py::dict dict;
        for (int i = 0; i < 6; ++i) dict[kDebugInfoTypes[i]] = ToArray(arrays[i]);
        for (int i = 0; i < 2; ++i) {
            if (images[i].empty()) images[i].create(0, 0, CV_32SC3);
            dict[kDebugInfoTypes[6 + i]] = MatToArray(images[i]);
        }
        return dict;
    }

    void Dump(const py::object& folder, const py::object& result) {
        Current();
        const std::filesystem::path dir = PathString(folder);
        cv::Mat image;
        if (!result.is_none()) image = Frame12(result, "result");
        std::vector<std::string> paths;
        for (int i = 0; i < kDebugInfoTypeCount; ++i) paths.push_back((dir / (std::string(kDebugInfoTypes[i]) + ".txt")).string());
        RequireOpenable(paths[0], true);
        int32_t status = Call([&] {
            int32_t worst = 0;
            for (int i = 0; i < kDebugInfoTypeCount; ++i) worst |= WriteDebugDump(paths[i], kDebugInfoTypes[i]);
            if (!image.empty()) worst |= WriteImageDump((dir / "result.txt").string(), image);
            return worst;
        });
        Require(status, "Engine.dump");
    }

    py::dict SettingsDict() const {
        py::dict d;
        d["width"] = settings_.user.width;
        d["height"] = settings_.user.height;
        d["order"] = settings_.user.tm_mode;
        d["block"] = py::make_tuple(settings_.user.blk_width, settings_.user.blk_height);
        d["strength"] = settings_.user.strength;
        d["curve"] = settings_.user.curve_id;
        d["filter"] = settings_.user.filter_flag != 0;
        d["gamma"] = settings_.display.gamma;
        d["white"] = settings_.display.white;
        d["black"] = settings_.display.black;
        d["backlight"] = settings_.display.backlight;
        d["reflectance"] = settings_.display.reflectance;
        d["src_lux"] = settings_.view.blackLevelSrc;
        d["dst_lux"] = settings_.view.blackLevelDst;
        return d;
    }

    std::string Repr() const {
        const Settings& s = settings_;
        char text[400];
        std::snprintf(text, sizeof(text),
                      "alad.Engine(width=%u, height=%u, order=%u, block=(%u, %u), strength=%d, curve=%d, filter=%s, "
                      "gamma=%g, white=%g, black=%g, backlight=%g, reflectance=%g, src_lux=%g, dst_lux=%g)%s",
                      s.user.width, s.user.height, s.user.tm_mode, s.user.blk_width, s.user.blk_height, s.user.strength,
                      s.user.curve_id, s.user.filter_flag ? "True" : "False", s.display.gamma, s.display.white,
                      s.display.black, s.display.backlight, s.display.reflectance, s.view.blackLevelSrc,
                      s.view.blackLevelDst, generation_ == gEngineGeneration ? "" : " (replaced)");
        return text;
    }

private:
    // One engine per process: an Engine made later has replaced this one.
    void Current() const {
        if (generation_ != gEngineGeneration) {
            ThrowEngineError("this Engine has been replaced by a newer one (there is one engine per process)");
        }
    }

    // The engine's register set now; the block counts are kept aside.
    kelvo::alad_verification_registrator_ CurrentRegisters() {
        kelvo::alad_verification_registrator internal;
        internal.hist_adjust_curve = current_hist_.data();
        internal.agtm = current_agtm_.data();
        Require(Call([&] { return kelvo::ALADRegistratorsInfoForDriverDraftEngine(internal); }), "Engine.registers");
        kelvo::alad_verification_registrator_ reg;
        reg.reg_tm_mode = internal.reg_tm_mode;
        reg.width = internal.width;
        reg.height = internal.height;
        reg.reg_blk_width_b = internal.reg_blk_width_b;
        reg.reg_blk_height_b = internal.reg_blk_height_b;
        reg.reg_hist_mode = internal.reg_hist_mode;
        reg.reg_curve_transition = internal.reg_curve_transition;
        reg.reg_linear_adj_offset = internal.reg_linear_adj_offset;
        reg.reg_linear_adj_ratio = internal.reg_linear_adj_ratio;
        reg.reg_strength_mode = internal.reg_strength_mode;
        reg.reg_strength_target = internal.reg_strength_target;
        reg.reg_strength_step = internal.reg_strength_step;
        reg.reg_strength_interval = internal.reg_strength_interval;
        reg.hist_adjust_curve = current_hist_.data();
        reg.agtm = current_agtm_.data();
        blk_h_num_ = internal.reg_blk_h_num;
        blk_w_num_ = internal.reg_blk_w_num;
        return reg;
    }

    Settings settings_;
    uint64_t generation_ = 0;
    std::array<uint32_t, ALAD_HIST_ADJUST_CURVE_SIZE> current_hist_{};
    std::array<int32_t, ALAD_AGTM_LUT_SIZE> current_agtm_{};
    int32_t blk_h_num_ = 0, blk_w_num_ = 0;
};

}  // namespace

void BindEngine(py::module_& m) {
    using namespace pybind11::literals;
    const kelvo::ad_user_t_ u;
    const kelvo::alad_display_model_ d;
    const kelvo::alad_view_condition_ v;
    py::class_<Engine>(m, "Engine", R"doc(The ALAD engine: AGTM and CLTM on 12-bit frames, one frame at a time.

There is one engine per process, as in C++: making an Engine replaces the engine made before, and
the older Engine object then refuses every call (EngineError). Calls release the GIL and are
serialised with every other call into the library; frames are processed on the calling thread
(see alad.set_threads for sharing a frame's rows among threads).

The keyword arguments are the engine's records, with their defaults:

* CLTM settings, frame size and order: width, height (the frame size the CLTM buffers are made
  for), order (1 CLTM then AGTM, 2 AGTM then CLTM, 3 CLTM only, 4 AGTM only; others copy),
  block (CLTM block size, one number or (width, height), rounded up to 64, 128 or 256),
  strength (0..16), curve (histogram clip curve 0..2), filter (CLTM detail filter);
* display panel: gamma, white and black (cd/m2), backlight, reflectance;
* viewing condition: src_lux (the ambient light pictures are made for) and dst_lux (the ambient
  light now).

The CLTM stage passes the first frame of a sequence through and maps every later frame with the
curves of the frame before; reset() starts a new sequence.

Example::

    engine = alad.Engine(width=1080, height=2400, order=1, src_lux=300, dst_lux=20000)
    out = engine.run(frame)            # (2400, 1080, 3) int32 or uint16, B, G, R, 12-bit
    engine.update_view(dst_lux=5000)   # the light changed: new AGTM table, CLTM state kept
)doc")
        .def(py::init<int64_t, int64_t, int64_t, py::object, int64_t, int64_t, bool, double, double, double, double,
                      double, double, double>(),
             py::kw_only(), "width"_a = u.width, "height"_a = u.height, "order"_a = u.tm_mode, "block"_a = u.blk_width,
             "strength"_a = u.strength, "curve"_a = u.curve_id, "filter"_a = false, "gamma"_a = d.gamma,
             "white"_a = d.white, "black"_a = d.black, "backlight"_a = d.backlight, "reflectance"_a = d.reflectance,
             "src_lux"_a = v.blackLevelSrc, "dst_lux"_a = v.blackLevelDst,
             "Starts the process-wide engine with these records (replacing any engine before).")
        .def("run", &Engine::Run, "frame"_a, py::kw_only(), "rgb"_a = false, "out"_a = py::none(),
             R"doc(Runs one frame through the engine and returns the result.

frame: (H, W, 3) int32 or uint16 array of 12-bit values, channels B, G, R (R, G, B with
rgb=True), C-contiguous; an int32 frame is read in place (no copy). The result has the frame's
shape and dtype; it is written into `out` when given (an array of that shape and dtype), so that a
stream of frames needs no new array per frame. Raises EngineError when the engine refuses the frame.)doc")
        .def("run_argb", &Engine::RunArgb, "buffer"_a,
             R"doc(The display driver's path: runs an 8-bit ARGB frame buffer in place.

buffer: (H, W, 4) uint8 array, each pixel's bytes A, R, G, B, C-contiguous and writeable. The
colour is widened to 12 bits, run through the engine and narrowed back (rounded); the alpha bytes
are kept.)doc")
        .def("update_view", &Engine::UpdateView, py::kw_only(), "src_lux"_a = py::none(), "dst_lux"_a = py::none(),
             "New ambient light (lux; arguments not given keep their values): regenerates the AGTM table, keeps the "
             "CLTM state.")
        .def("update_display", &Engine::UpdateDisplay, py::kw_only(), "gamma"_a = py::none(), "white"_a = py::none(),
             "black"_a = py::none(), "backlight"_a = py::none(), "reflectance"_a = py::none(),
             "New display panel (arguments not given keep their values): regenerates the AGTM table. The panel keeps "
             "the effective black levels of its last viewing condition: a new black level or reflectance takes effect "
             "with the next update_view (update_view() with no arguments re-applies the current light).")
        .def("update_cltm", &Engine::UpdateCLTM, py::kw_only(), "width"_a = py::none(), "height"_a = py::none(),
             "order"_a = py::none(), "block"_a = py::none(), "strength"_a = py::none(), "curve"_a = py::none(),
             "filter"_a = py::none(),
             "New CLTM settings, frame size or order (arguments not given keep their values); re-derives the CLTM "
             "parameters, overwriting registers loaded before.")
        .def("reset", &Engine::Reset, "Starts a new sequence: the next frame is treated as the first.")
        .def("load_registers", &Engine::LoadRegisters, "registers"_a,
             R"doc(Programs the engine with a hardware register set.

registers: a dict as registers() returns it (entries not given keep the engine's current values;
the block counts blk_h_num and blk_w_num are derived by the engine and ignored here), or the path
of a register file, read as a verification run reads it (registers the file does not set are 0).
Raises OSError for a file that cannot be read, ValueError for one that does not convert, KeyError
for an unknown register name.)doc")
        .def("registers", &Engine::RegistersDict,
             R"doc(The engine's current register set as a dict: the thirteen registers under their register-file
keys (tm_mode, width, height, blk_width_b, ...), the block counts blk_h_num and blk_w_num, and
the tables hist_adjust_curve (65 uint32) and agtm (256 int32, 2048 = gain 1.0).)doc")
        .def("debug", &Engine::Debug,
             R"doc(The intermediate results of the last frame, as the verification dumps write them.

A dict of NumPy arrays under the dump names: 'hist' (128 values per block), 'foreward_curve' and
'backward_curve' (rows of 128), 'curve', 'smooth_curve' and 'trans_curve' (64 per block),
uint32, one value per dump line; and the stage outputs 'agtm_result' and 'cltm_result', (H, W, 3)
int32 B, G, R (shape (0, 0, 3) for a stage that has not run). Copies: later frames do not change them.)doc")
        .def("dump", &Engine::Dump, "folder"_a, "result"_a = py::none(),
             "Writes the eight debug dumps of the last frame into folder (<type>.txt, as 'alad verify' does) and, "
             "when given, the result frame as result.txt.")
        .def_property_readonly("settings", &Engine::SettingsDict,
                               "The records the engine was started or last updated with, as a dict of the "
                               "constructor's keywords.")
        .def("__repr__", &Engine::Repr);

    m.def("read_registers", [](const py::object& path) { return ReadRegistersDict(PathString(path)); }, "path"_a,
          R"doc(Reads a register file into a dict (the keys of Engine.registers(), without the block counts).
Registers and table entries the file does not set are 0. OSError when it cannot be read,
ValueError when a number does not convert.)doc");
    m.def("write_registers",
          [](const py::object& path, const py::dict& registers) { WriteRegistersDict(PathString(path), registers); },
          "path"_a, "registers"_a,
          R"doc(Writes a register file that read_registers (and the engine's harness) reads back into the same
registers: the thirteen registers and every entry of both tables. Entries missing from the dict are 0.)doc");
}

}  // namespace alad_python
