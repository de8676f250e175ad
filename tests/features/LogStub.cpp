// Stand-in for the log facility while it is not built yet: formats each line and hands it to
// the observer, which is all these tests look at.
#include <cstdarg>
#include <cstdio>

#include "log/Log.h"

namespace tq4::log {

namespace {
LineObserver& observer() {
    static LineObserver instance;
    return instance;
}
}  // namespace

void setLineObserver(LineObserver o) { observer() = std::move(o); }

void logLine(uint32_t classBits, const void*, const char* format, ...) {
    char line[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (observer()) observer()(classBits, line);
}

}  // namespace tq4::log
