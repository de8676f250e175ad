// The camera description as served: the embedded XML edited for the configuration (features
// left out or renamed, read-only selector, pixel formats), zipped or plain, and the URL that
// names it (local: register address or file: path).
#pragma once

#include "sim/Common.h"
#include "sim/Config.h"

#include <memory>
#include <string>
#include <vector>

namespace zevo {

struct Description {
    std::string xml;                                   // the edited description text
    std::shared_ptr<const std::vector<uint8_t>> blob;  // bytes in the register map
    std::string url;                                   // URL text handed to consumers
    URL_SCHEME_ID scheme = URL_SCHEME_LOCAL;
    std::string fileName;     // file name part of the URL
    uint64_t address = 0;     // local: register address
    uint64_t size = 0;        // local: length in the URL
    bool inRegisters = true;  // the blob is mapped at `address`
};

// Builds the description for one camera; for the file: scheme it also writes the file.
Description buildDescription(const Config& config);

// Text edits of the embedded XML (exposed for the tests).
std::string editedCameraXml(const Config& config);
std::string removeFeature(std::string xml, const std::string& name);
std::string renameFeature(std::string xml, const std::string& from, const std::string& to);
std::string makeReadOnly(std::string xml, const std::string& name);
std::string keepEnumEntries(std::string xml, const std::string& enumeration, const std::vector<std::string>& keep);

}  // namespace zevo
