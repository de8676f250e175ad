// The frame of every exported GenTL function of tq4_aravis.cti: library state check and
// handle lookup inside the producer kit's guard.
#pragma once

#include "aravis-producer/Producer.h"
#include "producer-kit/Guard.h"

namespace tq4aravis {

// Runs `body` as the export `function`; needsInit is false only for GCInitLib.
template <typename Body>
GC_ERROR guarded(const char* function, Body&& body, bool needsInit = true) {
    return guard(function, [&] {
        if (needsInit)
            require(Library::instance().initialized(), GC_ERR_NOT_INITIALIZED, "the library is not initialised");
        body();
    });
}

template <typename T>
std::shared_ptr<T> lookup(const void* handle, ModuleKind kind) {
    return Library::instance().registry().get<T>(handle, kind);
}

}  // namespace tq4aravis
