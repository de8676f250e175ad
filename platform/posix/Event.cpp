// Manual-reset events as eventfd descriptors: readable while set, drained by a reset.
#include "platform/Platform.h"

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace tq4::platform {
namespace {

bool pollReadable(int fd, int timeoutMs) {
    pollfd entry {fd, POLLIN, 0};
    int result;
    do {
        result = poll(&entry, 1, timeoutMs);
    } while (result < 0 && errno == EINTR);
    return result > 0 && (entry.revents & POLLIN);
}

int clampTimeout(uint32_t timeoutMs) {
    return timeoutMs > 0x7fffffffu ? -1 : static_cast<int>(timeoutMs);
}

}  // namespace

bool setEventByHandle(intptr_t nativeHandle) {
    const uint64_t one = 1;
    return nativeHandle >= 0 && write(static_cast<int>(nativeHandle), &one, sizeof one) == sizeof one;
}

bool resetEventByHandle(intptr_t nativeHandle) {
    if (nativeHandle < 0) return false;
    int fd = static_cast<int>(nativeHandle);
    // The descriptor may be blocking (callers create their own), so read only while readable.
    uint64_t count = 0;
    while (pollReadable(fd, 0)) {
        if (read(fd, &count, sizeof count) != sizeof count) break;
    }
    return true;
}

bool waitEventByHandle(intptr_t nativeHandle, uint32_t timeoutMs) {
    return nativeHandle >= 0 && pollReadable(static_cast<int>(nativeHandle), clampTimeout(timeoutMs));
}

std::unique_ptr<Event> Event::create(bool initiallySet) {
    int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (fd < 0) return nullptr;
    std::unique_ptr<Event> event(new Event(fd));
    if (initiallySet) event->set();
    return event;
}

Event::~Event() { close(fd_); }
void Event::set() { setEventByHandle(fd_); }
void Event::reset() { resetEventByHandle(fd_); }
bool Event::isSet() const { return pollReadable(fd_, 0); }
bool Event::wait(uint32_t timeoutMs) const { return waitEventByHandle(fd_, timeoutMs); }

}  // namespace tq4::platform
