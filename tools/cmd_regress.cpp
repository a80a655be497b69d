// alad regress: every vector folder under a folder run and held against its expected dumps, in
// parallel processes (the engine is one per process), with one verdict, a summary table and a
// JUnit report.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tools/commands.h"
#include "tools/dump_compare.h"
#include "tools/report_writers.h"
#include "tools/tool_common.h"
#include "tools/verify_run.h"

namespace alad_tool {

const char kRegressHelp[] =
    "usage: alad regress [options] DIR\n"
    "\n"
    "Runs every test vector under DIR and gives one verdict. A vector is a folder that holds\n"
    "  regs.txt      its register file\n"
    "  *.txt         its pixel files (every other .txt file in the folder), the frames in name order\n"
    "  expected/     optional: the dumps it must give, as 'alad verify' writes them (frame-000/hist.txt,\n"
    "                ...); 'alad vector --expect' makes such a folder\n"
    "Folders are searched at any depth (not inside expected/); a vector's name is its path under DIR.\n"
    "\n"
    "Each vector runs in a process of its own: the run as 'alad verify --force' makes it, into\n"
    "OUT/<name>/run/ (the console in OUT/<name>/run.log), and when it has expected dumps, the\n"
    "comparison as 'alad diff' makes it (OUT/<name>/diff.txt). A vector passes when every frame ran\n"
    "and nothing differs; it fails on a difference (the first is its message: file and line) and is an\n"
    "error when the run itself failed or took too long. A summary table (also in OUT/summary.txt) ends\n"
    "with the counts.\n"
    "\n"
    "  -j N, --jobs N      run N vectors at once (default 1)\n"
    "  --out OUT           where the runs go (default regress-out); it must be empty or new, or hold\n"
    "                      an earlier regression (--force empties it)\n"
    "  --junit FILE        also write a JUnit XML report, one test case per vector\n"
    "  --strict            refuse vectors whose files have errors ('alad verify --strict')\n"
    "  --timeout SECONDS   stop a vector that runs longer and count it as an error\n"
    "  --force             empty OUT when it holds an earlier regression\n"
    "\n"
    "Exit status 0 when every vector passed, 1 otherwise, 2 for a usage error.\n";

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr char kSummaryName[] = "summary.txt";

struct Vector {
    std::string name;  // path under DIR
    fs::path folder, registers, expected, out;
    std::vector<std::string> pixel_files;
    // Outcome.
    enum class Result { kPass, kFail, kError } result = Result::kPass;
    std::string message, details;
    double seconds = 0.0;
};

std::vector<Vector> FindVectors(const fs::path& root, const fs::path& out) {
    std::vector<Vector> vectors;
    std::error_code error;
    const fs::path out_canonical = fs::weakly_canonical(out, error);
    std::vector<fs::path> folders = {root};
    for (fs::recursive_directory_iterator it(root, error), end; !error && it != end; it.increment(error)) {
        if (!it->is_directory()) continue;
        if (it->path().filename() == "expected" || fs::weakly_canonical(it->path(), error) == out_canonical) {
            it.disable_recursion_pending();
            continue;
        }
        folders.push_back(it->path());
    }
    if (error) throw RunError("cannot list '" + root.string() + "': " + error.message());
    for (const fs::path& folder : folders) {
        if (!fs::is_regular_file(folder / "regs.txt", error)) continue;
        Vector v;
        v.folder = folder;
        v.name = folder == root ? root.filename().string() : folder.lexically_relative(root).generic_string();
        if (v.name.empty() || v.name == ".") v.name = "vector";
        v.registers = folder / "regs.txt";
        for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
            const std::string name = entry.path().filename().string();
            if (entry.is_regular_file() && entry.path().extension() == ".txt" && name != "regs.txt") {
                v.pixel_files.push_back(entry.path().string());
            }
        }
        std::sort(v.pixel_files.begin(), v.pixel_files.end());
        if (fs::is_directory(folder / "expected", error)) v.expected = folder / "expected";
        vectors.push_back(std::move(v));
    }
    std::sort(vectors.begin(), vectors.end(), [](const Vector& a, const Vector& b) { return a.name < b.name; });
    return vectors;
}

