#include "stream/PixelFormatName.h"

#include <regex>

namespace tq4::stream {

uint64_t bitsInFormatName(const std::string& symbol) {
    static const std::regex lastDigits("[^0-9]*([0-9]+)(?!.*[0-9])");
    std::smatch match;
    std::regex_search(symbol, match, lastDigits);
    return std::stoull(match.size() > 1 ? match[1].str() : std::string());
}

bool isMsbFormatName(const std::string& symbol) {
    static const std::string suffix = "msb";
    return symbol.size() >= suffix.size() && symbol.compare(symbol.size() - suffix.size(), suffix.size(), suffix) == 0;
}

}  // namespace tq4::stream
