// alad verify: test vectors through the engine as a verification bench runs them, every
// intermediate result dumped per frame.
#include <cstdio>
#include <filesystem>
#include <string>

#include "alad/alad_verify.h"
#include "tools/commands.h"
#include "tools/tool_common.h"
#include "verify/readers.h"

namespace alad_tool {

const char kVerifyHelp[] =
    "usage: alad verify [--verbose] REGFILE OUTDIR IMAGE...\n"
    "\n"
    "Runs test vectors through the engine as a verification bench does. The engine starts once in\n"
    "the reference configuration (order 1, blocks 256x256, strength 8, 6000 -> 260000 lux); then,\n"
    "for each IMAGE in turn (frame 0, 1, 2, ...), it is programmed from REGFILE and fed IMAGE, a\n"
    "packed 12-bit pixel file (one RRRGGGBBB hexadecimal pixel per line, rows top to bottom) of the\n"
    "width and height REGFILE sets. Registers REGFILE does not set are 0 ('alad regs --help' tells\n"
    "the register file's keys; 'alad vector' makes a vector from a picture). The CLTM stage passes the\n"
    "first frame of a sequence through and maps later frames with the curves of the frame before.\n"
    "\n"
    "After frame f, OUTDIR/frame-NNN/ (NNN = f, three digits) holds\n"
    "  hist.txt foreward_curve.txt backward_curve.txt curve.txt smooth_curve.txt trans_curve.txt\n"
    "                      the CLTM histograms and curves, one 8-digit hexadecimal value per line\n"
    "  agtm_result.txt cltm_result.txt result.txt\n"
    "                      the two stage outputs and the frame's result, one RRRGGGBBB pixel per line\n"
    "Data the engine did not produce gives an empty file. Compare two runs with 'alad diff'.\n"
    "\n"
    "  --verbose   show the engine's own log lines\n"
    "\n"
    "Exit status 0 when every frame ran; otherwise 1, each problem named on standard error.\n";

int RunVerify(int argc, char** argv) {
    const Options options(argc, argv, {}, {"verbose"});
    const std::vector<std::string>& args = options.Positional();
    if (args.size() < 3) throw UsageError("needs REGFILE, OUTDIR and at least one IMAGE");
    const bool verbose = options.Has("verbose");
    const std::string& register_file = args[0];
    const std::filesystem::path out_dir = args[1];

    // A register file that cannot be used would fail every frame: say so once, before anything runs.
    // Its warnings are left to the frames, which read it again.
    std::vector<uint32_t> curve(ALAD_HIST_ADJUST_CURVE_SIZE);
    std::vector<int32_t> table(ALAD_AGTM_LUT_SIZE);
    kelvo::alad_verification_registrator_ regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    int32_t readable = 0;
    try {
        EngineLines quiet(EngineLineFilter::kNone);
        readable = ReadRegisterFile(register_file.c_str(), regs);
    } catch (const RegisterFileError& e) {
        throw RunError(e.message());
    }
    if (readable != 0) throw RunError("cannot read register file '" + register_file + "'");
    if (!alad::IsUsablePictureSize(regs.width, regs.height)) {
        throw RunError("register file '" + register_file + "' sets the frame size " + std::to_string(regs.width) +
                       "x" + std::to_string(regs.height) + ", which cannot be run");
    }

    {
        EngineLines quiet(VerboseOr(verbose));
        if (VerifyInitEngineALAD() != 0) throw RunError("the engine could not be started");
    }
    int failed = 0;
    const int frames = static_cast<int>(args.size()) - 2;
    for (int f = 0; f < frames; ++f) {
        const std::string& image = args[2 + f];
        char name[32];
        std::snprintf(name, sizeof(name), "frame-%03d", f);
        const std::filesystem::path frame_dir = out_dir / name;
        std::error_code error;
        std::filesystem::create_directories(frame_dir, error);
        if (error) throw RunError("cannot create folder '" + frame_dir.string() + "': " + error.message());

        int32_t status;
        {
            EngineLines quiet(VerboseOr(verbose));
            status = VerifyRunOneFrameALAD(register_file.c_str(), image.c_str(), frame_dir.c_str(), nullptr, 0);
        }
        std::printf("%s: %s -> %s%s\n", name, image.c_str(), frame_dir.c_str(), status == 0 ? "" : "  FAILED");
        std::fflush(stdout);
        if (status != 0) ++failed;
    }
    {
        EngineLines quiet(VerboseOr(verbose));
        VerifyDeinitEngineALAD();
    }
    if (failed > 0) throw RunError(std::to_string(failed) + " of " + std::to_string(frames) + " frames failed");
    std::printf("alad verify: %d frame%s of %dx%d, order %d, written to %s\n", frames, frames == 1 ? "" : "s",
                regs.width, regs.height, regs.reg_tm_mode, out_dir.c_str());
    return 0;
}

}  // namespace alad_tool
