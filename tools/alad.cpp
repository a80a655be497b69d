// alad: the engine's command-line tool. Each command lives in its own cmd_*.cpp file and is listed
// in the table below.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include "tools/commands.h"
#include "tools/tool_common.h"

namespace {

const alad_tool::Command* FindCommand(const std::string& name) {
    for (const alad_tool::Command& command : alad_tool::Commands()) {
        if (name == command.name) return &command;
    }
    return nullptr;
}

void PrintToolHelp() {
    std::printf(
        "usage: alad [-q | -v] <command> [options] [--] [arguments]\n"
        "\n"
        "Adapts pictures to the ambient light (AGTM, a global tone curve from a display model) and\n"
        "to their content (CLTM, block-based local tone mapping).\n"
        "\n"
        "commands:\n");
    for (const alad_tool::Command& command : alad_tool::Commands()) {
        std::printf("  %-10s %s\n", command.name, command.summary);
    }
    std::printf(
        "\n"
        "'alad <command> --help' describes a command. Everywhere:\n"
        "  -q, --quiet     say nothing but errors and the results asked for\n"
        "  -v, --verbose   also show every line the engine prints\n"
        "  --opt=value     the same as --opt value\n"
        "  --              everything after it is an argument, even when it starts with -\n"
        "  --version       the tool's version\n");
}

// Takes -q/--quiet and -v/--verbose out of the arguments (up to "--"), wherever they stand.
std::vector<char*> TakeVerbosity(int argc, char** argv) {
    std::vector<char*> rest;
    bool options_end = false;
    for (int i = 0; i < argc; ++i) {
        const char* arg = argv[i];
        if (!options_end) {
            if (std::strcmp(arg, "--") == 0) {
                options_end = true;
            } else if (std::strcmp(arg, "-q") == 0 || std::strcmp(arg, "--quiet") == 0) {
                alad_tool::SetVerbosity(alad_tool::Verbosity::kQuiet);
                continue;
            } else if (std::strcmp(arg, "-v") == 0 || std::strcmp(arg, "--verbose") == 0) {
                alad_tool::SetVerbosity(alad_tool::Verbosity::kVerbose);
                continue;
            }
        }
        rest.push_back(argv[i]);
    }
    return rest;
}

}  // namespace

int main(int argc, char** argv) {
    // The tool reports failures itself, naming the file or option; OpenCV's own warnings would
    // only repeat them.
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    std::vector<char*> args = TakeVerbosity(argc - 1, argv + 1);
    if (args.empty()) {
        PrintToolHelp();
        return 2;
    }
    const std::string name = args[0];
    if (name == "--help" || name == "-h" || name == "help") {
        PrintToolHelp();
        return 0;
    }
    if (name == "--version") {
        std::printf("alad %s\n", ALAD_VERSION_STRING);
        return 0;
    }
    const alad_tool::Command* command = FindCommand(name);
    if (!command) {
        std::fprintf(stderr, "alad: unknown command '%s' (see 'alad --help')\n", name.c_str());
        return 2;
    }
    for (size_t i = 1; i < args.size() && std::strcmp(args[i], "--") != 0; ++i) {
        if (std::strcmp(args[i], "--help") == 0 || std::strcmp(args[i], "-h") == 0) {
            std::printf("%s", command->help);
            return 0;
        }
        if (std::strcmp(args[i], "--version") == 0) {
            std::printf("alad %s\n", ALAD_VERSION_STRING);
            return 0;
        }
    }
    try {
        return command->run(static_cast<int>(args.size()) - 1, args.data() + 1);
    } catch (const alad_tool::UsageError& e) {
        std::fprintf(stderr, "alad %s: %s (see 'alad %s --help')\n", command->name, e.what(), command->name);
        return 2;
    } catch (const alad_tool::RunError& e) {
        std::fprintf(stderr, "alad %s: %s\n", command->name, e.what());
        return 1;
    } catch (const cv::Exception& e) {
        std::fprintf(stderr, "alad %s: OpenCV: %s\n", command->name, e.err.c_str());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "alad %s: %s\n", command->name, e.what());
        return 1;
    }
}
