// A test that works in a folder of its own and under its own shared-memory names, and the file
// helpers that go with it.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace tq4::test {

class TestFolder {
public:
    TestFolder();   // creates the folder, points TQ4_COMMON_APPDATA and TQ4_SHM_SUFFIX at it
    ~TestFolder();  // removes it
    const std::string& path() const { return path_; }
    const std::string& suffix() const { return suffix_; }
    std::string file(const std::string& name) const;  // joined as the driver joins paths

private:
    std::string path_;
    std::string suffix_;
};

std::string readFile(const std::filesystem::path& path);
std::string readText(const std::filesystem::path& path);                     // line ends ("\r\n" on Windows) as "\n"
void writeFile(const std::filesystem::path& path, const std::string& text);  // with missing parent folders
std::vector<std::string> splitLines(const std::string& text);                // at "\n", "\r" dropped
std::string joinPath(const std::string& folder, const std::string& name);    // with the system's separator
std::string searchPathOf(const std::vector<std::string>& folders);           // a GENICAM_GENTL64_PATH value
// The lines of the log files in `folder` (the live tq4_genicam.log and its copies) that contain
// `marker`, each with the number of times it occurs; the files' names into `names`.
std::map<std::string, int> logLines(const std::string& folder, const std::string& marker,
                                    std::vector<std::string>* names = nullptr);

}  // namespace tq4::test
