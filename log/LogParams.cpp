// The parameter file: "KEY=value" pairs anywhere in the text, "//" starts a comment.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "log/Log.h"
#include "log/LogInternal.h"

namespace tq4::log::detail {
namespace {

std::string stripComments(const std::string& text) {
    std::string result;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        std::size_t comment = line.find("//");
        result += line.substr(0, comment);
        result += '\n';
    }
    return result;
}

std::string upperCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

// Reads the number after "KEY=0X" (hexadecimal) or else after "KEY=" (decimal). The value
// stays as it is when the key is missing or no digit follows it.
void readNumber(const std::string& upper, const char* key, uint32_t& value) {
    const std::string hexKey = std::string(key) + "0X";
    std::size_t pos = upper.find(hexKey);
    int base = 16;
    std::size_t start = pos + hexKey.size();
    if (pos == std::string::npos) {
        pos = upper.find(key);
        if (pos == std::string::npos) return;
        base = 10;
        start = pos + std::strlen(key);
    }
    const char* digits = upper.c_str() + start;
    char* end = nullptr;
    unsigned long parsed = std::strtoul(digits, &end, base);
    if (end != digits) value = static_cast<uint32_t>(parsed);
}

// The path keeps its letter case: it is taken from the original text at the position where
// the upper-cased key was found (upper-casing does not move characters).
void readPath(const std::string& original, const std::string& upper, std::string& folder) {
    static const char kKey[] = "LOGFILEPATH=";
    std::size_t pos = upper.find(kKey);
    if (pos == std::string::npos) return;
    std::size_t start = pos + sizeof kKey - 1;
    std::size_t end = original.find_first_of(" \t\r\n", start);
    std::string path = original.substr(start, end == std::string::npos ? std::string::npos : end - start);
    if (!path.empty() && path.size() < kPathSize) folder = path;
}

}  // namespace

void parseParameters(const std::string& text, Parameters& params) {
    const std::string original = stripComments(text);
    const std::string upper = upperCase(original);
    readNumber(upper, "LOGGING=", params.logBits);
    readNumber(upper, "LOGTHREAD=", params.threadEnable);
    readNumber(upper, "FLUSHLINES=", params.flushLines);
    readNumber(upper, "LOGFILELEN=", params.fileLength);
    readPath(original, upper, params.folder);
}

std::string copyNameFor(const std::string& logPath, const platform::LocalTime& t) {
    char suffix[64];
    std::snprintf(suffix, sizeof suffix, "_%04d-%02d-%02d_%02d_%02d_%02d_%03d", t.year, t.month, t.day,
                  t.hour, t.minute, t.second, t.millisecond);
    std::size_t slash = logPath.find_last_of('/');
    std::size_t dot = logPath.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return logPath + suffix;
    return logPath.substr(0, dot) + suffix + logPath.substr(dot);
}

}  // namespace tq4::log::detail