void PrepareOut(const fs::path& out, bool force) {
    std::error_code error;
    if (fs::exists(out, error)) {
        if (!fs::is_directory(out, error)) throw RunError("'" + out.string() + "' is not a folder");
        if (!fs::is_empty(out, error)) {
            if (!force) throw RunError("'" + out.string() + "' is not empty (an earlier regression?); --force empties it");
            if (!fs::exists(out / kSummaryName, error)) {
                throw RunError("'" + out.string() + "' holds no " + kSummaryName +
                               ", so not an earlier regression; not emptied");
            }
            for (const fs::directory_entry& entry : fs::directory_iterator(out, error)) fs::remove_all(entry.path(), error);
            if (error) throw RunError("cannot empty '" + out.string() + "': " + error.message());
        }
    }
    fs::create_directories(out, error);
    if (error) throw RunError("cannot create folder '" + out.string() + "': " + error.message());
    // Marks the folder as a regression's from the start.
    std::ofstream(out / kSummaryName) << "running\n";
}

std::vector<std::string> Lines(const fs::path& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

std::string Tail(const std::vector<std::string>& lines, size_t count) {
    std::string text;
    for (size_t i = lines.size() > count ? lines.size() - count : 0; i < lines.size(); ++i) text += lines[i] + "\n";
    return text;
}

// How a vector's process ends: it ran and matched (or had nothing to match), its run failed, or it
// ran and differs from its expected dumps.
constexpr int kVectorPassed = 0, kVectorRunFailed = 1, kVectorDiffers = 3;

// One vector, in the process of its own: the run as 'alad verify --force' makes it, then the
// comparison as 'alad diff' makes it, its report in diff.txt.
int RunOneVector(const Vector& v, bool strict) {
    VerifyRequest request;
    request.register_file = v.registers.string();
    request.pixel_files = v.pixel_files;
    request.out_dir = v.out / "run";
    request.force = true;
    request.strict = strict;
    request.command = {"alad", "regress", "(vector " + v.name + ")"};
    const VerifyResult result = RunVerification(request);
    if (result.failed > 0) {
        std::fprintf(stderr, "alad verify: %d of %d frames failed (%s)\n", result.failed, result.frames,
                     result.first_failure.c_str());
        return kVectorRunFailed;
    }
    if (v.expected.empty()) return kVectorPassed;
    const DumpComparison comparison = CompareDumps(request.out_dir, v.expected);
    std::ofstream report(v.out / "diff.txt");
    for (const std::string& line : DescribeComparison(comparison)) report << line << "\n";
    return comparison.Same() ? kVectorPassed : kVectorDiffers;
}

// Starts a vector in a child process: a copy of this one (the tool, its libraries loaded, the
// engine never started here), its output into run.log. The parent has no threads, so the child
// inherits no lock that another thread holds.
pid_t StartVector(const Vector& v, bool strict) {
    std::error_code error;
    fs::create_directories(v.out, error);
    if (error) throw RunError("cannot create folder '" + v.out.string() + "': " + error.message());
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) throw RunError(std::string("cannot start a process: ") + std::strerror(errno));
    if (pid > 0) return pid;
    int code = kVectorRunFailed;
    const int log = open((v.out / "run.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int null = open("/dev/null", O_RDONLY);
    if (log >= 0 && null >= 0) {
        dup2(null, 0);
        dup2(log, 1);
        dup2(log, 2);
        close(log);
        close(null);
        try {
            code = RunOneVector(v, strict);
        } catch (const std::exception& e) {
            std::fprintf(stderr, "alad verify: %s\n", e.what());
        } catch (...) {
            std::fprintf(stderr, "alad verify: an unknown failure\n");
        }
    }
    std::fflush(nullptr);
    _exit(code);
}

std::string ExitText(int status) {
    if (WIFSIGNALED(status)) return std::string("ended by signal ") + strsignal(WTERMSIG(status));
    return "exit status " + std::to_string(WEXITSTATUS(status));
}

struct Job {
    Vector* vector = nullptr;
    pid_t pid = -1;
    bool timed_out = false;
    Clock::time_point started;
};

class Runner {
public:
    Runner(std::vector<Vector>& vectors, int jobs, bool strict, double timeout)
        : vectors_(vectors), jobs_(jobs), strict_(strict), timeout_(timeout) {}

    void Run() {
        size_t next = 0;
        std::vector<Job> running;
        while (next < vectors_.size() || !running.empty()) {
            while (static_cast<int>(running.size()) < jobs_ && next < vectors_.size()) {
                Job job;
                job.vector = &vectors_[next++];
                job.started = Clock::now();
                if (job.vector->pixel_files.empty()) {
                    Finish(job, -1, "no pixel files (*.txt beside regs.txt)");
                    continue;
                }
                job.pid = StartVector(*job.vector, strict_);
                running.push_back(job);
            }
            bool reaped = false;
            for (size_t i = 0; i < running.size();) {
                Job& job = running[i];
                int status = 0;
                const pid_t done = waitpid(job.pid, &status, WNOHANG);
                if (done == 0) {
                    const double elapsed = std::chrono::duration<double>(Clock::now() - job.started).count();
                    if (timeout_ > 0 && elapsed > timeout_ && !job.timed_out) {
                        kill(job.pid, SIGKILL);
                        job.timed_out = true;
                    }
                    ++i;
                    continue;
                }
                if (done < 0 && errno == EINTR) continue;
                Finish(job, done < 0 ? -1 : status, "");
                running.erase(running.begin() + static_cast<std::ptrdiff_t>(i));
                reaped = true;
            }
            if (!reaped) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

private:
    void Finish(const Job& job, int status, const std::string& reason) {
        Vector& v = *job.vector;
        v.seconds = std::chrono::duration<double>(Clock::now() - job.started).count();
        const std::vector<std::string> log = Lines(v.out / "run.log");
        const bool exited = status >= 0 && WIFEXITED(status);
        if (!reason.empty()) {
            v.result = Vector::Result::kError;
            v.message = reason;
        } else if (job.timed_out) {
            v.result = Vector::Result::kError;
            char text[64];
            std::snprintf(text, sizeof(text), "stopped after the timeout of %g s", timeout_);
            v.message = text;
            v.details = Tail(log, 40);
        } else if (exited && WEXITSTATUS(status) == kVectorPassed) {
            if (v.expected.empty()) v.message = "no expected dumps: the run alone was checked";
        } else if (exited && WEXITSTATUS(status) == kVectorDiffers) {
            const std::vector<std::string> diff = Lines(v.out / "diff.txt");
            v.result = Vector::Result::kFail;
            v.message = diff.empty() ? "differs from its expected dumps" : diff.front();
            v.details = Tail(diff, 200);
        } else {
            v.result = Vector::Result::kError;
            // The run's own last word, "alad verify: ...", names what went wrong.
            v.message = "alad verify: " + (status < 0 ? std::string("the process was lost") : ExitText(status));
            for (auto it = log.rbegin(); it != log.rend(); ++it) {
                if (it->rfind("alad verify:", 0) == 0) {
                    v.message = *it;
                    break;
                }
            }
            v.details = Tail(log, 40);
        }
    }

    std::vector<Vector>& vectors_;
    int jobs_;
    bool strict_;
    double timeout_;
};

const char* ResultWord(Vector::Result result) {
    switch (result) {
        case Vector::Result::kPass: return "pass";
        case Vector::Result::kFail: return "FAIL";
        case Vector::Result::kError: return "ERROR";
    }
    return "";
}

std::string Seconds(double seconds) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.3f", seconds);
    return text;
}

std::string SummaryTable(const std::vector<Vector>& vectors) {
    size_t width = 6;
    for (const Vector& v : vectors) width = std::max(width, v.name.size());
    std::ostringstream table;
    char line[64];
    std::snprintf(line, sizeof(line), "%-*s  %6s  %-6s  %8s  ", static_cast<int>(width), "vector", "frames", "result",
                  "time");
    table << line << "message\n";
    for (const Vector& v : vectors) {
        std::snprintf(line, sizeof(line), "%6zu  %-6s  %7.2fs  ", v.pixel_files.size(), ResultWord(v.result), v.seconds);
        table << v.name << std::string(width - v.name.size() + 2, ' ') << line << v.message << "\n";
    }
    return table.str();
}

void WriteJUnit(const fs::path& path, const std::string& suite, const std::vector<Vector>& vectors, double seconds) {
    int failures = 0, errors = 0;
    for (const Vector& v : vectors) {
        failures += v.result == Vector::Result::kFail;
        errors += v.result == Vector::Result::kError;
    }
    char stamp[32];
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::strftime(stamp, sizeof(stamp), "%Y-%m-%dT%H:%M:%S", &utc);
    std::ostringstream xml;
    xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    const std::string counts = " tests=\"" + std::to_string(vectors.size()) + "\" failures=\"" +
                               std::to_string(failures) + "\" errors=\"" + std::to_string(errors) + "\" time=\"" +
                               Seconds(seconds) + "\"";
    xml << "<testsuites name=\"alad regress\"" << counts << ">\n";
    xml << "  <testsuite name=\"" << XmlEscaped(suite) << "\"" << counts << " skipped=\"0\" timestamp=\"" << stamp
        << "\">\n";
    for (const Vector& v : vectors) {
        xml << "    <testcase classname=\"" << XmlEscaped(suite) << "\" name=\"" << XmlEscaped(v.name) << "\" time=\""
            << Seconds(v.seconds) << "\"";
        if (v.result == Vector::Result::kPass) {
            xml << "/>\n";
            continue;
        }
        const char* tag = v.result == Vector::Result::kFail ? "failure" : "error";
        xml << ">\n      <" << tag << " type=\"" << (v.result == Vector::Result::kFail ? "difference" : "run")
            << "\" message=\"" << XmlEscaped(v.message) << "\">" << XmlEscaped(v.details) << "</" << tag << ">\n";
        xml << "    </testcase>\n";
    }
    xml << "  </testsuite>\n</testsuites>\n";
    std::ofstream file(path);
    file << xml.str();
    file.close();
    if (!file) throw RunError("cannot write '" + path.string() + "'");
}

// "-j N" and "-jN" as "--jobs N", for the option parser.
std::vector<std::string> LongJobs(int argc, char** argv) {
    std::vector<std::string> args;
    bool options_end = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        options_end = options_end || arg == "--";
        if (options_end) {
            args.push_back(arg);
        } else if (arg == "-j") {
            args.push_back("--jobs");
        } else if (arg.size() > 2 && arg.compare(0, 2, "-j") == 0) {
            args.push_back("--jobs");
            args.push_back(arg.substr(2));
        } else {
            args.push_back(arg);
        }
    }
    return args;
}

}  // namespace

int RunRegress(int argc, char** argv) {
    std::vector<std::string> args = LongJobs(argc, argv);
    std::vector<char*> pointers;
    for (std::string& a : args) pointers.push_back(a.data());
    const Options options(static_cast<int>(pointers.size()), pointers.data(), {"jobs", "out", "junit", "timeout"},
                          {"strict", "force"});
    if (options.Positional().size() != 1) throw UsageError("needs one DIR");
    const fs::path root = options.Positional()[0];
    const int jobs = static_cast<int>(options.Integer("jobs", 1, 1, 256));
    const double timeout = options.Number("timeout", 0.0);
    if (timeout < 0) throw UsageError("option --timeout needs a number of seconds >= 0");
    const fs::path out = options.String("out", "regress-out");
    std::error_code error;
    if (!fs::is_directory(root, error)) throw UsageError("'" + root.string() + "' is not a folder");

    std::vector<Vector> vectors = FindVectors(root, out);
    if (vectors.empty()) throw RunError("no vector under '" + root.string() + "' (a folder with regs.txt)");
    PrepareOut(out, options.Has("force"));
    for (Vector& v : vectors) v.out = out / v.name;

    const Clock::time_point start = Clock::now();
    Runner(vectors, jobs, options.Has("strict"), timeout).Run();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

    int passed = 0, failed = 0, errors = 0;
    for (const Vector& v : vectors) {
        passed += v.result == Vector::Result::kPass;
        failed += v.result == Vector::Result::kFail;
        errors += v.result == Vector::Result::kError;
    }
    // The suite is named after DIR ("vectors/" and "vectors" alike).
    std::string suite = fs::absolute(root).lexically_normal().filename().string();
    if (suite.empty()) suite = fs::absolute(root).lexically_normal().parent_path().filename().string();
    const std::string table = SummaryTable(vectors);
    char verdict[256];
    std::snprintf(verdict, sizeof(verdict), "alad regress: %zu vectors, %d passed, %d failed, %d errors (-j %d, %.1f s)",
                  vectors.size(), passed, failed, errors, jobs, seconds);
    std::printf("%s%s\n", table.c_str(), verdict);
    std::ofstream(out / kSummaryName) << table << verdict << "\n";
    if (options.Has("junit")) WriteJUnit(options.String("junit", ""), suite, vectors, seconds);
    return failed == 0 && errors == 0 ? 0 : 1;
}

}  // namespace alad_tool
