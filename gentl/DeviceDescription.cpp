// Device::allocNodeMap: finds the camera description through the port's URLs and builds the
// node map from it.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "features/NodeMap.h"
#include "gentl-module/DataFolder.h"
#include "gentl-module/GenTLCall.h"
#include "gentl-module/GenTLModule.h"
#include "gentl/DescriptionUrl.h"
#include "gentl/Device.h"
#include "gentl/Port.h"
#include "log/Log.h"
#include "platform/WholeFile.h"

namespace tq4::gentl {

namespace {

const char* const kZipExtension = ".zip";             // compared exactly: ".ZIP" is loaded as plain XML
constexpr std::size_t kShortestReportedNameSize = 5;  // NUL included

// One GCGetPortURLInfo query; `type` is what the producer reports.
struct UrlInfoQuery {
    const GenTLFunctions& fn;
    GenTL::PORT_HANDLE hPort;
    uint32_t index;

    GenTL::GC_ERROR number(GenTL::URL_INFO_CMD command, uint64_t& value, bool& isUInt64) const {
        GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
        uint64_t answer = 0;
        std::size_t size = sizeof(answer);
        const GenTL::GC_ERROR status = callGenTL(fn.GCGetPortURLInfo, hPort, index, command, &type, &answer, &size);
        isUInt64 = status == GenTL::GC_ERR_SUCCESS && type == GenTL::INFO_DATATYPE_UINT64;
        if (isUInt64) value = answer;
        return status;
    }
    GenTL::GC_ERROR text(GenTL::URL_INFO_CMD command, std::string& value, GenTL::INFO_DATATYPE& type,
                         std::size_t& reportedSize) const {
        return queryText(
            [&](char* buffer, std::size_t* size) {
                const GenTL::GC_ERROR status =
                    callGenTL(fn.GCGetPortURLInfo, hPort, index, command, &type, buffer, size);
                reportedSize = *size;
                return status;
            },
            value);
    }
};

// The description named by one URL index, or false when the index cannot be used.
bool describeUrlIndex(const UrlInfoQuery& query, DescriptionUrl& found) {
    bool good = true;
    GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
    std::size_t reportedSize = 0;
    std::string url;
    GenTL::GC_ERROR status = query.text(GenTL::URL_INFO_URL, url, type, reportedSize);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "Device::allocNodeMap: GCGetPortURLInfo with GenTL::URL_INFO_URL failed: %d",
                status);
        good = false;
    }
    DescriptionUrl description = parseDescriptionUrl(url);

    bool isUInt64 = false;
    uint64_t address = 0;
    uint64_t length = 0;
    good = query.number(GenTL::URL_INFO_FILE_REGISTER_ADDRESS, address, isUInt64) == GenTL::GC_ERR_SUCCESS && good;
    good = query.number(GenTL::URL_INFO_FILE_SIZE, length, isUInt64) == GenTL::GC_ERR_SUCCESS && good;

    std::string name;
    status = query.text(GenTL::URL_INFO_FILENAME, name, type, reportedSize);
    good = status == GenTL::GC_ERR_SUCCESS && type == GenTL::INFO_DATATYPE_STRING &&
           reportedSize >= kShortestReportedNameSize && good;
    if (!good) return false;

    // A file URL names its folder too; the file name information is only the name.
    if (description.scheme != UrlScheme::File) description.fileName = name;
    description.extension = extensionOf(name);
    description.address = address;
    description.length = length;
    // Address and size are taken as the producer reports them: a description may start at 0.
    TQ4_LOG(log::kVerbose, nullptr, "Device::allocNodeMap: retrieve URL info succeed.");
    TQ4_LOG(log::kVerbose, nullptr, "Device::allocNodeMap: addr: 0x%x, xml_size: 0x%x, name: %s, ext: %s",
            static_cast<unsigned>(address), static_cast<unsigned>(length), name.c_str(), description.extension.c_str());
    found = description;
    return true;
}

// Walks every URL index; the last one decides whether the info path is used.
bool descriptionFromUrlInfo(const GenTLFunctions& fn, GenTL::PORT_HANDLE hPort, DescriptionUrl& found) {
    uint32_t count = 0;
    const GenTL::GC_ERROR status = callGenTL(fn.GCGetNumPortURLs, hPort, &count);
    if (status != GenTL::GC_ERR_SUCCESS || count == 0) {
        TQ4_LOG(log::kError, nullptr, "Device::allocNodeMap: GCGetNumPortURLs failed: %d, num_url: %d.", status,
                static_cast<int>(count));
        return false;
    }
    bool lastGood = false;
    for (uint32_t index = 0; index < count; ++index) lastGood = describeUrlIndex({fn, hPort, index}, found);
    return lastGood;
}

