// tq4cam: command-line front end of the driver library. Loads libtq4_genicam.so the way the
// camera SDK does, opens a camera through the driver and talks to it with telegrams.
//
//   tq4cam [options] info              identity and status of the camera, readable
//   tq4cam [options] raw CODE [HEX..]  one telegram: code as four hex digits, payload bytes
//   tq4cam [options] version           the driver library's version
// options: --raw (show request and response bytes), --num N (camera number, default 0),
//          --producers LIST (producer list instead of the configuration file's), --lib PATH
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "tools/Decode.h"
#include "tools/DriverLibrary.h"

namespace {

using tq4::tools::Bytes;
using tq4::tools::CameraSession;
using tq4::tools::DriverLibrary;

struct Options {
    std::string libraryPath;
    std::string producers;
    uint32_t number = 0;
    bool raw = false;
    std::string command = "info";
    std::vector<std::string> arguments;  // after the command
};

void printUsage() {
    std::fprintf(stderr,
                 "usage: tq4cam [--raw] [--num N] [--producers LIST] [--lib PATH] [info|raw CODE [HEX...]|version]\n"
                 "  info     identity and status of the camera (default)\n"
                 "  raw      send one telegram, e.g. 'raw 0110' or 'raw 0A10 01000000'\n"
                 "  version  the driver library's version\n"
                 "  --raw    also print every request and response in hex\n");
}

bool parseNumber(const std::string& text, uint32_t& value) {
    try {
        std::size_t used = 0;
        const unsigned long parsed = std::stoul(text, &used, 0);
        value = static_cast<uint32_t>(parsed);
        return used == text.size() && parsed <= 0xFFFFFFFFul;
    } catch (const std::exception&) {
        return false;
    }
}

bool parseOptions(int argc, char** argv, Options& options) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    bool commandSeen = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& w = words[i];
        const bool hasValue = i + 1 < words.size();
        if (commandSeen) {
            options.arguments.push_back(w);
        } else if (w == "--raw") {
            options.raw = true;
        } else if (w == "--lib" && hasValue) {
            options.libraryPath = words[++i];
        } else if (w == "--producers" && hasValue) {
            options.producers = words[++i];
        } else if (w == "--num" && hasValue) {
            if (!parseNumber(words[++i], options.number)) return false;
        } else if (!w.empty() && w[0] != '-') {
            options.command = w;
            commandSeen = true;
        } else {
            return false;
        }
    }
    return true;
}

void printLines(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) std::printf("%s\n", line.c_str());
}

void printExchange(const CameraSession::Exchange& exchange) {
    std::printf("  > %s\n", tq4::tools::hexBytes(exchange.request).c_str());
    if (!exchange.response.empty()) std::printf("  < %s\n", tq4::tools::hexBytes(exchange.response).c_str());
    if (exchange.result != ZEVO_NOERROR) std::printf("  result 0x%08X\n", exchange.result);
}

// ---- info ------------------------------------------------------------------------------------

struct Query {
    std::string label;
    uint16_t code;
    Bytes payload;
    std::function<std::vector<std::string>(const Bytes&)> decode;
};

Bytes infoType(uint8_t type) { return {type, 0, 0, 0}; }

std::vector<Query> infoQueries() {
    using namespace tq4::tools;
    auto text = [](const std::string& label) {
        return [label](const Bytes& response) { return decodeText(label, response); };
    };
    return {
        {"camera type", GET_CAMERA_TYPE, {}, decodeCameraType},
        {"name", GET_CAMERA_NAME, {}, text("name")},
        {"info camera", GET_INFO_STRING, infoType(1), text("info camera")},
        {"info sensor", GET_INFO_STRING, infoType(2), text("info sensor")},
        {"info material", GET_INFO_STRING, infoType(3), text("info material")},
        {"info driver", GET_INFO_STRING, infoType(4), text("info driver")},
        {"hardware", GET_HARDWARE_VERSIONS, {}, decodeHardwareVersions},
        {"firmware", GET_FIRMWARE_VERSIONS, {}, decodeFirmwareVersions},
        {"temperature", GET_TEMPERATURE, {}, decodeTemperature},
        {"cooling", GET_COOLING_SETPOINT_TEMPERATURE, {}, decodeCoolingSetpoint},
        {"health", GET_CAMERA_HEALTH_STATUS, {}, decodeHealth},
    };
}

