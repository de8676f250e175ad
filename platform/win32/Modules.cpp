// Dynamic modules through the Windows loader.
#include <windows.h>

#include <cstdio>

#include "platform/Platform.h"

namespace tq4::platform {
namespace {

thread_local char lastError[512];

void rememberError(const char* what) {
    const DWORD code = GetLastError();
    char text[400] = {};
    FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, text, sizeof text,
                   nullptr);
    std::snprintf(lastError, sizeof lastError, "%s: error %lu %s", what, static_cast<unsigned long>(code), text);
}

bool isAbsolute(const std::string& path) {
    return (path.size() > 2 && path[1] == ':') || (!path.empty() && (path[0] == '\\' || path[0] == '/'));
}

}  // namespace

// A module named by its full path finds its own dependencies beside it first.
ModuleHandle loadModule(const std::string& path) {
    if (path.empty()) {
        std::snprintf(lastError, sizeof lastError, "empty module path");
        return nullptr;
    }
    HMODULE module = isAbsolute(path) ? LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)
                                      : LoadLibraryA(path.c_str());
    if (!module) rememberError("LoadLibrary failed");
    return reinterpret_cast<ModuleHandle>(module);
}

void* moduleSymbol(ModuleHandle module, const char* name) {
    if (!module || !name) {
        std::snprintf(lastError, sizeof lastError, "no module or no symbol name");
        return nullptr;
    }
    FARPROC symbol = GetProcAddress(static_cast<HMODULE>(module), name);
    if (!symbol) rememberError("GetProcAddress failed");
    return reinterpret_cast<void*>(symbol);
}

void unloadModule(ModuleHandle module) {
    if (module) FreeLibrary(static_cast<HMODULE>(module));
}

std::string lastModuleError() { return lastError; }

ModuleHandle holdModuleOf(const void* addressInside) {
    HMODULE module = nullptr;
    if (!addressInside ||
        !GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, static_cast<LPCSTR>(addressInside), &module))
        return nullptr;
    return module;
}

void releaseModuleHold(ModuleHandle hold) {
    if (hold) FreeLibrary(static_cast<HMODULE>(hold));
}

void endThreadReleasing(ModuleHandle hold) {
    if (hold) FreeLibraryAndExitThread(static_cast<HMODULE>(hold), 0);
}

bool modulePathOf(const void* addressInside, std::string& path) {
    HMODULE module = nullptr;
    if (!addressInside ||
        !GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<LPCSTR>(addressInside), &module))
        return false;
    char buffer[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameA(module, buffer, sizeof buffer);
    if (length == 0 || length >= sizeof buffer) return false;
    path.assign(buffer, length);
    return true;
}

bool setLibrarySearchFolder(const std::string& folder) { return SetDllDirectoryA(folder.c_str()) != 0; }

}  // namespace tq4::platform
