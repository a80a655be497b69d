#include "tools/verify_run.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "alad/alad_engine.h"
#include "alad/alad_verify.h"
#include "alad/alad_version.h"
#include "tools/file_checks.h"
#include "tools/json.h"
#include "tools/sha256.h"
#include "tools/tool_common.h"
#include "verify/file_check.h"
#include "verify/readers.h"

namespace alad_tool {

namespace fs = std::filesystem;

std::string FrameFolderName(int frame) {
    char name[32];
    std::snprintf(name, sizeof(name), "frame-%03d", frame);
    return name;
}

namespace {

// While it lives, the engine's lines are shown as `filter` says and its warnings and errors are
// also kept: they are the reason a frame failed.
class KeptEngineProblems {
public:
    explicit KeptEngineProblems(EngineLineFilter filter) : filter_(filter) { kelvo::SetEngineLogSink(Sink, this); }
    ~KeptEngineProblems() { kelvo::SetEngineLogSink(nullptr, nullptr); }
    KeptEngineProblems(const KeptEngineProblems&) = delete;
    KeptEngineProblems& operator=(const KeptEngineProblems&) = delete;
    const std::vector<std::string>& Lines() const { return lines_; }

private:
    static void Sink(void* user, int level, const char* line) {
        KeptEngineProblems& self = *static_cast<KeptEngineProblems*>(user);
        if (level > 0) self.lines_.push_back(line);
        // As EngineLines shows them: under -q only the errors of the problems.
        const int shown_from = CurrentVerbosity() == Verbosity::kQuiet ? 2 : 1;
        const bool show =
            self.filter_ == EngineLineFilter::kAll || (self.filter_ == EngineLineFilter::kProblems && level >= shown_from);
        if (!show) return;
        std::FILE* stream = level > 0 ? stderr : stdout;
        std::fprintf(stream, "%s\n", line);
        std::fflush(stream);
    }
    EngineLineFilter filter_;
    std::vector<std::string> lines_;
};

// What a run leaves in its folder: run.json and frame folders (with their staging names).
bool IsRunEntry(const fs::directory_entry& entry) {
    const std::string name = entry.path().filename().string();
    if (name == "run.json") return entry.is_regular_file();
    return name.rfind("frame-", 0) == 0 && entry.is_directory();
}

void PrepareOutputFolder(const fs::path& out, bool force) {
    std::error_code error;
    if (fs::exists(out, error)) {
        if (!fs::is_directory(out, error)) throw RunError("output folder '" + out.string() + "' is not a folder");
        std::vector<fs::directory_entry> entries;
        for (const fs::directory_entry& entry : fs::directory_iterator(out, error)) entries.push_back(entry);
        if (error) throw RunError("cannot list '" + out.string() + "': " + error.message());
        if (!entries.empty() && !force) {
            throw RunError("output folder '" + out.string() +
                           "' is not empty (an earlier run?); --force empties it first");
        }
        // Only what a run leaves is removed: a folder given by mistake stays as it is.
        for (const fs::directory_entry& entry : entries) {
            if (!IsRunEntry(entry)) {
                throw RunError("output folder '" + out.string() + "' holds '" + entry.path().filename().string() +
                               "', which no run writes; not emptied");
            }
        }
        for (const fs::directory_entry& entry : entries) {
            fs::remove_all(entry.path(), error);
            if (error) throw RunError("cannot remove '" + entry.path().string() + "': " + error.message());
        }
    }
    fs::create_directories(out, error);
    if (error) throw RunError("cannot create folder '" + out.string() + "': " + error.message());
}

struct FrameRecord {
    std::string pixel_file, sha256;
    std::string status = "pending";  // then "ok" or "failed"
    std::string reason;
    std::vector<std::string> files;  // inside the output folder
};

struct RunRecord {
    std::vector<std::string> command;
    std::string register_file, register_sha256;
    int width = 0, height = 0, order = 0;
    int64_t check_errors = 0, check_warnings = 0;
    std::vector<FrameRecord> frames;
    bool finished = false;
};

void FileEntry(JsonWriter& json, const std::string& path, const std::string& sha256) {
    json.BeginObject().Member("path", path).Key("sha256");
    if (sha256.empty()) {
        json.Null();
    } else {
        json.Value(sha256);
    }
    json.EndObject();
}

// Written before the first frame and again after each, so that a run that was stopped shows as
// unfinished.
void WriteRunRecord(const fs::path& out, const RunRecord& run) {
    JsonWriter json;
    json.BeginObject().Member("tool", "alad verify").Member("version", kelvo::ALADVersion());
    json.Member("command", run.command).Key("register_file");
    FileEntry(json, run.register_file, run.register_sha256);
    json.Key("frame_size").BeginObject().Member("width", run.width).Member("height", run.height).EndObject();
    json.Member("order", run.order);
    json.Key("checks").BeginObject().Member("errors", static_cast<long long>(run.check_errors));
    json.Member("warnings", static_cast<long long>(run.check_warnings)).EndObject();
    int failed = 0;
    json.Key("frames").BeginArray();
    for (size_t f = 0; f < run.frames.size(); ++f) {
        const FrameRecord& frame = run.frames[f];
        failed += frame.status == "failed";
        json.BeginObject().Member("frame", static_cast<long long>(f)).Key("pixel_file");
        FileEntry(json, frame.pixel_file, frame.sha256);
        json.Member("status", frame.status);
        if (!frame.reason.empty()) json.Member("reason", frame.reason);
        json.Member("files", frame.files).EndObject();
    }
    json.EndArray();
    json.Member("status", !run.finished ? "unfinished" : failed > 0 ? "failed" : "ok").EndObject();
    const fs::path path = out / "run.json";
    std::ofstream file(path);
    file << json.Text();
    file.close();
    if (!file) throw RunError("cannot write '" + path.string() + "'");
}

std::vector<std::string> FilesIn(const fs::path& out, const fs::path& folder) {
    std::vector<std::string> files;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        files.push_back(entry.path().lexically_relative(out).generic_string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += (text.empty() ? "" : "\n") + line;
    return text;
}

// Checks the input files; under `strict` errors refuse the run. Returns the check's counts.
void CheckInputs(const VerifyRequest& request, int width, int height, RunRecord* run) {
    std::vector<alad::CheckReport> reports;
    reports.push_back(alad::CheckRegisterFile(request.register_file));
    if (alad::IsUsablePictureSize(width, height)) {
        for (const std::string& pixels : request.pixel_files) reports.push_back(alad::CheckPixelFile(pixels, width, height));
    }
    for (const alad::CheckReport& report : reports) {
        PrintProblems(report, !request.strict, stderr);
        run->check_errors += report.errors;
        run->check_warnings += report.warnings;
    }
    if (request.strict && run->check_errors > 0) {
        throw RunError(std::to_string(run->check_errors) + " error" + (run->check_errors == 1 ? "" : "s") +
                       " in the input files; nothing run (--strict)");
    }
}

}  // namespace

VerifyResult RunVerification(const VerifyRequest& request) {
    RunRecord run;
    run.command = request.command;
    run.register_file = request.register_file;

    // The register file as the run will read it.
    std::vector<uint32_t> curve(ALAD_HIST_ADJUST_CURVE_SIZE);
    std::vector<int32_t> table(ALAD_AGTM_LUT_SIZE);
    kelvo::alad_verification_registrator_ regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    int32_t readable = 0;
    std::string read_error;
    try {
        EngineLines quiet(EngineLineFilter::kNone);
        readable = ReadRegisterFile(request.register_file.c_str(), regs);
    } catch (const RegisterFileError& e) {
        read_error = e.message();
    }
    CheckInputs(request, regs.width, regs.height, &run);
    if (!read_error.empty()) throw RunError(read_error);
    if (readable != 0) throw RunError("cannot read register file '" + request.register_file + "'");
    if (!alad::IsUsablePictureSize(regs.width, regs.height)) {
        throw RunError("register file '" + request.register_file + "' sets the frame size " +
                       std::to_string(regs.width) + "x" + std::to_string(regs.height) + ", which cannot be run");
    }
    run.width = regs.width;
    run.height = regs.height;
    run.order = regs.reg_tm_mode;
    Sha256OfFile(request.register_file, &run.register_sha256);
    for (const std::string& pixels : request.pixel_files) {
        FrameRecord frame;
        frame.pixel_file = pixels;
        Sha256OfFile(pixels, &frame.sha256);
        run.frames.push_back(frame);
    }

    PrepareOutputFolder(request.out_dir, request.force);
    WriteRunRecord(request.out_dir, run);
    {
        EngineLines lines(VerboseOr(request.verbose));
        if (VerifyInitEngineALAD() != 0) throw RunError("the engine could not be started");
    }

    VerifyResult result;
    result.frames = static_cast<int>(run.frames.size());
    result.width = run.width;
    result.height = run.height;
    result.order = run.order;
    for (int f = 0; f < result.frames; ++f) {
        FrameRecord& frame = run.frames[static_cast<size_t>(f)];
        const std::string name = FrameFolderName(f);
        const fs::path folder = request.out_dir / name, staging = request.out_dir / (name + ".partial");
        std::error_code error;
        fs::create_directories(staging, error);
        if (error) throw RunError("cannot create folder '" + staging.string() + "': " + error.message());

        int32_t status;
        std::vector<std::string> problems;
        {
            EngineLines restore(VerboseOr(request.verbose));
            KeptEngineProblems kept(VerboseOr(request.verbose));
            status = VerifyRunOneFrameALAD(request.register_file.c_str(), frame.pixel_file.c_str(), staging.c_str(),
                                           nullptr, 0);
            problems = kept.Lines();
        }
        if (status == 0) {
            fs::rename(staging, folder, error);
            if (error) throw RunError("cannot rename '" + staging.string() + "': " + error.message());
            frame.status = "ok";
        } else {
            // A failed frame keeps no dumps: only the reason.
            fs::remove_all(staging, error);
            fs::create_directories(folder, error);
            if (error) throw RunError("cannot create folder '" + folder.string() + "': " + error.message());
            frame.status = "failed";
            frame.reason = problems.empty() ? "the engine failed without saying why" : Joined(problems);
            std::ofstream failed(folder / "FAILED");
            failed << name << " failed (" << frame.pixel_file << "); its dumps were not kept:\n" << frame.reason << "\n";
            failed.close();
            if (!failed) throw RunError("cannot write '" + (folder / "FAILED").string() + "'");
            if (result.failed++ == 0) result.first_failure = name + ": " + (problems.empty() ? frame.reason : problems.front());
        }
        frame.files = FilesIn(request.out_dir, folder);
        run.finished = f + 1 == result.frames;
        WriteRunRecord(request.out_dir, run);
        if (!request.quiet) {
            Inform("%s: %s -> %s%s\n", name.c_str(), frame.pixel_file.c_str(), folder.c_str(),
                   status == 0 ? "" : "  FAILED");
        }
    }
    {
        EngineLines lines(VerboseOr(request.verbose));
        VerifyDeinitEngineALAD();
    }
    return result;
}

}  // namespace alad_tool
