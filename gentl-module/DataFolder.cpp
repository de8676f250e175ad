#include "gentl-module/DataFolder.h"

#include "platform/Platform.h"

namespace tq4::gentl {

std::string driverDataDirectory() {
    std::string folder;
    if (!platform::commonAppDataFolder(folder) || folder.empty()) return {};
    const char sep = platform::pathSeparator();
    if (folder.back() != sep) folder += sep;
    return folder + "zevo" + sep + "genicam" + sep;
}

std::string ensureDriverDataDirectory() {
    std::string folder = driverDataDirectory();
    if (folder.empty() || !platform::makeDirectories(folder)) return {};
    return folder;
}

}  // namespace tq4::gentl
