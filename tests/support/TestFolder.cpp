#include "support/TestFolder.h"

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/Platform.h"

namespace tq4::test {

TestFolder::TestFolder() {
    static std::atomic<int> counter{0};
    const std::string id = std::to_string(platform::currentProcessId()) + "_" + std::to_string(counter++);
    path_ = (std::filesystem::temp_directory_path() / ("tq4_test_" + id)).string();
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
    suffix_ = "_test" + id;
    platform::setEnvironment("TQ4_COMMON_APPDATA", path_);
    platform::setEnvironment("TQ4_SHM_SUFFIX", suffix_);
}

TestFolder::~TestFolder() {
    // Blocks a failed case may have left behind (names carry this folder's suffix).
    platform::SharedBlock::unlink("TQ4_GENICAM_DLL");
    platform::SharedBlock::unlink("tq4_genicam_logmem");
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TestFolder::file(const std::string& name) const { return joinPath(path_, name); }

std::string joinPath(const std::string& folder, const std::string& name) {
    return folder + platform::pathSeparator() + name;
}

std::string searchPathOf(const std::vector<std::string>& folders) {
    std::string list;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        if (i > 0) list += platform::gentlPathListSeparator();
        list += folders[i];
    }
    return list;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string readText(const std::filesystem::path& path) {
    std::string text;
    for (const std::string& line : splitLines(readFile(path))) text += line + "\n";
    return text;
}

void writeFile(const std::filesystem::path& path, const std::string& text) {
    const std::filesystem::path parent = path.parent_path();
    if (!parent.empty()) std::filesystem::create_directories(parent);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

std::map<std::string, int> logLines(const std::string& folder, const std::string& marker,
                                    std::vector<std::string>* names) {
    std::map<std::string, int> seen;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("tq4_genicam", 0) != 0 || entry.path().extension() != ".log") continue;
        if (names) names->push_back(name);
        for (const std::string& line : splitLines(readFile(entry.path())))
            if (line.find(marker) != std::string::npos) ++seen[line];
    }
    return seen;
}

}  // namespace tq4::test
