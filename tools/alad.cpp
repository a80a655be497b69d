// alad: the engine's command-line tool. Each command lives in its own cmd_*.cpp file and is listed
// in the table below.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

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
        "usage: alad <command> [options]\n"
        "\n"
        "Adapts pictures to the ambient light (AGTM, a global tone curve from a display model) and\n"
        "to their content (CLTM, block-based local tone mapping).\n"
        "\n"
        "commands:\n");
    for (const alad_tool::Command& command : alad_tool::Commands()) {
        std::printf("  %-10s %s\n", command.name, command.summary);
    }
    std::printf("\n'alad <command> --help' describes a command.\n");
}

}  // namespace

int main(int argc, char** argv) {
    // The tool reports failures itself, naming the file or option; OpenCV's own warnings would
    // only repeat them.
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    if (argc < 2) {
        PrintToolHelp();
        return 2;
    }
    const std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        PrintToolHelp();
        return 0;
    }
    const alad_tool::Command* command = FindCommand(name);
    if (!command) {
        std::fprintf(stderr, "alad: unknown command '%s' (see 'alad --help')\n", name.c_str());
        return 2;
    }
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::printf("%s", command->help);
            return 0;
        }
    }
    try {
        return command->run(argc - 2, argv + 2);
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
