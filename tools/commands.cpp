#include "tools/commands.h"

namespace alad_tool {

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = {
        {"lut", "print (and plot) the AGTM table for a viewing condition", kLutHelp, RunLut},
        {"process", "run a picture or a video through the engine", kProcessHelp, RunProcess},
        {"level", "the driver's ambient-light level for a lux reading", kLevelHelp, RunLevel},
        {"levels", "the 40 levels' AGTM tables as a C header, or their tone curves", kLevelsHelp, RunLevels},
        {"offline", "a picture through the offline tone-mapping variants, or all with a contact sheet", kOfflineHelp,
         RunOffline},
    };
    return commands;
}

}  // namespace alad_tool
