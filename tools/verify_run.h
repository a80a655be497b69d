// A verification run as 'alad verify' makes it (and 'alad vector --expect' for its expected dumps):
// the input files checked, the output folder fresh, each frame's dumps complete or replaced by a
// FAILED file, and run.json recording what was run on what.
#ifndef ALAD_TOOLS_VERIFY_RUN_H
#define ALAD_TOOLS_VERIFY_RUN_H

#include <filesystem>
#include <string>
#include <vector>

namespace alad_tool {

struct VerifyRequest {
    std::string register_file;
    std::vector<std::string> pixel_files;  // one per frame, in order
    std::filesystem::path out_dir;
    bool force = false;    // empty an output folder that holds an earlier run
    bool strict = false;   // refuse input files with errors before anything is written
    bool verbose = false;  // the engine's own lines
    bool quiet = false;    // no line per frame
    std::vector<std::string> command;  // the command line, for run.json
};

struct VerifyResult {
    int frames = 0, failed = 0;
    int width = 0, height = 0, order = 0;
    std::string first_failure;  // "frame-NNN: reason" of the first failed frame
};

// Runs the frames. What stops the whole run (a register file that cannot be used, an output folder
// that is not empty, a refusal under `strict`) is thrown as a RunError before anything is written
// to the output folder; a frame that fails is recorded and the run goes on.
VerifyResult RunVerification(const VerifyRequest& request);

// The name of frame f's folder: frame-000, frame-001, ...
std::string FrameFolderName(int frame);

}  // namespace alad_tool

#endif  // ALAD_TOOLS_VERIFY_RUN_H
