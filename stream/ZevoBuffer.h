// One queued caller buffer: where the image goes, the caller's status word and the caller's
// event. The status word is always written before the event is set, so a caller woken by the
// event reads the final status.
#pragma once

#include <cstdint>

namespace tq4::stream {

struct ZevoBuffer {
    intptr_t event;    // the caller's event (an eventfd on Linux)
    void* buffer;      // the caller's image memory
    uint32_t size;     // bytes at `buffer`
    uint32_t* status;  // the caller's status word

    // Stores the status word with release order: a caller that reads it with acquire order
    // (or after its event) sees the image that came before it.
    void writeStatus(uint32_t outcome) const { __atomic_store_n(status, outcome, __ATOMIC_RELEASE); }
    // Writes the outcome, sets the event and lets the caller run before the next image.
    void finish(uint32_t outcome) const;
};

}  // namespace tq4::stream
