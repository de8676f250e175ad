#include "platform/WholeFile.h"

#include <filesystem>
#include <mutex>

#include "platform/Platform.h"

namespace tq4::platform {

std::string replaceFileWhole(const std::string& path, const std::function<bool(const std::string&)>& fill) {
    static std::mutex writers;  // the temporary's name is the process's own
    std::lock_guard<std::mutex> turn(writers);
    const std::string temporary = path + ".tmp" + std::to_string(currentProcessId());
    std::error_code error;
    try {
        if (!fill(temporary)) {
            std::filesystem::remove(temporary, error);
            return "cannot write " + temporary;
        }
    } catch (...) {
        std::filesystem::remove(temporary, error);
        throw;
    }
    std::filesystem::rename(temporary, path, error);
    if (!error) return {};
    std::string why = "cannot rename " + temporary + " to " + path + ": " + error.message();
    std::filesystem::remove(temporary, error);
    return why;
}

}  // namespace tq4::platform
