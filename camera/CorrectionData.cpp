#include "camera/CorrectionData.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "camera/CameraDefaults.h"
#include "config/Config.h"
#include "features/Features.h"
#include "features/NodeMap.h"
#include "gentl-module/DataFolder.h"
#include "gentl-module/GenTLModule.h"
#include "gentl/Device.h"
#include "log/Format.h"
#include "log/Log.h"
#include "platform/Platform.h"
#include "stream/DataStream.h"

namespace tq4::camera {

using features::NodeMap;

namespace {

constexpr const char* kLoad = "Device::loadCorrectionData";
constexpr const char* kSuppressKey = "SuppressWarnOnMissingCorrection";
// The message box's caption and texts are formatted into buffers of this size.
constexpr std::size_t kDialogBuffer = 512;

constexpr const char* kNoWhiteText =
    "No white correction data found. To download camera specific correction data, please run the download tool "
    "<zevo.quillonSWIR.exe> and follow the instructions. \r\n\r\nOpen download tool now?\r\n\r\n\tClick \"No\" to "
    "continue without";
constexpr const char* kNoneText =
    "No correction data found. To download camera specific correction data, please run the download tool "
    "<zevo.quillonSWIR.exe> and follow the instructions. \r\n\r\nOpen download tool now?\r\n\r\n\tClick \"No\" to "
    "continue without";

// The features and log words of one reference.
struct ReferenceFeatures {
    const char* word;    // "black" / "white" in log lines
    const char* suffix;  // "_b" / "_w" in file names
    const char* path;    // string feature with the file's full path
    const char* load;    // command: load the file
    const char* create;  // command: take a new reference
    const char* save;    // command: save it to the file
};

const ReferenceFeatures& featuresOf(Reference kind) {
    static const ReferenceFeatures black{"black",
                                         "_b",
                                         "NUCBlackReferencePath",
                                         "NUCBlackReferenceLoad",
                                         "CreateBlackReference",
                                         "NUCBlackReferenceSave"};
    static const ReferenceFeatures white{"white",
                                         "_w",
                                         "NUCWhiteReferencePath",
                                         "NUCWhiteReferenceLoad",
                                         "CreateWhiteReference",
                                         "NUCWhiteReferenceSave"};
    return kind == Reference::Black ? black : white;
}

// A reference file is a regular file: a folder of that name is no reference.
bool referenceExists(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

// Hands the camera one reference file, when there is one.
void loadReference(Device& device, NodeMap& map, Reference kind) {
    const ReferenceFeatures& f = featuresOf(kind);
    const std::string path = referencePath(device, kind);
    if (!referenceExists(path)) {
        TQ4_LOG(log::kError, device.handle(), "%s: %s reference not available: <%s>", kLoad,
                kind == Reference::Black ? "Black" : "White", path.c_str());
        return;
    }
    if (!features::setString(map, f.path, path))
        TQ4_LOG(log::kError, device.handle(), "%s: set string <%s> failed.", kLoad, f.word);
    // Both references report a failed load as "black": the message is the camera tools' own.
    if (!features::callCommand(map, f.load))
        TQ4_LOG(log::kError, device.handle(), "%s: set command <black> failed.", kLoad);
}

// The download tool on the producer search path; the name without ".exe" counts too, as tools
// here carry none. Empty when neither is there.
std::string findDownloadTool() {
    const std::string withExe = kDownloadTool;
    const std::string withoutExe = withExe.substr(0, withExe.size() - 4);
    for (const std::string& name : {withExe, withoutExe}) {
        std::string found = gentl::GenTLModule::findProducer(name);
        if (found != name) return found;
    }
    return {};
}

// Closes the device so that the tool can open the camera, then starts the tool without
// waiting for it.
void runDownloadTool(Device& device, const std::string& tool) {
    TQ4_LOG(log::kProgress, device.handle(), "%s: close and run subprocess: %s", kLoad, tool.c_str());
    device.close();
    if (!platform::startProcess(tool, ""))
        TQ4_LOG(log::kError, device.handle(), "%s: could not start %s", kLoad, tool.c_str());
}

// The caption and text of the question, each cut to the buffer the message box gets.
std::string dialogText(const char* format, const std::string& name, uint32_t serial) {
    std::string text = formatText(format, name.c_str(), static_cast<int>(serial));
    if (text.size() >= kDialogBuffer) text.resize(kDialogBuffer - 1);
    return text;
}

// The question as one log line: its line breaks and tabs written as C escapes.
std::string asOneLine(const std::string& text) {
    std::string line;
    for (char c : text) {
        if (c == '\r')
            line += "\\r";
        else if (c == '\n')
            line += "\\n";
        else if (c == '\t')
            line += "\\t";
        else
            line += c;
    }
    return line;
}

enum class Outcome { Continue, ToolStarted };

// The user's choice about missing references. NUCMode falls back to the black reference alone
// when the camera has it.
Outcome askForDownloadTool(Device& device, NodeMap& map) {
    const std::string caption =
        dialogText("tq4_genicam.dll: %s (Serial No.: %d)", device.displayName(), device.getSerial());
    const char* text = kNoneText;
    if (features::hasEnumEntry(map, "NUCMode", "BlackReferenceOnly", true)) {
        features::setEnum(map, "NUCMode", "BlackReferenceOnly");
        text = kNoWhiteText;
    }
    const platform::Answer answer = platform::askYesNo(caption, text);
    if (answer == platform::Answer::NobodyAsked)
        TQ4_LOG(log::kProgress, device.handle(), "%s: no desktop to ask <%s>: %s -- taken as No.", kLoad,
                caption.c_str(), asOneLine(text).c_str());
    if (answer != platform::Answer::Yes) {
        TQ4_LOG(log::kError, device.handle(),
                "%s: User denied running zevo.quillonSWIR.exe. Continue without correction data!", kLoad);
        return Outcome::Continue;
    }
    const std::string tool = findDownloadTool();
    if (tool.empty()) {
        // Closing the camera for a tool that is not there would only lose it.
        TQ4_LOG(log::kError, device.handle(),
                "%s: %s not found on the producer search path. Continue without correction data!", kLoad,
                kDownloadTool);
        return Outcome::Continue;
    }
    runDownloadTool(device, tool);
    return Outcome::ToolStarted;
}

// The key is written back, also when it was there, so that the file always shows it: a number
// as the user wrote it (any nonzero one suppresses the question), anything else as 0.
Outcome handleMissingReferences(Device& device, NodeMap& map) {
    const std::string ini = config::paths().iniFile;
    std::string setting = config::findIniValue(ini, "CONFIG", kSuppressKey).value_or("0");
    std::optional<bool> suppress = config::switchValue(setting);
    if (!suppress) {
        TQ4_LOG(log::kError, device.handle(), "%s: [CONFIG] %s = '%s' is not a number, 0 used", kLoad, kSuppressKey,
                setting.c_str());
        setting = "0";
        suppress = false;
    }
    if (!*suppress && askForDownloadTool(device, map) == Outcome::ToolStarted) return Outcome::ToolStarted;
    config::writeIniValue(ini, "CONFIG", kSuppressKey, setting);
    return Outcome::Continue;
}

// The correction directory, created when missing; false (and logged) when that fails.
bool makeCorrectionDirectory(Device& device, const char* origin) {
    const std::string directory = correctionDirectory();
    if (!directory.empty() && platform::makeDirectories(directory)) return true;
    TQ4_LOG(log::kError, device.handle(), "%s: Create correction directory failed: <%s>", origin, directory.c_str());
    return false;
}

}  // namespace

std::string correctionDirectory() {
    const std::string data = gentl::driverDataDirectory();
    return data.empty() ? std::string() : data + "correction_data";
}

std::string referencePath(Device& device, Reference kind) {
    const std::string directory = correctionDirectory();
    if (directory.empty()) return {};
    std::shared_ptr<stream::DataStream> stream = device.activeStream();
    const uint32_t bits = stream ? stream->bitsPerPixel() : 0;
    return directory + platform::pathSeparator() + std::to_string(device.getSerial()) + featuresOf(kind).suffix +
           std::to_string(bits);
}

bool loadCorrectionData(Device& device) {
    if (!makeCorrectionDirectory(device, kLoad)) return false;
    std::shared_ptr<NodeMap> map = device.nodeMap();
    loadReference(device, *map, Reference::Black);
    loadReference(device, *map, Reference::White);
    // The camera offers "Both" only once both references are loaded.
    if (features::hasEnumEntry(*map, "NUCMode", "Both", true)) {
        features::setEnum(*map, "NUCMode", "Both");
    } else if (handleMissingReferences(device, *map) == Outcome::ToolStarted) {
        return false;
    }
    TQ4_LOG(log::kProgress, device.handle(), "%s: available correction modes: %s", kLoad,
            entryList(*map, "NUCMode").c_str());
    TQ4_LOG(log::kProgress, device.handle(), "%s: Mode <%s>", kLoad, features::getEnum(*map, "NUCMode").c_str());
    return true;
}

bool generateReference(Device& device, Reference kind) {
    constexpr const char* kGenerate = "Device::do_SWIR_GENERATE_CORRECTION_DATA";
    if (!makeCorrectionDirectory(device, kGenerate)) return false;
    const ReferenceFeatures& f = featuresOf(kind);
    const std::string path = referencePath(device, kind);
    std::filesystem::remove(path);
    std::shared_ptr<NodeMap> map = device.nodeMap();
    if (!features::setString(*map, f.path, path))
        TQ4_LOG(log::kError, device.handle(), "%s: set string <%s> failed.", kGenerate, f.word);
    if (!features::callCommand(*map, f.create))
        TQ4_LOG(log::kError, device.handle(), "%s: create reference <%s> failed.", kGenerate, f.word);
    if (!features::callCommand(*map, f.save))
        TQ4_LOG(log::kError, device.handle(), "%s: save reference <%s> failed.", kGenerate, f.word);
    return referenceExists(path);
}

}  // namespace tq4::camera
