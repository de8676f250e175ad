// The few POSIX calls the tests use, for the Windows build (force-included into every test
// source there): environment changes reach both the process environment and the C runtime's.
#pragma once
#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <cstdlib>
#include <string>

inline int setenv(const char* name, const char* value, int) {
    return SetEnvironmentVariableA(name, value) && _putenv_s(name, value) == 0 ? 0 : -1;
}
inline int setenv(const char* name, const wchar_t* value, int overwrite) {
    std::wstring wide(value);
    return setenv(name, std::string(wide.begin(), wide.end()).c_str(), overwrite);
}
inline int unsetenv(const char* name) {
    SetEnvironmentVariableA(name, nullptr);
    return _putenv_s(name, "") == 0 ? 0 : -1;
}
#endif
