#include "tools/commands.h"

namespace alad_tool {

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = {
        {"lut", "print (and plot) the AGTM table for a viewing condition", kLutHelp, RunLut},
        {"process", "tone-map a picture", kProcessHelp, RunProcess},
    };
    return commands;
}

}  // namespace alad_tool
