// The GenICam engine's files and where the DLL finds them.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>
#include <string>

#include "driver/Lifetime.h"
#include "log/Log.h"
#include "platform/Platform.h"

namespace tq4::driver {
namespace {

// The node-map engine (Aravis) and the libraries it needs, as built for Windows; sorted.
constexpr const char* kGenicamFiles[] = {
    "libaravis-0.8-0.dll",  "libffi-8.dll",  "libgio-2.0-0.dll", "libglib-2.0-0.dll", "libgmodule-2.0-0.dll",
    "libgobject-2.0-0.dll", "libintl-8.dll", "libpcre2-8.dll",   "libxml2.dll",       "zlib1.dll",
};
bool lessThan(const char* a, const char* b) { return std::strcmp(a, b) < 0; }

std::atomic<bool> folderInUse{false};

// The folder of the module that holds this code (the DLL), without its trailing separator.
bool ownFolder(std::string& folder) {
    std::string path;
    if (!platform::modulePathOf(reinterpret_cast<const void*>(&genicamAvailable), path)) return false;
    folder = path.substr(0, path.find_last_of("\\/"));
    return true;
}

std::string genicamFolder(const std::string& ownFolder) {
    return ownFolder + platform::pathSeparator() + "genicam" + platform::pathSeparator();
}

// The loader could not find a delay-imported library: an engine file is loaded from the
// "genicam" folder, anything else is left to the loader's own failure handling.
platform::ModuleHandle delayHook(const char* library) {
    if (!std::binary_search(std::begin(kGenicamFiles), std::end(kGenicamFiles), library, lessThan)) return nullptr;
    std::string folder;
    if (!ownFolder(folder)) {
        TQ4_LOG(log::kError, nullptr, "%s: GetModuleHandle failed, error = %d", "delayHook",
                platform::lastSystemError());
        return nullptr;
    }
    folder = genicamFolder(folder);
    TQ4_LOG(log::kVerbose, nullptr, "%s: call LoadLibrary(%s) from %s", "delayHook", library, folder.c_str());
    platform::ModuleHandle module = platform::loadModule(folder + library);
    if (!module) TQ4_LOG(log::kError, nullptr, "%s: LoadLibrary failed.", "delayHook");
    return module;
}

}  // namespace

bool genicamAvailable() {
    if (!folderInUse.load()) return true;
    std::string folder;
    if (!ownFolder(folder)) {
        TQ4_LOG(log::kError, nullptr, "GetModuleHandle failed, error = %d", platform::lastSystemError());
        return false;
    }
    folder = genicamFolder(folder);
    for (const char* file : kGenicamFiles) {
        if (!platform::fileExists(folder + file)) {
            TQ4_LOG(log::kError, nullptr, "genicam file %s not available", file);
            return false;
        }
    }
    return true;
}

void useGenicamFolder() {
    folderInUse.store(true);
    platform::setMissingLibraryHandler(delayHook);
}

}  // namespace tq4::driver
