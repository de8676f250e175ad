// Exported GenTL port functions: register access, port information and the description URL.
#include "aravis-producer/Producer.h"
#include "producer-kit/Exports.h"

#include <cstdlib>
#include <cstring>

using namespace tq4aravis;

namespace {

// The parts of a "local:[///]name;address;length[?SchemaVersion=a.b.c]" URL; other schemes
// name only a file.
InfoValue urlInfo(const std::string& url, URL_INFO_CMD command) {
    const bool local = url.rfind("local:", 0) == 0;
    const bool file = url.rfind("file:", 0) == 0;
    std::string rest = url.substr(url.find(':') + 1);
    if (rest.rfind("///", 0) == 0) rest.erase(0, 3);
    const std::string fields = rest.substr(0, rest.find('?'));
    const auto semicolon = fields.find(';');
    const std::string name = local ? fields.substr(0, semicolon) : rest.substr(rest.find_last_of('/') + 1);
    const char* numbers = local && semicolon != std::string::npos ? fields.c_str() + semicolon + 1 : "";
    char* end = nullptr;
    const uint64_t address = std::strtoull(numbers, &end, 16);
    const uint64_t size = *end == ';' ? std::strtoull(end + 1, nullptr, 16) : 0;
    const auto schema = url.find("SchemaVersion=");
    const auto schemaPart = [&](int index) {
        require(schema != std::string::npos, GC_ERR_NOT_AVAILABLE, "the URL names no schema version");
        const char* p = url.c_str() + schema + 14;
        for (int i = 0; i < index; ++i) p = std::strchr(p, '.') ? std::strchr(p, '.') + 1 : "";
        return infoInt32(int32_t(std::strtol(p, nullptr, 10)));
    };
    switch (command) {
        case URL_INFO_URL: return infoString(url);
        case URL_INFO_SCHEMA_VER_MAJOR: return schemaPart(0);
        case URL_INFO_SCHEMA_VER_MINOR: return schemaPart(1);
        case URL_INFO_FILE_VER_MAJOR:
        case URL_INFO_FILE_VER_MINOR:
        case URL_INFO_FILE_VER_SUBMINOR:
        case URL_INFO_FILE_SHA1_HASH: throw GenTLError(GC_ERR_NOT_AVAILABLE, "not told by the URL");
        case URL_INFO_FILE_REGISTER_ADDRESS:
            require(local, GC_ERR_NOT_AVAILABLE, "the description is not in the register map");
            return infoUInt64(address);
        case URL_INFO_FILE_SIZE:
            require(local, GC_ERR_NOT_AVAILABLE, "the description is not in the register map");
            return infoUInt64(size);
        case URL_INFO_SCHEME: return infoInt32(local ? URL_SCHEME_LOCAL : file ? URL_SCHEME_FILE : URL_SCHEME_HTTP);
        case URL_INFO_FILENAME: return infoString(name);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown URL info command");
    }
}

}  // namespace

GC_ERROR GC_CALLTYPE GenTL::GCGetPortURLInfo(PORT_HANDLE hPort, uint32_t iURLIndex, URL_INFO_CMD iInfoCmd,
                                             INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return guarded("GCGetPortURLInfo", [&] {
        const auto port = lookupPort(hPort);
        require(iURLIndex == 0, GC_ERR_INVALID_INDEX, "URL index out of range");
        deliverInfo(urlInfo(port->portUrl(), iInfoCmd), piType, pBuffer, piSize);
    });
}
