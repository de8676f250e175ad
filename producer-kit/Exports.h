// The frame of every exported GenTL function of a producer built on this kit: library state
// check, the producer's own entry hook and handle lookup inside the guard. The exports the kit
// compiles (Exports*.cpp) reach the producer only through `producerLibrary()` and the module
// classes' virtual members.
#pragma once

#include "producer-kit/Guard.h"
#include "producer-kit/Tree.h"

#include <memory>
#include <string>

namespace gentlkit {

// Runs `body` as the export `function`; needsInit is false only for GCInitLib.
template <typename Body>
GC_ERROR guarded(const char* function, Body&& body, bool needsInit = true) {
    return guard(function, [&] {
        ProducerLibrary& library = producerLibrary();
        if (needsInit) require(library.initialized(), GC_ERR_NOT_INITIALIZED, "the library is not initialised");
        if (library.initialized()) library.enter(function);
        body();
    });
}

template <typename T>
std::shared_ptr<T> lookup(const void* handle, ModuleKind kind) {
    return producerLibrary().registry().get<T>(handle, kind);
}

// The module whose port a port handle names; buffers have none (GC_ERR_NOT_IMPLEMENTED).
std::shared_ptr<Module> lookupPort(const void* handle);

}  // namespace gentlkit
