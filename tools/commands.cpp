#include "tools/commands.h"

namespace alad_tool {

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = {
        {"lut", "print (and plot) the AGTM table for a viewing condition", kLutHelp, RunLut},
        {"process", "run a picture, a picture sequence or a video through the engine", kProcessHelp, RunProcess},
        {"simulate", "how the panel shows a picture under an ambient light, before and after", kSimulateHelp,
         RunSimulate},
        {"bench", "time the engine on a generated frame: ms per frame, fps, share of 60/90/120 Hz", kBenchHelp,
         RunBench},
        {"level", "the driver's ambient-light level for a lux reading", kLevelHelp, RunLevel},
        {"levels", "the 40 levels' AGTM tables as a C header, or their tone curves", kLevelsHelp, RunLevels},
        {"vector", "make a verification test vector (pixels and registers) from a picture", kVectorHelp, RunVector},
        {"verify", "run test vectors as a verification bench does, dumping every stage", kVerifyHelp, RunVerify},
        {"diff", "compare two dump folders value by value", kDiffHelp, RunDiff},
        {"regs", "print the register set a register file programs", kRegsHelp, RunRegs},
        {"offline", "a picture through the offline tone-mapping variants, or all with a contact sheet", kOfflineHelp,
         RunOffline},
    };
    return commands;
}

}  // namespace alad_tool
