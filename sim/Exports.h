// The frame of every exported GenTL function: library state check, injected faults, handle
// lookup, and the conversion of internal errors into GenTL codes and the thread's last error.
// No exception leaves an exported function.
#pragma once

#include "sim/Tree.h"

#include <new>
#include <string>

namespace zevo {

void setLastError(GC_ERROR code, const std::string& text);
void lastError(GC_ERROR& code, std::string& text);

// Runs `body` as the export `function`; needsInit is false only for GCInitLib and
// GCGetLastError.
template <typename Body>
GC_ERROR guarded(const char* function, Body&& body, bool needsInit = true) {
    try {
        Library& library = Library::instance();
        if (needsInit) require(library.initialized(), GC_ERR_NOT_INITIALIZED, "the library is not initialised");
        if (library.initialized())
            if (const auto fault = library.faults().fire(function); fault && *fault != GC_ERR_SUCCESS)
                throw GenTLError(*fault, std::string("injected fault in ") + function);
        body();
        return GC_ERR_SUCCESS;
    } catch (const GenTLError& e) {
        setLastError(e.code(), std::string(function) + ": " + e.what());
        return e.code();
    } catch (const std::bad_alloc&) {
        setLastError(GC_ERR_OUT_OF_MEMORY, std::string(function) + ": out of memory");
        return GC_ERR_OUT_OF_MEMORY;
    } catch (const std::exception& e) {
        setLastError(GC_ERR_ERROR, std::string(function) + ": " + e.what());
        return GC_ERR_ERROR;
    } catch (...) {
        setLastError(GC_ERR_ERROR, std::string(function) + ": unexpected failure");
        return GC_ERR_ERROR;
    }
}

template <typename T>
std::shared_ptr<T> lookup(const void* handle, ModuleKind kind) {
    return Library::instance().registry().get<T>(handle, kind);
}

// The module whose port a port handle names; buffers have none (GC_ERR_NOT_IMPLEMENTED).
std::shared_ptr<Module> lookupPort(const void* handle);

inline void requirePointer(const void* p) { require(p != nullptr, GC_ERR_INVALID_PARAMETER, "null pointer argument"); }

template <typename T>
void setOutput(T* out, T value) {
    requirePointer(out);
    *out = value;
}

}  // namespace zevo