// A failed answer is reported and the rest still shown; the exit code tells that one failed.
bool runQuery(CameraSession& camera, const Query& query, bool raw) {
    const CameraSession::Exchange exchange = camera.send(query.code, query.payload);
    const bool answered = exchange.result == ZEVO_NOERROR;
    if (answered)
        printLines(query.decode(exchange.response));
    else
        std::printf("%-16s failed: 0x%08X\n", query.label.c_str(), exchange.result);
    if (raw) printExchange(exchange);
    return answered;
}

int printVersion(const DriverLibrary& library) {
    uint32_t v[4] = {0, 0, 0, 0};
    const uint32_t result = library.getVersion(&v[0], &v[1], &v[2], &v[3]);
    if (result != ZEVO_NOERROR) {
        std::fprintf(stderr, "tq4cam: ZEVO_GetVersionTQ4_Genicam returned 0x%08X\n", result);
        return 1;
    }
    std::printf("%-16s %u.%u.%u.%u\n", "driver", v[0], v[1], v[2], v[3]);
    return 0;
}

bool reportOpen(const CameraSession& camera, const Options& options) {
    if (camera.isOpen()) {
        std::printf("%-16s %u\n", "camera", options.number);
        return true;
    }
    std::fprintf(stderr, "tq4cam: opening camera %u failed: 0x%08X (is a GenTL producer on GENICAM_GENTL64_PATH?)\n",
                 options.number, camera.openResult());
    return false;
}

int runInfo(DriverLibrary& library, const Options& options) {
    if (printVersion(library) != 0) return 1;
    CameraSession camera(library, options.number, options.producers);
    if (!reportOpen(camera, options)) return 1;
    bool allAnswered = true;
    for (const Query& query : infoQueries()) allAnswered = runQuery(camera, query, options.raw) && allAnswered;
    return allAnswered ? 0 : 1;
}

// ---- raw -------------------------------------------------------------------------------------

int runRaw(DriverLibrary& library, const Options& options) {
    uint16_t code = 0;
    Bytes payload;
    if (options.arguments.empty() || !tq4::tools::parseCode(options.arguments[0], code)) {
        std::fprintf(stderr, "tq4cam: raw needs a command code of four hex digits, e.g. 0110\n");
        return 2;
    }
    for (std::size_t i = 1; i < options.arguments.size(); ++i)
        if (!tq4::tools::parseHexBytes(options.arguments[i], payload)) {
            std::fprintf(stderr, "tq4cam: '%s' is not hex bytes\n", options.arguments[i].c_str());
            return 2;
        }
    CameraSession camera(library, options.number, options.producers);
    if (!reportOpen(camera, options)) return 1;
    const CameraSession::Exchange exchange = camera.send(code, payload);
    printExchange(exchange);
    if (exchange.result == ZEVO_NOERROR) std::printf("  result 0x%08X\n", exchange.result);
    return exchange.result == ZEVO_NOERROR ? 0 : 1;
}

int runCommand(DriverLibrary& library, const Options& options) {
    if (options.command == "version") return printVersion(library);
    if (options.command == "info") return runInfo(library, options);
    if (options.command == "raw") return runRaw(library, options);
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
    DriverLibrary library;
    std::string error;
    const std::string path = options.libraryPath.empty() ? DriverLibrary::defaultPath() : options.libraryPath;
    if (!library.load(path, error)) {
        std::fprintf(stderr, "tq4cam: %s\n", error.c_str());
        return 1;
    }
    return runCommand(library, options);
}
