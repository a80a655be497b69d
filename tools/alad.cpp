// alad: the engine's command-line tool.
#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0) {
        std::printf("usage: alad <command> [options]\n");
        return argc < 2 ? 2 : 0;
    }
    std::fprintf(stderr, "alad: unknown command '%s' (see alad --help)\n", argv[1]);
    return 2;
}
