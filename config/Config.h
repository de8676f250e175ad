// The driver's folders and its configuration file (tq4_genicam_param.ini).
//
// Paths come from the shared block that the library's load fixed for every process; before
// (or without) it they are derived from the common application data folder. Values are read
// when they are needed, never cached: the file may be edited while the driver runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tq4::config {

struct DriverSharedBlock;

struct Paths {
    std::string logFile;     // <data folder>/tq4_genicam.log
    std::string iniFile;     // <data folder>/tq4_genicam_param.ini
    std::string dataFolder;  // <common application data>/zevo
};

// Base names of the driver's files.
constexpr const char* kLogBaseName = "tq4_genicam";
constexpr const char* kIniBaseName = "tq4_genicam_param";
constexpr const char* kHintBaseName = "tq4_genicam";

// The library's load hands the shared block over (null at unload).
void useSharedBlock(const DriverSharedBlock* block);

// The paths of the shared block, or derived ones when no block is in use.
Paths paths();
// The paths that belong to a data folder.
Paths pathsForFolder(const std::string& dataFolder);
// <common application data>/zevo; empty when no such folder can be named.
std::string defaultDataFolder();
// The driver data directory: <data folder>/genicam/, created when missing.
std::string dataDirectory();

// Reads [section] key. When the key (or the file) is missing, returns `defaultValue` and,
// with writeBackIfMissing, stores it into the file. A file that exists but cannot be read is
// never rewritten (that would lose its contents); the default is returned and logged.
std::string readIniValue(const std::string& path, const std::string& section, const std::string& key,
                         const std::string& defaultValue, bool writeBackIfMissing);
// [section] key as the file holds it; nothing when the file or the key is missing (or the
// file cannot be read).
std::optional<std::string> findIniValue(const std::string& path, const std::string& section, const std::string& key);
// A numeric switch: a whole decimal number (blanks around it, an optional sign, any number of
// digits) is on when one of its digits is not 0, so "-1" and a number beyond 64 bits are on;
// nothing when the text is not such a number.
std::optional<bool> switchValue(const std::string& text);
// Sets [section] key = value and saves. The file is replaced whole (written to a temporary
// file beside it, then renamed), so a reader never sees a half-written file.
bool writeIniValue(const std::string& path, const std::string& section, const std::string& key,
                   const std::string& value);

}  // namespace tq4::config
