// tq4cam: command-line front end of the driver library. Loads libtq4_genicam.so the way the
// camera SDK does and calls its exports.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/Platform.h"

namespace {

const char kLibraryName[] = "libtq4_genicam.so";

struct Options {
    std::string libraryPath;
    std::string command = "version";
};

void printUsage() {
    std::fprintf(stderr,
                 "usage: tq4cam [--lib PATH] [version|info]\n"
                 "  version  print the driver library's version\n"
                 "  info     driver information (camera commands arrive in a later version)\n");
}

bool parseOptions(int argc, char** argv, Options& options) {
    std::vector<std::string> words(argv + 1, argv + argc);
    bool commandSeen = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "--lib" && i + 1 < words.size()) {
            options.libraryPath = words[++i];
        } else if (!commandSeen && !words[i].empty() && words[i][0] != '-') {
            options.command = words[i];
            commandSeen = true;
        } else {
            return false;
        }
    }
    return true;
}

// Beside the build layout: <build>/tools/tq4cam next to <build>/driver/libtq4_genicam.so;
// otherwise the dynamic linker's own search.
std::string defaultLibraryPath() {
    std::string executable;
    if (tq4::platform::executablePath(executable)) {
        std::size_t slash = executable.find_last_of('/');
        std::string candidate = executable.substr(0, slash + 1) + "../driver/" + kLibraryName;
        if (tq4::platform::fileExists(candidate)) return candidate;
        candidate = executable.substr(0, slash + 1) + kLibraryName;
        if (tq4::platform::fileExists(candidate)) return candidate;
    }
    return kLibraryName;
}

using VersionFunction = uint32_t (*)(uint32_t*, uint32_t*, uint32_t*, uint32_t*);

int printVersion(tq4::platform::ModuleHandle library) {
    auto getVersion = reinterpret_cast<VersionFunction>(
        tq4::platform::moduleSymbol(library, "ZEVO_GetVersionTQ4_Genicam"));
    if (!getVersion) {
        std::fprintf(stderr, "tq4cam: ZEVO_GetVersionTQ4_Genicam not found: %s\n",
                     tq4::platform::lastModuleError().c_str());
        return 1;
    }
    uint32_t v[4] = {0, 0, 0, 0};
    uint32_t result = getVersion(&v[0], &v[1], &v[2], &v[3]);
    if (result != 0) {
        std::fprintf(stderr, "tq4cam: ZEVO_GetVersionTQ4_Genicam returned 0x%08x\n", result);
        return 1;
    }
    std::printf("tq4_genicam version %u.%u.%u.%u\n", v[0], v[1], v[2], v[3]);
    return 0;
}

int runCommand(const Options& options, tq4::platform::ModuleHandle library) {
    if (options.command == "version") return printVersion(library);
    if (options.command == "info") {
        int result = printVersion(library);
        std::printf("camera commands arrive in a later version of tq4cam\n");
        return result;
    }
    std::fprintf(stderr, "tq4cam: unknown command '%s'\n", options.command.c_str());
    printUsage();
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseOptions(argc, argv, options)) {
        printUsage();
        return 2;
    }
    const std::string path = options.libraryPath.empty() ? defaultLibraryPath() : options.libraryPath;
    tq4::platform::ModuleHandle library = tq4::platform::loadModule(path);
    if (!library) {
        std::fprintf(stderr, "tq4cam: cannot load %s: %s\n", path.c_str(), tq4::platform::lastModuleError().c_str());
        return 1;
    }
    int result = runCommand(options, library);
    tq4::platform::unloadModule(library);
    return result;
}