// The older GCGetPortURL answer may hold several URLs; the last usable one is taken.
// Returns false (and logs) when the list cannot be read or holds nothing usable.
bool descriptionFromUrlList(const GenTLFunctions& fn, GenTL::PORT_HANDLE hPort, DescriptionUrl& found) {
    char buffer[kTextBufferSize + 1] = {};
    std::size_t size = kTextBufferSize;
    const GenTL::GC_ERROR status = callGenTL(fn.GCGetPortURL, hPort, buffer, &size);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "Device::allocNodeMap: GC failed: %d", status);
        return false;
    }
    TQ4_LOG(log::kProgress, nullptr, "Device::allocNodeMap: but GCGetPortURL succeed. URL: %s", buffer);
    bool any = false;
    for (const std::string& url : splitUrlList(buffer, std::min(size, kTextBufferSize))) {
        DescriptionUrl candidate = parseDescriptionUrl(url);
        if (!candidate.usable()) {
            TQ4_LOG(log::kError, nullptr, "Device::allocNodeMap: Cannot interpret URL: %s", url.c_str());
            continue;
        }
        found = candidate;
        any = true;
    }
    return any;
}

// Replaces the target whole through `fill`; a failure of `fill` or of the replacement is thrown.
template <typename Fill>
void replaceFileWhole(const std::filesystem::path& target, Fill fill) {
    const std::string failed = platform::replaceFileWhole(target.string(), [&](const std::string& temporary) {
        fill(std::filesystem::path(temporary));
        return true;
    });
    if (!failed.empty()) throw std::runtime_error(failed);
}

void writeFileWhole(const std::filesystem::path& target, const char* data, std::size_t size) {
    replaceFileWhole(target, [&](const std::filesystem::path& temporary) {
        std::ofstream out;
        out.exceptions(std::ios::failbit | std::ios::badbit);
        out.open(temporary, std::ios::binary | std::ios::trunc);
        out.write(data, static_cast<std::streamsize>(size));
        out.close();
    });
}

std::filesystem::path dataDirectoryFile(const std::string& name) {
    // Only the name part: a producer's file name never places a file outside the folder.
    return std::filesystem::path(ensureDriverDataDirectory()) / std::filesystem::path(name).filename();
}

// False (and logged) when the description is too large to be one: nothing is read or stored.
bool loadRegisterFile(features::NodeMap& map, Port& port, const DescriptionUrl& description) {
    if (description.length > features::kMaxDescriptionSize) {
        TQ4_LOG(log::kError, nullptr,
                "Device::allocNodeMap: Description <%s> of 0x%llx bytes is larger than the largest accepted (0x%llx).",
                description.fileName.c_str(), static_cast<unsigned long long>(description.length),
                static_cast<unsigned long long>(features::kMaxDescriptionSize));
        return false;
    }
    std::vector<char> bytes(static_cast<std::size_t>(description.length) + 1, '\0');
    port.Read(bytes.data(), static_cast<int64_t>(description.address), static_cast<int64_t>(description.length));

    const std::filesystem::path dump = dataDirectoryFile(description.fileName);
    writeFileWhole(dump, bytes.data(), static_cast<std::size_t>(description.length));
    TQ4_LOG(log::kDetail, nullptr, "Device::allocNodeMap: Dump xml to: %s", dump.string().c_str());

    if (description.extension == kZipExtension)
        map.loadZippedXml(bytes.data(), static_cast<std::size_t>(description.length));
    else
        map.loadXml(bytes.data(), std::strlen(bytes.data()));
    return true;
}

// The file is copied into the driver data directory (when it exists and the URL gave a
// directory) and always loaded from there, so the data directory keeps the description the
// camera was last opened with.
void loadDescriptionFile(features::NodeMap& map, const DescriptionUrl& description) {
    const std::string localName = localNameOfFileUrlPath(description.fileName);
    const std::filesystem::path stored = dataDirectoryFile(bareFileName(localName));
    if (hasDirectoryPart(localName) && std::filesystem::exists(localName))
        replaceFileWhole(stored, [&](const std::filesystem::path& temporary) {
            std::filesystem::copy_file(localName, temporary, std::filesystem::copy_options::overwrite_existing);
        });
    if (description.extension == kZipExtension)
        map.loadZippedXmlFile(stored.string());
    else
        map.loadXmlFile(stored.string());
}

}  // namespace

std::shared_ptr<features::NodeMap> Device::allocNodeMap() {
    if (!port_) return nullptr;  // only an opened device has a description
    auto map = std::make_shared<features::NodeMap>("Device");
    const GenTLFunctions& fn = module_->fn();
    const GenTL::PORT_HANDLE hPort = port_->handle();

    DescriptionUrl description;
    if (!descriptionFromUrlInfo(fn, hPort, description) && !descriptionFromUrlList(fn, hPort, description))
        return nullptr;

    switch (description.scheme) {
        case UrlScheme::Local:
            if (!loadRegisterFile(*map, *port_, description)) return nullptr;
            break;
        case UrlScheme::File: loadDescriptionFile(*map, description); break;
        default:
            TQ4_LOG(log::kError, nullptr, "Device::allocNodeMap: Cannot interpret URL: %s", description.url.c_str());
            return nullptr;
    }
    return map;
}

}  // namespace tq4::gentl
