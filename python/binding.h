// Shared pieces of the Python module: every library call goes through Call(), which releases the
// GIL, serialises the call with every other one (the engine and its debug store are process-wide
// and unguarded), collects the lines the library logs meanwhile and hands them to Python's logging
// (logger "alad") once the GIL is back; arrays are viewed as OpenCV matrices without copies.
#ifndef ALAD_PYTHON_BINDING_H
#define ALAD_PYTHON_BINDING_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <exception>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <opencv2/core.hpp>

namespace alad_python {

namespace py = pybind11;

// One line of the library's log: level 0 information, 1 warning, 2 error.
struct LogLine {
    int level;
    std::string text;
};

// Installs the log sink and the exit hook that gives the console back; called once at import.
void InstallLogging(py::module_& module);
// The lines logged since the last call (taken away).
std::vector<LogLine> TakeLines();
// Hands lines to logging.getLogger("alad"), levels INFO, WARNING and ERROR. Needs the GIL.
void ForwardLines(const std::vector<LogLine>& lines);
// The lines of the last Call(), kept for its error message.
const std::vector<LogLine>& LastCallLines();
void SetLastCallLines(std::vector<LogLine> lines);
std::mutex& LibraryMutex();

// alad.EngineError: a call the library refused (it returned -1).
[[noreturn]] void ThrowEngineError(const std::string& what);
// "<what>: <the last warning or error the last call logged>" (its last line when it logged neither).
std::string Problem(const char* what);
// Raises EngineError with Problem(what) unless status is 0.
void Require(int32_t status, const char* what);
// Raises the OSError (FileNotFoundError, PermissionError, ...) of opening `path` for reading or
// writing unless that works; the library's own readers only say that they failed.
void RequireOpenable(const std::string& path, bool for_writing);

// Runs `body` without the GIL and with the library to itself; its log lines reach Python's logging
// afterwards. C++ exceptions out of the body are raised in Python once the GIL is back.
template <typename Body>
auto Call(Body&& body) -> decltype(body()) {
    using Result = decltype(body());
    std::exception_ptr error;
    std::vector<LogLine> lines;
    [[maybe_unused]] std::conditional_t<std::is_void_v<Result>, int, Result> result{};
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> lock(LibraryMutex());
        try {
            if constexpr (std::is_void_v<Result>) {
                body();
            } else {
                result = body();
            }
        } catch (...) {
            error = std::current_exception();
        }
        lines = TakeLines();
    }
    ForwardLines(lines);
    SetLastCallLines(std::move(lines));
    if (error) std::rethrow_exception(error);
    if constexpr (!std::is_void_v<Result>) return result;
}

// ---- arrays ----

// What an image argument may be: element types and the number of channels (0: a 2-D array).
struct ImageKind {
    const char* name;           // the argument's name in messages
    std::vector<int> depths;    // CV_8U, CV_16U, CV_32S, CV_64F, ... accepted, the first preferred
    int channels;               // 3 or 4 for (H, W, C), 0 for (H, W)
};

// The array as a matrix over its own memory. Raises TypeError for a non-array, ValueError for a
// wrong dtype, shape or layout (the array must be C-contiguous, non-empty).
cv::Mat ViewImage(const py::handle& object, const ImageKind& kind, bool writeable = false);
// The same, for a 12-bit frame: int32 viewed as it is, uint16 converted into a new CV_32SC3.
cv::Mat Frame12(const py::handle& object, const char* name);
// A new, uninitialised array of the matrix's shape and type.
py::array NewArrayLike(int rows, int cols, int type);
// The matrix as an array that shares its memory and keeps it alive (no copy). An empty matrix gives
// an array of shape (0, 0) or (0, 0, C).
py::array MatToArray(cv::Mat mat);
// A 1-D array-like of exactly `size` numbers, converted to T (ValueError otherwise).
template <typename T>
std::vector<T> Table(const py::handle& object, size_t size, const char* name);
// 1-D copies.
template <typename T>
py::array_t<T> ToArray(const std::vector<T>& values) {
    py::array_t<T> array(static_cast<py::ssize_t>(values.size()));
    std::copy(values.begin(), values.end(), array.mutable_data());
    return array;
}

// os.fspath(path) as a string (TypeError for anything that is not a path).
std::string PathString(const py::handle& path);

void BindEngine(py::module_& module);
void BindOffline(py::module_& module);
void BindFiles(py::module_& module);
void BindChecks(py::module_& module);

}  // namespace alad_python

#endif  // ALAD_PYTHON_BINDING_H
