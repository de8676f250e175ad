// The driver's folders and its configuration file (tq4_genicam_param.ini).
//
// Paths come from the shared block that the library's load fixed for every process; before
// (or without) it they are derived from the common application data folder. Values are read
// when they are needed, never cached: the file may be edited while the driver runs.
#pragma once

#include <cstdint>
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
// Decimal unsigned number; the default also when the text is not a number.
uint64_t readIniUnsigned(const std::string& path, const std::string& section, const std::string& key,
                         uint64_t defaultValue, bool writeBackIfMissing);
// Sets [section] key = value and saves. The file is replaced whole (written to a temporary
// file beside it, then renamed), so a reader never sees a half-written file.
bool writeIniValue(const std::string& path, const std::string& section, const std::string& key,
                   const std::string& value);

}  // namespace tq4::config
