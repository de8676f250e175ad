#include "gentl/DescriptionUrl.h"

#include <cctype>
#include <cstdlib>

namespace tq4::gentl {

namespace {

const std::string kLocalScheme = "local:";
const std::string kFileScheme = "file:";
const std::string kLocalAuthority = "///";
const std::string kEmptyAuthority = "//";
constexpr std::size_t kShortestRegisterFileName = 5;

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

std::string withoutLocalAuthority(const std::string& rest) {
    return startsWith(rest, kLocalAuthority) ? rest.substr(kLocalAuthority.size()) : rest;
}

// "C|/..." or "C:/...": a Windows drive letter at the start of a path.
bool startsWithDriveLetter(const std::string& path) {
    return path.size() >= 2 && std::isalpha(static_cast<unsigned char>(path[0])) && (path[1] == '|' || path[1] == ':');
}

// The path as it stands: only "local:" URLs end at a query.
std::string filePathOf(const std::string& rest) {
    if (!startsWith(rest, kEmptyAuthority)) return rest;
    std::string path = rest.substr(kEmptyAuthority.size());
    if (startsWith(path, "/") && startsWithDriveLetter(path.substr(1))) return path.substr(1);
    return path;
}

// The leading hexadecimal digits ("2A3Fxyz" is 0x2A3F); 0 when there are none.
uint64_t hexValue(const std::string& text) { return std::strtoull(text.c_str(), nullptr, 16); }

// Cuts `text` at the first `separator` at or after `start`; moves `start` behind it.
std::string cut(const std::string& text, std::size_t& start, char separator) {
    if (start > text.size()) return {};
    std::size_t end = text.find(separator, start);
    if (end == std::string::npos) end = text.size();
    std::string piece = text.substr(start, end - start);
    start = end + 1;
    return piece;
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

}  // namespace

bool DescriptionUrl::usable() const {
    switch (scheme) {
        case UrlScheme::Local: return fileName.size() >= kShortestRegisterFileName && address != 0 && length != 0;
        case UrlScheme::File: return !fileName.empty();
        default: return false;
    }
}

DescriptionUrl parseDescriptionUrl(const std::string& url) {
    DescriptionUrl result;
    result.url = url;
    if (startsWith(url, kLocalScheme)) {
        result.scheme = UrlScheme::Local;
        const std::string rest = withoutLocalAuthority(url.substr(kLocalScheme.size()));
        std::size_t start = 0;
        result.fileName = cut(rest, start, ';');
        result.address = hexValue(cut(rest, start, ';'));
        result.length = hexValue(cut(rest, start, '?'));
    } else if (startsWith(url, kFileScheme)) {
        result.scheme = UrlScheme::File;
        result.fileName = filePathOf(url.substr(kFileScheme.size()));
    }
    result.extension = extensionOf(bareFileName(result.fileName));
    return result;
}

std::vector<std::string> splitUrlList(const char* buffer, std::size_t size) {
    std::vector<std::string> urls;
    std::size_t start = 0;
    while (start < size && buffer[start] != '\0') {
        std::size_t end = start;
        while (end < size && buffer[end] != '\0') ++end;
        urls.emplace_back(buffer + start, end - start);
        start = end + 1;
    }
    return urls;
}

std::string extensionOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? std::string() : name.substr(dot);
}

std::string localNameOfFileUrlPath(const std::string& path) {
    std::string name = path;
    replaceAll(name, "|", ":");
    replaceAll(name, "%20", " ");
    return name;
}

bool hasDirectoryPart(const std::string& localName) { return localName.find_first_of("/\\") != std::string::npos; }

std::string bareFileName(const std::string& localName) {
    const std::size_t slash = localName.find_last_of("/\\");
    return slash == std::string::npos ? localName : localName.substr(slash + 1);
}

}  // namespace tq4::gentl
