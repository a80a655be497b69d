// alad verify: test vectors through the engine as a verification bench runs them, every
// intermediate result dumped per frame.
#include <cstdio>
#include <string>

#include "tools/commands.h"
#include "tools/tool_common.h"
#include "tools/verify_run.h"

namespace alad_tool {

const char kVerifyHelp[] =
    "usage: alad verify [--force] [--strict] [--verbose] REGFILE OUTDIR IMAGE...\n"
    "\n"
    "Runs test vectors through the engine as a verification bench does. The engine starts once in\n"
    "the reference configuration (order 1, blocks 256x256, strength 8, 6000 -> 260000 lux); then,\n"
    "for each IMAGE in turn (frame 0, 1, 2, ...), it is programmed from REGFILE and fed IMAGE, a\n"
    "packed 12-bit pixel file (one RRRGGGBBB hexadecimal pixel per line, rows top to bottom) of the\n"
    "width and height REGFILE sets. Registers REGFILE does not set are 0 ('alad regs --help' tells\n"
    "the register file's keys; 'alad vector' makes a vector from a picture). The CLTM stage passes the\n"
    "first frame of a sequence through and maps later frames with the curves of the frame before.\n"
    "\n"
    "First REGFILE and every IMAGE are checked as 'alad check' does; the problems are shown as\n"
    "warnings (with --strict, errors refuse the run before anything is written).\n"
    "\n"
    "OUTDIR must be empty or new. After frame f, OUTDIR/frame-NNN/ (NNN = f, three digits) holds\n"
    "  hist.txt foreward_curve.txt backward_curve.txt curve.txt smooth_curve.txt trans_curve.txt\n"
    "                      the CLTM histograms and curves, one 8-digit hexadecimal value per line\n"
    "  agtm_result.txt cltm_result.txt result.txt\n"
    "                      the two stage outputs and the frame's result, one RRRGGGBBB pixel per line\n"
    "Data the engine did not produce gives an empty file. A frame that fails (its IMAGE cannot be read\n"
    "or does not hold the frame, the engine refuses it) keeps no dumps: frame-NNN/FAILED says why.\n"
    "OUTDIR/run.json records the run: the tool's version, the command, REGFILE and every IMAGE with\n"
    "their SHA-256, the frame size and order, the checks' counts, and per frame its status, reason and\n"
    "files. Compare two runs with 'alad diff'.\n"
    "\n"
    "  --force     empty OUTDIR first when it holds an earlier run (only run.json and frame-*\n"
    "              folders; anything else is left alone and the run refused)\n"
    "  --strict    refuse input files with errors\n"
    "  --verbose   show the engine's own log lines\n"
    "\n"
    "Exit status 0 when every frame ran; otherwise 1, each problem named on standard error.\n";

int RunVerify(int argc, char** argv) {
    const Options options(argc, argv, {}, {"verbose", "force", "strict"});
    const std::vector<std::string>& args = options.Positional();
    if (args.size() < 3) throw UsageError("needs REGFILE, OUTDIR and at least one IMAGE");
    VerifyRequest request;
    request.register_file = args[0];
    request.out_dir = args[1];
    request.pixel_files.assign(args.begin() + 2, args.end());
    request.force = options.Has("force");
    request.strict = options.Has("strict");
    request.verbose = options.Has("verbose");
    request.command.assign(argv, argv + argc);
    request.command.insert(request.command.begin(), {"alad", "verify"});

    const VerifyResult result = RunVerification(request);
    if (result.failed > 0) {
        throw RunError(std::to_string(result.failed) + " of " + std::to_string(result.frames) +
                       " frames failed (" + result.first_failure + ")");
    }
    Inform("alad verify: %d frame%s of %dx%d, order %d, written to %s\n", result.frames,
                result.frames == 1 ? "" : "s", result.width, result.height, result.order,
                request.out_dir.c_str());
    return 0;
}

}  // namespace alad_tool
