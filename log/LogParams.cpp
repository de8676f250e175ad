// The parameter file: "KEY=value" pairs anywhere in the text, "//" starts a comment. The key's
// name is matched without regard to case, and blanks or tabs may stand on either side of "=":
// "LOGGING=0x3" as a person writes it and "LOGGING = 0x3" as the ini writer of a hand-edited
// file may have left it both count.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

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

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Where the value of each "NAME=" in the text starts (blanks around "=" skipped), in order.
std::vector<std::size_t> valueStarts(const std::string& upper, const std::string& name) {
    std::vector<std::size_t> starts;
    for (std::size_t at = upper.find(name); at != std::string::npos; at = upper.find(name, at + 1)) {
        std::size_t pos = at + name.size();
        while (pos < upper.size() && isBlank(upper[pos])) ++pos;
        if (pos >= upper.size() || upper[pos] != '=') continue;
        ++pos;
        while (pos < upper.size() && isBlank(upper[pos])) ++pos;
        starts.push_back(pos);
    }
    return starts;
}

// Reads the number of the first "NAME=0X..." (hexadecimal), else of the first "NAME=..."
// (decimal). The value stays as it is when the key is missing or no digit follows it.
void readNumber(const std::string& upper, const char* name, uint32_t& value) {
    const std::vector<std::size_t> starts = valueStarts(upper, name);
    if (starts.empty()) return;
    std::size_t start = starts.front();
    int base = 10;
    for (std::size_t candidate : starts) {
        if (upper.compare(candidate, 2, "0X") == 0) {
            start = candidate + 2;
            base = 16;
            break;
        }
    }
    const char* digits = upper.c_str() + start;
    char* end = nullptr;
    unsigned long parsed = std::strtoul(digits, &end, base);
    if (end != digits) value = static_cast<uint32_t>(parsed);
}

// The path keeps its letter case: it is taken from the original text at the position where
// the upper-cased key was found (upper-casing does not move characters).
void readPath(const std::string& original, const std::string& upper, std::string& folder) {
    const std::vector<std::size_t> starts = valueStarts(upper, "LOGFILEPATH");
    if (starts.empty()) return;
    const std::size_t start = starts.front();
    std::size_t end = original.find_first_of(" \t\r\n", start);
    std::string path = original.substr(start, end == std::string::npos ? std::string::npos : end - start);
    if (!path.empty() && path.size() < kPathSize) folder = path;
}

}  // namespace

void parseParameters(const std::string& text, Parameters& params) {
    const std::string original = stripComments(text);
    const std::string upper = upperCase(original);
    readNumber(upper, "LOGGING", params.logBits);
    readNumber(upper, "LOGTHREAD", params.threadEnable);
    readNumber(upper, "FLUSHLINES", params.flushLines);
    readNumber(upper, "LOGFILELEN", params.fileLength);
    readPath(original, upper, params.folder);
}

std::string copyNameFor(const std::string& logPath, const platform::LocalTime& t, unsigned taken) {
    char suffix[80];
    int length = std::snprintf(suffix, sizeof suffix, "_%04d-%02d-%02d_%02d_%02d_%02d_%03d", t.year, t.month, t.day,
                               t.hour, t.minute, t.second, t.millisecond);
    if (taken > 0) std::snprintf(suffix + length, sizeof suffix - length, "_%u", taken + 1);
    std::size_t slash = logPath.find_last_of("/\\");
    std::size_t dot = logPath.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return logPath + suffix;
    return logPath.substr(0, dot) + suffix + logPath.substr(dot);
}

}  // namespace tq4::log::detail
