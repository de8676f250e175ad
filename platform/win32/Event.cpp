// Manual-reset events as Win32 event objects; the native handle is the event HANDLE.
#include <windows.h>
#include <winternl.h>

#include <cwchar>

#include "platform/Platform.h"

namespace tq4::platform {
namespace {

HANDLE handleOf(intptr_t nativeHandle) { return reinterpret_cast<HANDLE>(nativeHandle); }
bool plausible(intptr_t nativeHandle) { return nativeHandle != 0 && nativeHandle != -1; }

}  // namespace

bool setEventByHandle(intptr_t nativeHandle) { return plausible(nativeHandle) && SetEvent(handleOf(nativeHandle)); }

bool resetEventByHandle(intptr_t nativeHandle) { return plausible(nativeHandle) && ResetEvent(handleOf(nativeHandle)); }

bool waitEventByHandle(intptr_t nativeHandle, uint32_t timeoutMs) {
    return plausible(nativeHandle) && WaitForSingleObject(handleOf(nativeHandle), timeoutMs) == WAIT_OBJECT_0;
}

// The object manager names the handle's type; only "Event" is accepted.
bool isEventHandle(intptr_t nativeHandle) {
    DWORD flags = 0;
    if (!plausible(nativeHandle) || !GetHandleInformation(handleOf(nativeHandle), &flags)) return false;
    alignas(8) unsigned char buffer[512] = {};
    ULONG length = 0;
    if (NtQueryObject(handleOf(nativeHandle), ObjectTypeInformation, buffer, sizeof buffer, &length) != 0) return false;
    const auto* type = reinterpret_cast<const PUBLIC_OBJECT_TYPE_INFORMATION*>(buffer);
    return type->TypeName.Buffer && type->TypeName.Length == 5 * sizeof(wchar_t) &&
           std::wcsncmp(type->TypeName.Buffer, L"Event", 5) == 0;
}

uint32_t waitForAny(Event* const* events, std::size_t count, uint32_t timeoutMs) {
    HANDLE handles[MAXIMUM_WAIT_OBJECTS] = {};
    count = count > 32 ? 32 : count;
    for (std::size_t i = 0; i < count; ++i) handles[i] = handleOf(events[i]->nativeHandle());
    if (WaitForMultipleObjects(static_cast<DWORD>(count), handles, FALSE, timeoutMs) == WAIT_TIMEOUT) return 0;
    uint32_t set = 0;
    for (std::size_t i = 0; i < count; ++i)
        if (WaitForSingleObject(handles[i], 0) == WAIT_OBJECT_0) set |= 1u << i;
    return set;
}

std::unique_ptr<Event> Event::create(bool initiallySet, bool) {
    HANDLE event = CreateEventA(nullptr, TRUE, initiallySet ? TRUE : FALSE, nullptr);
    if (!event) return nullptr;
    return std::unique_ptr<Event>(new Event(reinterpret_cast<intptr_t>(event)));
}

std::unique_ptr<Event> Event::createNamed(const std::string& name) {
    HANDLE event = CreateEventA(nullptr, TRUE, FALSE, name.c_str());
    if (!event) return nullptr;
    return std::unique_ptr<Event>(new Event(reinterpret_cast<intptr_t>(event)));
}

Event::~Event() { CloseHandle(handleOf(fd_)); }
void Event::set() { setEventByHandle(fd_); }
void Event::reset() { resetEventByHandle(fd_); }
bool Event::isSet() const { return waitEventByHandle(fd_, 0); }
bool Event::wait(uint32_t timeoutMs) const { return waitEventByHandle(fd_, timeoutMs); }

}  // namespace tq4::platform
