// Dynamic modules through the dynamic linker.
#include "platform/Platform.h"

#include <dlfcn.h>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace tq4::platform {
namespace {

// dlerror() forgets its text once read, so the last failure is kept per thread. A plain
// array: a thread-local object with a destructor would keep a library that contains this
// file from ever being unloaded.
thread_local char lastError[512];

void setLastError(const char* text) { std::snprintf(lastError, sizeof lastError, "%s", text); }

void rememberError(const char* fallback) {
    const char* text = dlerror();
    setLastError(text ? text : fallback);
}

std::mutex searchFolderMutex;
std::string searchFolder;

}  // namespace

ModuleHandle loadModule(const std::string& path) {
    if (path.empty()) {
        setLastError("empty module path");
        return nullptr;
    }
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module) rememberError("dlopen failed");
    return module;
}

void* moduleSymbol(ModuleHandle module, const char* name) {
    if (!module || !name) {
        setLastError("no module or no symbol name");
        return nullptr;
    }
    dlerror();
    void* symbol = dlsym(module, name);
    if (!symbol) rememberError("symbol not found");
    return symbol;
}

void unloadModule(ModuleHandle module) {
    if (module) dlclose(module);
}

std::string lastModuleError() { return lastError; }

bool modulePathOf(const void* addressInside, std::string& path) {
    Dl_info info{};
    if (!addressInside || dladdr(addressInside, &info) == 0 || !info.dli_fname) return false;
    char resolved[PATH_MAX];
    path = realpath(info.dli_fname, resolved) ? resolved : info.dli_fname;
    return !path.empty();
}

ModuleHandle holdModuleOf(const void*) { return nullptr; }
void releaseModuleHold(ModuleHandle) {}
void endThreadReleasing(ModuleHandle) {}

bool setLibrarySearchFolder(const std::string& folder) {
    std::lock_guard<std::mutex> lock(searchFolderMutex);
    searchFolder = folder;
    return true;
}

void setMissingLibraryHandler(MissingLibraryHandler) {}

}  // namespace tq4::platform
