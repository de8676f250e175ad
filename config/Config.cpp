#include "config/Config.h"

// The file is plain 8-bit text: no wide-character conversion (and its extra library) needed.
#define SI_NO_CONVERSION
#define SI_IMPLEMENTATION  // this file instantiates the templates: no separate library
#include <SimpleIni.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>

#include "config/SharedBlockLayout.h"
#include "log/Log.h"
#include "platform/Platform.h"
#include "platform/WholeFile.h"

namespace tq4::config {
namespace {

std::atomic<const DriverSharedBlock*> sharedBlock{nullptr};
std::mutex iniMutex;  // one read-modify-write of the file at a time in this process

std::string fieldText(const char* field) {
    const void* end = std::memchr(field, '\0', kBlockPathSize);
    return std::string(field, end ? static_cast<const char*>(end) - field : kBlockPathSize);
}

std::string joinPath(const std::string& folder, const std::string& name) {
    if (folder.empty()) return name;
    return folder.back() == platform::pathSeparator() ? folder + name : folder + platform::pathSeparator() + name;
}

enum class LoadResult { Loaded, Missing, Unreadable };

LoadResult loadIni(const std::string& path, CSimpleIniA& ini) {
    if (!platform::fileExists(path)) return LoadResult::Missing;
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) return LoadResult::Unreadable;
    return ini.LoadFile(path.c_str()) == SI_OK ? LoadResult::Loaded : LoadResult::Unreadable;
}

// Written as "key=value", without blanks around "=": the log facility reads its keys from the
// same file as "LOGGING=" and friends.
bool saveIniAtomically(const std::string& path, CSimpleIniA& ini) {
    ini.SetSpaces(false);
    std::string text;
    if (ini.Save(text) != SI_OK) return false;
    const auto writeText = [&](const std::string& temporary) {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << text;
        out.flush();
        return bool(out);
    };
    return platform::replaceFileWhole(path, writeText).empty();
}

}  // namespace

void useSharedBlock(const DriverSharedBlock* block) { sharedBlock.store(block); }

std::string defaultDataFolder() {
    std::string folder;
    if (!platform::commonAppDataFolder(folder) || folder.empty()) return {};
    return joinPath(folder, "zevo");
}

Paths pathsForFolder(const std::string& dataFolder) {
    Paths result;
    result.dataFolder = dataFolder;
    result.logFile = joinPath(dataFolder, std::string(kLogBaseName) + ".log");
    result.iniFile = joinPath(dataFolder, std::string(kIniBaseName) + ".ini");
    return result;
}

Paths paths() {
    const DriverSharedBlock* block = sharedBlock.load();
    if (!block || block->dataFolder[0] == '\0') return pathsForFolder(defaultDataFolder());
    Paths result;
    result.dataFolder = fieldText(block->dataFolder);
    result.logFile = fieldText(block->logPath);
    result.iniFile = fieldText(block->iniPath);
    return result;
}

std::string dataDirectory() {
    std::string directory = joinPath(paths().dataFolder, "genicam") + platform::pathSeparator();
    if (!platform::makeDirectories(directory))
        TQ4_LOG(log::kError, nullptr, "dataDirectory: cannot create %s", directory.c_str());
    return directory;
}

std::string readIniValue(const std::string& path, const std::string& section, const std::string& key,
                         const std::string& defaultValue, bool writeBackIfMissing) {
    try {
        std::lock_guard<std::mutex> guard(iniMutex);
        CSimpleIniA ini;
        LoadResult loaded = loadIni(path, ini);
        if (loaded == LoadResult::Unreadable) {
            TQ4_LOG(log::kError, nullptr, "readIniValue: cannot read %s, [%s] %s = %s used", path.c_str(),
                    section.c_str(), key.c_str(), defaultValue.c_str());
            return defaultValue;
        }
        const char* value = ini.GetValue(section.c_str(), key.c_str(), nullptr);
        if (value) return value;
        if (writeBackIfMissing) {
            ini.SetValue(section.c_str(), key.c_str(), defaultValue.c_str());
            if (!saveIniAtomically(path, ini))
                TQ4_LOG(log::kError, nullptr, "readIniValue: cannot write [%s] %s to %s", section.c_str(), key.c_str(),
                        path.c_str());
        }
        return defaultValue;
    } catch (const std::exception& e) {
        TQ4_LOG(log::kError, nullptr, "readIniValue: %s", e.what());
        return defaultValue;
    }
}

std::optional<std::string> findIniValue(const std::string& path, const std::string& section, const std::string& key) {
    try {
        std::lock_guard<std::mutex> guard(iniMutex);
        CSimpleIniA ini;
        if (loadIni(path, ini) != LoadResult::Loaded) return std::nullopt;
        const char* value = ini.GetValue(section.c_str(), key.c_str(), nullptr);
        if (value) return std::string(value);
    } catch (const std::exception& e) {
        TQ4_LOG(log::kError, nullptr, "findIniValue: %s", e.what());
    }
    return std::nullopt;
}

std::optional<bool> switchValue(const std::string& text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t'; };
    std::size_t i = 0;
    while (i < text.size() && blank(text[i])) ++i;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
    const std::size_t firstDigit = i;
    bool on = false;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) on = on || text[i] != '0';
    if (i == firstDigit) return std::nullopt;
    while (i < text.size() && blank(text[i])) ++i;
    if (i != text.size()) return std::nullopt;
    return on;
}

bool writeIniValue(const std::string& path, const std::string& section, const std::string& key,
                   const std::string& value) {
    try {
        std::lock_guard<std::mutex> guard(iniMutex);
        CSimpleIniA ini;
        if (loadIni(path, ini) == LoadResult::Unreadable) {
            TQ4_LOG(log::kError, nullptr, "writeIniValue: cannot read %s, not rewritten", path.c_str());
            return false;
        }
        // A value the file already holds leaves the file untouched: no rewrite at every open, and no
        // race with somebody editing the file by hand.
        const char* held = ini.GetValue(section.c_str(), key.c_str(), nullptr);
        if (held && value == held) return true;
        ini.SetValue(section.c_str(), key.c_str(), value.c_str());
        if (saveIniAtomically(path, ini)) return true;
        TQ4_LOG(log::kError, nullptr, "writeIniValue: cannot write [%s] %s to %s", section.c_str(), key.c_str(),
                path.c_str());
        return false;
    } catch (const std::exception& e) {
        TQ4_LOG(log::kError, nullptr, "writeIniValue: %s", e.what());
        return false;
    }
}

}  // namespace tq4::config
