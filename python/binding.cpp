// The module's plumbing: the log sink, the lock around the library, errors and array views.
#include "binding.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <limits>

#include <alad/alad_engine.h>

namespace alad_python {

namespace {

std::mutex gLinesMutex;
std::vector<LogLine> gLines;       // logged and not yet forwarded
std::vector<LogLine> gLastLines;   // the last call's, read with the GIL held
py::handle gEngineError;

// The library's sink: called on whichever thread logs, with or without the GIL, so it only keeps
// the line; Call() forwards it once the GIL is back.
void KeepLine(void*, int level, const char* line) {
    std::lock_guard<std::mutex> lock(gLinesMutex);
    gLines.push_back(LogLine{level, line ? line : ""});
}

const char* DtypeName(int depth) {
    switch (depth) {
        case CV_8U: return "uint8";
        case CV_8S: return "int8";
        case CV_16U: return "uint16";
        case CV_16S: return "int16";
        case CV_32S: return "int32";
        case CV_32F: return "float32";
        case CV_64F: return "float64";
        default: return "?";
    }
}

py::dtype DtypeOf(int depth) {
    switch (depth) {
        case CV_8U: return py::dtype::of<uint8_t>();
        case CV_8S: return py::dtype::of<int8_t>();
        case CV_16U: return py::dtype::of<uint16_t>();
        case CV_16S: return py::dtype::of<int16_t>();
        case CV_32S: return py::dtype::of<int32_t>();
        case CV_32F: return py::dtype::of<float>();
        default: return py::dtype::of<double>();
    }
}

// The OpenCV depth of a native-order NumPy dtype, or -1.
int DepthOf(const py::array& array) {
    const py::dtype dtype = array.dtype();
    if (!dtype.attr("isnative").cast<bool>()) return -1;
    const char kind = dtype.kind();
    const py::ssize_t size = dtype.itemsize();
    if (kind == 'u' && size == 1) return CV_8U;
    if (kind == 'i' && size == 1) return CV_8S;
    if (kind == 'u' && size == 2) return CV_16U;
    if (kind == 'i' && size == 2) return CV_16S;
    if (kind == 'i' && size == 4) return CV_32S;
    if (kind == 'f' && size == 4) return CV_32F;
    if (kind == 'f' && size == 8) return CV_64F;
    return -1;
}

std::string ShapeText(const py::array& array) {
    return py::str(array.attr("shape")).cast<std::string>();
}

std::vector<py::ssize_t> ShapeOf(int rows, int cols, int channels) {
    if (channels == 1) return {rows, cols};
    return {rows, cols, channels};
}

}  // namespace

void InstallLogging(py::module_& module) {
    kelvo::SetEngineLogSink(KeepLine, nullptr);
    // At exit the console comes back, so that nothing the library logs from then on (while the
    // interpreter goes away) reaches a sink whose lines would never be forwarded.
    py::module_::import("atexit").attr("register")(py::cpp_function([] {
        {
            py::gil_scoped_release release;
            std::lock_guard<std::mutex> lock(LibraryMutex());
            kelvo::SetEngineLogSink(nullptr, nullptr);
        }
        ForwardLines(TakeLines());
    }));
    static py::exception<std::runtime_error> engine_error(module, "EngineError", PyExc_RuntimeError);
    engine_error.doc() =
        "The library refused a call (its entry point returned -1); the message is the last warning or "
        "error it logged during the call.";
    gEngineError = engine_error;
}

std::vector<LogLine> TakeLines() {
    std::lock_guard<std::mutex> lock(gLinesMutex);
    std::vector<LogLine> lines;
    lines.swap(gLines);
    return lines;
}

void ForwardLines(const std::vector<LogLine>& lines) {
    if (lines.empty()) return;
    // Kept for the life of the process: never released after the interpreter has gone.
    static py::object* logger = new py::object(py::module_::import("logging").attr("getLogger")("alad"));
    for (const LogLine& line : lines) {
        const int level = line.level >= 2 ? 40 : line.level == 1 ? 30 : 20;  // ERROR, WARNING, INFO
        if (!logger->attr("isEnabledFor")(level).cast<bool>()) continue;
        // A line may hold a file name that is not UTF-8.
        py::object text = py::reinterpret_steal<py::object>(
            PyUnicode_DecodeUTF8(line.text.data(), static_cast<py::ssize_t>(line.text.size()), "replace"));
        if (!text) throw py::error_already_set();
        logger->attr("log")(level, text);
    }
}

const std::vector<LogLine>& LastCallLines() { return gLastLines; }
void SetLastCallLines(std::vector<LogLine> lines) { gLastLines = std::move(lines); }

std::mutex& LibraryMutex() {
    static std::mutex mutex;
    return mutex;
}

void ThrowEngineError(const std::string& what) {
    PyErr_SetString(gEngineError.ptr(), what.c_str());
    throw py::error_already_set();
}

std::string Problem(const char* what) {
    const std::vector<LogLine>& lines = LastCallLines();
    std::string message;
    for (auto line = lines.rbegin(); line != lines.rend() && message.empty(); ++line) {
        if (line->level >= 1) message = line->text;
    }
    if (message.empty() && !lines.empty()) message = lines.back().text;
    if (message.empty()) message = "refused";
    return std::string(what) + ": " + message;
}

void Require(int32_t status, const char* what) {
    if (status != 0) ThrowEngineError(Problem(what));
}

void RequireOpenable(const std::string& path, bool for_writing) {
    std::error_code ignored;
    errno = 0;
    if (std::filesystem::is_directory(path, ignored)) {
        errno = EISDIR;
    } else if (std::FILE* file = std::fopen(path.c_str(), for_writing ? "a" : "r")) {
        std::fclose(file);
        return;
    }
    if (errno == 0) errno = EIO;
    PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
    throw py::error_already_set();
}

cv::Mat ViewImage(const py::handle& object, const ImageKind& kind, bool writeable) {
    if (!py::isinstance<py::array>(object)) {
        throw py::type_error(std::string(kind.name) + " must be a NumPy array, not " +
                             std::string(py::str(object.get_type().attr("__name__"))));
    }
    const py::array array = py::reinterpret_borrow<py::array>(object);
    std::string wanted;
    for (int depth : kind.depths) wanted += (wanted.empty() ? "" : " or ") + std::string(DtypeName(depth));
    const std::string shape = kind.channels ? "(H, W, " + std::to_string(kind.channels) + ")" : "(H, W)";
    const int depth = DepthOf(array);
    if (std::find(kind.depths.begin(), kind.depths.end(), depth) == kind.depths.end()) {
        throw py::value_error(std::string(kind.name) + " must be " + wanted + ", not " +
                              std::string(py::str(array.dtype())));
    }
    const py::ssize_t ndim = kind.channels ? 3 : 2;
    if (array.ndim() != ndim || (kind.channels && array.shape(2) != kind.channels)) {
        throw py::value_error(std::string(kind.name) + " must have the shape " + shape + ", not " + ShapeText(array));
    }
    if (array.shape(0) < 1 || array.shape(1) < 1 || array.shape(0) > INT_MAX || array.shape(1) > INT_MAX) {
        throw py::value_error(std::string(kind.name) + " has no pixels (or too many): shape " + ShapeText(array));
    }
    if (!(array.flags() & py::array::c_style)) {
        throw py::value_error(std::string(kind.name) +
                              " must be C-contiguous (rows of pixels one after the other, as "
                              "numpy.ascontiguousarray makes it)");
    }
    if (writeable && !array.writeable()) throw py::value_error(std::string(kind.name) + " must be writeable");
    return cv::Mat(static_cast<int>(array.shape(0)), static_cast<int>(array.shape(1)),
                   CV_MAKETYPE(depth, kind.channels ? kind.channels : 1), const_cast<void*>(array.data()));
}

cv::Mat Frame12(const py::handle& object, const char* name) {
    cv::Mat frame = ViewImage(object, ImageKind{name, {CV_32S, CV_16U}, 3});
    if (frame.depth() == CV_32S) return frame;
    cv::Mat wide;
    frame.convertTo(wide, CV_32S);
    return wide;
}

py::array NewArrayLike(int rows, int cols, int type) {
    return py::array(DtypeOf(CV_MAT_DEPTH(type)), ShapeOf(rows, cols, CV_MAT_CN(type)));
}

py::array MatToArray(cv::Mat mat) {
    if (mat.empty()) return py::array(DtypeOf(mat.depth()), ShapeOf(0, 0, mat.channels() == 1 ? 1 : mat.channels()));
    if (!mat.isContinuous()) mat = mat.clone();
    auto* owner = new cv::Mat(mat);
    py::capsule keep(owner, [](void* p) { delete static_cast<cv::Mat*>(p); });
    const std::vector<py::ssize_t> shape = ShapeOf(mat.rows, mat.cols, mat.channels());
    const py::ssize_t element = static_cast<py::ssize_t>(mat.elemSize1());
    std::vector<py::ssize_t> strides = {static_cast<py::ssize_t>(mat.step[0]), static_cast<py::ssize_t>(mat.elemSize())};
    if (shape.size() == 3) strides.push_back(element);
    return py::array(DtypeOf(mat.depth()), shape, strides, owner->data, keep);
}

template <typename T>
std::vector<T> Table(const py::handle& object, size_t size, const char* name) {
    const py::array array = py::module_::import("numpy").attr("asarray")(object);
    const char kind = array.dtype().kind();
    const bool integral = std::numeric_limits<T>::is_integer;
    if (array.ndim() != 1 || static_cast<size_t>(array.shape(0)) != size ||
        !(kind == 'i' || kind == 'u' || kind == 'b' || (!integral && kind == 'f'))) {
        throw py::value_error(std::string(name) + " must be " + std::to_string(size) + (integral ? " integers" : " numbers") +
                              ", not an array of shape " + ShapeText(array) + " and dtype " +
                              std::string(py::str(array.dtype())));
    }
    std::vector<T> values(size);
    if constexpr (integral) {
        const auto wide = py::array_t<int64_t, py::array::forcecast>::ensure(array);
        if (!wide) throw py::error_already_set();
        for (size_t i = 0; i < size; ++i) {
            const int64_t v = wide.at(static_cast<py::ssize_t>(i));
            if (v < static_cast<int64_t>(std::numeric_limits<T>::min()) ||
                v > static_cast<int64_t>(std::numeric_limits<T>::max())) {
                throw py::value_error(std::string(name) + "[" + std::to_string(i) + "] = " + std::to_string(v) +
                                      " is out of range");
            }
            values[i] = static_cast<T>(v);
        }
    } else {
        const auto wide = py::array_t<double, py::array::forcecast>::ensure(array);
        if (!wide) throw py::error_already_set();
        for (size_t i = 0; i < size; ++i) values[i] = static_cast<T>(wide.at(static_cast<py::ssize_t>(i)));
    }
    return values;
}

template std::vector<int32_t> Table<int32_t>(const py::handle&, size_t, const char*);
template std::vector<uint32_t> Table<uint32_t>(const py::handle&, size_t, const char*);
template std::vector<double> Table<double>(const py::handle&, size_t, const char*);

std::string PathString(const py::handle& path) {
    const py::object text = py::module_::import("os").attr("fsdecode")(path);
    return text.cast<std::string>();
}

}  // namespace alad_python
