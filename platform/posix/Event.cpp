// Manual-reset events as eventfd descriptors: readable while set, drained by a reset.
#include "platform/Platform.h"

#include <string>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/uio.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstring>

namespace tq4::platform {
namespace {

bool pollReadable(int fd, int timeoutMs) {
    pollfd entry{fd, POLLIN, 0};
    int result;
    do {
        result = poll(&entry, 1, timeoutMs);
    } while (result < 0 && errno == EINTR);
    return result > 0 && (entry.revents & POLLIN);
}

int clampTimeout(uint32_t timeoutMs) { return timeoutMs > 0x7fffffffu ? -1 : static_cast<int>(timeoutMs); }

}  // namespace

bool setEventByHandle(intptr_t nativeHandle) {
    const uint64_t one = 1;
    return nativeHandle >= 0 && nativeHandle <= INT_MAX &&
           write(static_cast<int>(nativeHandle), &one, sizeof one) == sizeof one;
}

// One read that never waits: RWF_NOWAIT makes even a blocking eventfd answer EAGAIN when it is
// not set. Kernels without it for eventfd (before 5.12) fall back to a read guarded by poll,
// which waits only if another reader drains the counter between the two calls.
bool drainWithoutWaiting(int fd) {
    uint64_t count = 0;
    iovec part{&count, sizeof count};
    const ssize_t result = preadv2(fd, &part, 1, -1, RWF_NOWAIT);
    if (result == sizeof count || (result < 0 && errno == EAGAIN)) return true;
    if (result < 0 && (errno == EOPNOTSUPP || errno == EINVAL || errno == ENOSYS)) {
        if (pollReadable(fd, 0)) return read(fd, &count, sizeof count) == sizeof count || errno == EAGAIN;
        return true;
    }
    return false;
}

bool resetEventByHandle(intptr_t nativeHandle) {
    if (nativeHandle < 0 || nativeHandle > INT_MAX) return false;
    return drainWithoutWaiting(static_cast<int>(nativeHandle));
}

bool isEventHandle(intptr_t nativeHandle) {
    if (nativeHandle < 0 || nativeHandle > INT_MAX) return false;
    const std::string link = "/proc/self/fd/" + std::to_string(nativeHandle);
    char target[64] = {};
    const ssize_t length = readlink(link.c_str(), target, sizeof target - 1);
    return length > 0 && std::strcmp(target, "anon_inode:[eventfd]") == 0;
}

bool waitEventByHandle(intptr_t nativeHandle, uint32_t timeoutMs) {
    return nativeHandle >= 0 && pollReadable(static_cast<int>(nativeHandle), clampTimeout(timeoutMs));
}

std::unique_ptr<Event> Event::create(bool initiallySet, bool blocking) {
    int fd = eventfd(0, EFD_CLOEXEC | (blocking ? 0 : EFD_NONBLOCK));
    if (fd < 0) return nullptr;
    std::unique_ptr<Event> event(new Event(fd));
    if (initiallySet) event->set();
    return event;
}

uint32_t waitForAny(Event* const* events, std::size_t count, uint32_t timeoutMs) {
    pollfd entries[32];
    count = count > 32 ? 32 : count;
    for (std::size_t i = 0; i < count; ++i) entries[i] = pollfd{static_cast<int>(events[i]->nativeHandle()), POLLIN, 0};
    int result;
    do {
        result = poll(entries, count, clampTimeout(timeoutMs));
    } while (result < 0 && errno == EINTR);
    uint32_t set = 0;
    for (std::size_t i = 0; result > 0 && i < count; ++i)
        if (entries[i].revents & POLLIN) set |= 1u << i;
    return set;
}

std::unique_ptr<Event> Event::createNamed(const std::string&) { return create(); }

Event::~Event() { close(static_cast<int>(fd_)); }
void Event::set() { setEventByHandle(fd_); }
void Event::reset() { resetEventByHandle(fd_); }
bool Event::isSet() const { return pollReadable(static_cast<int>(fd_), 0); }
bool Event::wait(uint32_t timeoutMs) const { return waitEventByHandle(fd_, timeoutMs); }

}  // namespace tq4::platform
