// info, raw, version and control: telegrams through the driver library, loaded at run time as
// the camera SDK loads it.
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/Commands.h"
#include "tools/Decode.h"
#include "tools/DriverLibrary.h"
#include "tools/ResultNames.h"
#include "tools/Settings.h"

namespace tq4::tools {

void complain(const std::string& text) { std::fprintf(stderr, "tq4cam: %s\n", text.c_str()); }

namespace {

void printLines(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) std::printf("%s\n", line.c_str());
}

struct Query {
    std::string label;
    uint16_t code;
    Bytes payload;
    std::function<std::vector<std::string>(const Bytes&)> decode;
};

Bytes infoType(uint8_t type) { return {type, 0, 0, 0}; }

std::vector<Query> infoQueries() {
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
bool runQuery(CameraSession& camera, const Query& query) {
    const CameraSession::Exchange exchange = camera.send(query.code, query.payload);
    const bool answered = exchange.result == ZEVO_NOERROR;
    if (answered)
        printLines(query.decode(exchange.response));
    else
        std::printf("%-16s failed: %s\n", query.label.c_str(), describeResult(exchange.result).c_str());
    return answered;
}

int printVersion(const DriverLibrary& library) {
    uint32_t v[4] = {0, 0, 0, 0};
    const uint32_t result = library.getVersion(&v[0], &v[1], &v[2], &v[3]);
    if (result != ZEVO_NOERROR) {
        complain("ZEVO_GetVersionTQ4_Genicam: " + describeResult(result));
        return 1;
    }
    std::printf("%-16s %u.%u.%u.%u\n", "driver", v[0], v[1], v[2], v[3]);
    return 0;
}

// The camera of the options, opened through the driver, with a line that says which one it
// is; nothing when it cannot be opened.
std::unique_ptr<CameraSession> openNamedCamera(const GlobalOptions& options, DriverLibrary& library) {
    std::unique_ptr<CameraSession> camera = openCamera(options, library);
    if (camera) std::printf("%-16s %u: %s\n", "camera", camera->number(), camera->name().c_str());
    return camera;
}

}  // namespace

bool loadLibrary(const GlobalOptions& options, DriverLibrary& library) {
    std::string error;
    if (library.load(options.libraryPath.empty() ? DriverLibrary::defaultPath() : options.libraryPath, error))
        return true;
    complain(error);
    return false;
}

std::unique_ptr<CameraSession> openCamera(const GlobalOptions& options, DriverLibrary& library) {
    CameraPlace place;
    std::string problem;
    if (!locateCamera(configuredProducers(options.producers), options.camera, place, problem)) {
        complain(problem);
        return nullptr;
    }
    auto camera = std::make_unique<CameraSession>(library, place);
    if (!camera->isOpen()) {
        complain("opening camera " + std::to_string(place.number) + " failed: " + describeResult(camera->openResult()));
        return nullptr;
    }
    camera->printTelegrams(options.raw);
    return camera;
}

int runVersion(const GlobalOptions& options) {
    DriverLibrary library;
    return loadLibrary(options, library) ? printVersion(library) : 1;
}

int runInfo(const GlobalOptions& options) {
    DriverLibrary library;
    if (!loadLibrary(options, library) || printVersion(library) != 0) return 1;
    const std::unique_ptr<CameraSession> camera = openNamedCamera(options, library);
    if (!camera) return 1;
    bool allAnswered = true;
    for (const Query& query : infoQueries()) allAnswered = runQuery(*camera, query) && allAnswered;
    return allAnswered ? 0 : 1;
}

int runRaw(const GlobalOptions& options, const std::vector<std::string>& words) {
    uint16_t code = 0;
    Bytes payload;
    if (words.empty() || !parseCode(words[0], code)) {
        complain("raw needs a command code of four hex digits, e.g. 0110");
        return 2;
    }
    for (std::size_t i = 1; i < words.size(); ++i)
        if (!parseHexBytes(words[i], payload)) {
            complain("'" + words[i] + "' is not hex bytes");
            return 2;
        }
    DriverLibrary library;
    if (!loadLibrary(options, library)) return 1;
    const std::unique_ptr<CameraSession> camera = openNamedCamera(options, library);
    if (!camera) return 1;
    camera->printTelegrams(true);
    const CameraSession::Exchange exchange = camera->send(code, payload);
    return exchange.result == ZEVO_NOERROR ? 0 : 1;
}

int runControl(const GlobalOptions& options, const CameraSettings& settings) {
    DriverLibrary library;
    if (!loadLibrary(options, library)) return 1;
    const std::unique_ptr<CameraSession> camera = openNamedCamera(options, library);
    if (!camera) return 1;
    const bool applied = applySettings(*camera, settings);
    printSettings(*camera);
    return applied ? 0 : 1;
}

}  // namespace tq4::tools
