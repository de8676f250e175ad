// Small helpers for calling through a producer's function table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "gentl-module/GenTL.h"

namespace tq4::gentl {

// Size of the buffers for GenTL text queries (IDs, info strings, URLs).
constexpr std::size_t kTextBufferSize = 1024;
// Time-out of the interface and device list updates.
constexpr uint64_t kListUpdateTimeoutMs = 100;

// Calls an optional entry of the table; an entry the producer does not export answers
// GC_ERR_NOT_IMPLEMENTED, as a producer does for a function it does not support.
template <typename Function, typename... Args>
GenTL::GC_ERROR callGenTL(Function function, Args&&... args) {
    return function ? function(std::forward<Args>(args)...) : GenTL::GC_ERR_NOT_IMPLEMENTED;
}

// Runs `query(buffer, &size)` over a zeroed 1024-byte buffer and returns the text up to the
// first NUL (the buffer always keeps a NUL at its end, whatever the producer wrote).
template <typename Query>
GenTL::GC_ERROR queryText(Query&& query, std::string& text) {
    char buffer[kTextBufferSize + 1] = {};
    std::size_t size = kTextBufferSize;
    const GenTL::GC_ERROR status = query(buffer, &size);
    text = status == GenTL::GC_ERR_SUCCESS ? std::string(buffer) : std::string();
    return status;
}

// Low 32 bits of a handle, as the log lines print handles with %x.
inline unsigned low32(const void* handle) { return static_cast<unsigned>(reinterpret_cast<uintptr_t>(handle)); }

}  // namespace tq4::gentl
