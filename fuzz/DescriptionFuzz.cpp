// libFuzzer target: the camera description as a producer could serve it. The first byte picks
// what the rest is: a description URL (parsed, its file names derived), plain XML text or a zip
// archive. A description that loads is connected to a register space of zeros, and every
// feature of its tree is read as text, as the camera preparation reads features.
#include <cstddef>
#include <cstdint>
#include <string>

#include "features/Features.h"
#include "features/NodeMap.h"
#include "gentl/DescriptionUrl.h"

namespace {

class ZeroPort : public tq4::features::RegisterPort {
public:
    void Read(void* buffer, int64_t, int64_t length) override {
        auto* bytes = static_cast<uint8_t*>(buffer);
        for (int64_t i = 0; i < length; ++i) bytes[i] = 0;
    }
    void Write(const void*, int64_t, int64_t) override {}
};

void parseUrl(const uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const std::string& url : tq4::gentl::splitUrlList(text.c_str(), text.size() + 1)) {
        const tq4::gentl::DescriptionUrl parsed = tq4::gentl::parseDescriptionUrl(url);
        const std::string local = tq4::gentl::localNameOfFileUrlPath(parsed.fileName);
        if (tq4::gentl::hasDirectoryPart(local)) tq4::gentl::bareFileName(local);
        (void)parsed.usable();
    }
}

void loadDescription(bool zipped, const uint8_t* data, std::size_t size) {
    tq4::features::NodeMap map;
    ZeroPort port;
    try {
        if (zipped)
            map.loadZippedXml(data, size);
        else
            map.loadXml(reinterpret_cast<const char*>(data), size);
        if (!map.connect(&port)) return;
        for (const auto& entry : map.featureTree())
            if (!entry.isCategory && tq4::features::isFeatureReadable(map, entry.name.c_str()))
                tq4::features::getString(map, entry.name.c_str());
    } catch (const tq4::features::GenericException&) {
        // a description the engine refuses: what the driver reports as a failed open
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    switch (data[0] % 3) {
        case 0: parseUrl(data + 1, size - 1); break;
        case 1: loadDescription(false, data + 1, size - 1); break;
        default: loadDescription(true, data + 1, size - 1); break;
    }
    return 0;
}
