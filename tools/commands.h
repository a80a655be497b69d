// The alad tool's commands.
#ifndef ALAD_TOOLS_COMMANDS_H
#define ALAD_TOOLS_COMMANDS_H

#include <vector>

namespace alad_tool {

struct Command {
    const char* name;
    const char* summary;  // one line for 'alad --help'
    const char* help;     // the whole of 'alad <name> --help'
    int (*run)(int argc, char** argv);  // arguments after the command name; returns the exit code
};

const std::vector<Command>& Commands();

int RunLut(int argc, char** argv);
int RunProcess(int argc, char** argv);
int RunLevel(int argc, char** argv);
int RunLevels(int argc, char** argv);
int RunVector(int argc, char** argv);
int RunVerify(int argc, char** argv);
int RunDiff(int argc, char** argv);
int RunRegs(int argc, char** argv);
int RunOffline(int argc, char** argv);
int RunSimulate(int argc, char** argv);
int RunBench(int argc, char** argv);

extern const char kLutHelp[];
extern const char kProcessHelp[];
extern const char kLevelHelp[];
extern const char kLevelsHelp[];
extern const char kVectorHelp[];
extern const char kVerifyHelp[];
extern const char kDiffHelp[];
extern const char kRegsHelp[];
extern const char kOfflineHelp[];
extern const char kSimulateHelp[];
extern const char kBenchHelp[];

}  // namespace alad_tool

#endif  // ALAD_TOOLS_COMMANDS_H
