// The harness's files: pixel files (plain and packed), 10-bit YUV frames and the dumps.
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <alad/alad_verify.h>

#include "binding.h"

namespace alad_python {

namespace {

using namespace pybind11::literals;

void RequireSize(int width, int height) {
    if (width < 1 || height < 1) {
        throw py::value_error("width and height must be at least 1, not " + std::to_string(width) + "x" +
                              std::to_string(height));
    }
}

// An array dump: one hexadecimal value (at most 32 bits) per line.
std::vector<uint32_t> ReadArrayDump(const std::string& path) {
    RequireOpenable(path, false);
    std::ifstream file(path);
    std::vector<uint32_t> values;
    std::string line;
    for (size_t number = 1; std::getline(file, line); ++number) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const bool hex = !line.empty() && line.size() <= 8 &&
                         line.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
        if (!hex) {
            throw py::value_error("dump '" + path + "', line " + std::to_string(number) + ": '" + line.substr(0, 40) +
                                  "' is not a hexadecimal value of at most 8 digits");
        }
        values.push_back(static_cast<uint32_t>(std::stoul(line, nullptr, 16)));
    }
    return values;
}

cv::Mat ReadPixels(const std::string& path, int width, int height, bool packed, const char* what) {
    RequireSize(width, height);
    RequireOpenable(path, false);
    cv::Mat image;
    const int32_t status = Call([&] {
        return packed ? parseImageFromFileCmodel(path, width, height, image)
                      : parseImageFromFile(path, width, height, image);
    });
    // A file that does not hold the frame is a problem of the value given, not of the engine.
    if (status != 0) throw py::value_error(Problem(what));
    return image;
}

}  // namespace

void BindFiles(py::module_& m) {
    m.def(
        "read_pixels",
        [](const py::object& path, int width, int height, bool packed) {
            return MatToArray(ReadPixels(PathString(path), width, height, packed, "read_pixels"));
        },
        "path"_a, "width"_a, "height"_a, py::kw_only(), "packed"_a = true,
        R"doc(Reads a test vector: one pixel per line, rows top to bottom, as RRRGGGBBB in one hexadecimal
number (packed, what the dumps and write_pixels write) or as three hexadecimal numbers R G B
(packed=False). Returns int32 (height, width, 3), B, G, R. OSError when the file cannot be read,
ValueError when it does not hold width x height pixels.)doc");
    m.def(
        "write_pixels",
        [](const py::object& path, const py::object& image) {
            const std::string name = PathString(path);
            const cv::Mat frame = Frame12(image, "image");
            RequireOpenable(name, true);
            Require(Call([&] { return WriteImageDump(name, frame); }), "write_pixels");
        },
        "path"_a, "image"_a,
        "Writes a (H, W, 3) B, G, R image (int32 or uint16) as a packed pixel file, one RRRGGGBBB line per pixel.");
    m.def(
        "read_yuv10",
        [](const py::object& path, int width, int height) {
            const std::string name = PathString(path);
            RequireSize(width, height);
            RequireOpenable(name, false);
            cv::Mat image;
            Call([&] { yuv10BitLE2BGR(name, width, height, image); });
            if (image.empty()) throw py::value_error("read_yuv10: '" + name + "' does not hold a " + std::to_string(width) + "x" + std::to_string(height) + " frame");
            return MatToArray(image);
        },
        "path"_a, "width"_a, "height"_a,
        R"doc(Reads a planar 10-bit little-endian YUV 4:2:0 frame as int32 (height, width, 3) 10-bit B, G, R
(widen10 makes it 12-bit).)doc");
    m.def(
        "read_dump", [](const py::object& path) { return ToArray(ReadArrayDump(PathString(path))); }, "path"_a,
        "Reads an array dump (histogram or curve: one hexadecimal value per line) as uint32.");
    m.def(
        "read_dumps",
        [](const py::object& folder, int width, int height) {
            const std::filesystem::path dir = PathString(folder);
            py::dict dumps;
            for (int i = 0; i < kDebugInfoTypeCount + 1; ++i) {
                const std::string type = i < kDebugInfoTypeCount ? kDebugInfoTypes[i] : "result";
                const std::string path = (dir / (type + ".txt")).string();
                if (i < 6) {
                    dumps[type.c_str()] = ToArray(ReadArrayDump(path));
                    continue;
                }
                RequireOpenable(path, false);
                std::error_code ignored;
                if (std::filesystem::file_size(path, ignored) == 0) {
                    dumps[type.c_str()] = MatToArray(cv::Mat(0, 0, CV_32SC3));
                } else {
                    dumps[type.c_str()] = MatToArray(ReadPixels(path, width, height, true, "read_dumps"));
                }
            }
            return dumps;
        },
        "folder"_a, "width"_a, "height"_a,
        R"doc(Reads the dumps of one verification frame (a frame-NNN folder of 'alad verify', or what
Engine.dump wrote): a dict shaped like Engine.debug(), plus 'result' (the frame's result); images
of width x height, an empty dump gives shape (0, 0, 3).)doc");
}

}  // namespace alad_python
