// printf-style formatting into a std::string, for texts that are built before they are logged
// or printed. Any length; nothing is cut off.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

// Format checking of printf-like functions. mingw-w64 (with __USE_MINGW_ANSI_STDIO) formats as
// C99 does, which its compiler calls gnu_printf; its plain printf means the system runtime's.
#if defined(__MINGW32__)
#define TQ4_PRINTF_FORMAT(formatIndex, firstArgument) __attribute__((format(gnu_printf, formatIndex, firstArgument)))
#else
#define TQ4_PRINTF_FORMAT(formatIndex, firstArgument) __attribute__((format(printf, formatIndex, firstArgument)))
#endif

namespace tq4 {

inline std::string formatText(const char* format, ...) TQ4_PRINTF_FORMAT(1, 2);
inline std::string formatText(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list measure;
    va_copy(measure, args);
    const int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, args);
    va_end(args);
    return text;
}

}  // namespace tq4
