// The failure hook of the delayed-import support: a delay-imported library the loader cannot
// find is handed to the installed handler, which may load it from elsewhere.
// windows.h first: the other Windows headers need its types.
#include <windows.h>

#include <delayimp.h>

#include <atomic>

#include "platform/Platform.h"

namespace tq4::platform {
namespace {

constexpr DWORD kModuleNotFound = 126;
std::atomic<MissingLibraryHandler> missingLibraryHandler{nullptr};

FARPROC WINAPI failureHook(unsigned notification, PDelayLoadInfo info) {
    if (notification != dliFailLoadLib || !info || info->dwLastError != kModuleNotFound) return nullptr;
    MissingLibraryHandler handler = missingLibraryHandler.load();
    if (!handler || !info->szDll) return nullptr;
    return reinterpret_cast<FARPROC>(handler(info->szDll));
}

}  // namespace

void setMissingLibraryHandler(MissingLibraryHandler handler) { missingLibraryHandler.store(handler); }

}  // namespace tq4::platform

// The loader's hook variable; this definition replaces the runtime library's empty one.
extern "C" {
PfnDliHook __pfnDliFailureHook2 = tq4::platform::failureHook;
}
