#include "producer-kit/Common.h"

#include <fstream>
#include <sstream>

namespace gentlkit {

std::string loadedFrom(const void* code, const char* fallback) {
    const auto self = reinterpret_cast<uintptr_t>(code);
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        std::istringstream fields(line);
        std::string range, perms, offset, device, inode, path;
        fields >> range >> perms >> offset >> device >> inode;
        std::getline(fields >> std::ws, path);
        const auto dash = range.find('-');
        if (dash == std::string::npos || path.empty()) continue;
        const uintptr_t start = std::stoull(range.substr(0, dash), nullptr, 16);
        const uintptr_t end = std::stoull(range.substr(dash + 1), nullptr, 16);
        if (self >= start && self < end) return path;
    }
    return fallback;
}

}  // namespace gentlkit
