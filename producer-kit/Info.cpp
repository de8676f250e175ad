#include "producer-kit/Info.h"

namespace gentlkit {

InfoValue infoString(const std::string& text) {
    InfoValue v;
    v.type = INFO_DATATYPE_STRING;
    v.bytes.assign(text.begin(), text.end());
    v.bytes.push_back('\0');
    return v;
}

InfoValue infoStringList(const std::vector<std::string>& items) {
    InfoValue v;
    v.type = INFO_DATATYPE_STRINGLIST;
    for (const auto& item : items) {
        v.bytes.insert(v.bytes.end(), item.begin(), item.end());
        v.bytes.push_back('\0');
    }
    v.bytes.push_back('\0');
    return v;
}

InfoValue infoBool(bool value) {
    InfoValue v;
    v.type = INFO_DATATYPE_BOOL8;
    v.bytes.push_back(value ? 1 : 0);
    return v;
}

InfoValue infoBuffer(const void* data, size_t size) {
    InfoValue v;
    v.type = INFO_DATATYPE_BUFFER;
    const char* bytes = static_cast<const char*>(data);
    v.bytes.assign(bytes, bytes + size);
    return v;
}

namespace {

void deliverBytes(const std::vector<char>& bytes, void* pBuffer, size_t* piSize) {
    require(piSize != nullptr, GC_ERR_INVALID_PARAMETER, "size pointer is null");
    if (pBuffer == nullptr) {
        *piSize = bytes.size();
        return;
    }
    require(*piSize >= bytes.size(), GC_ERR_BUFFER_TOO_SMALL, "buffer too small for the answer");
    std::memcpy(pBuffer, bytes.data(), bytes.size());
    *piSize = bytes.size();
}

}  // namespace

void deliverInfo(const InfoValue& value, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    require(piType != nullptr, GC_ERR_INVALID_PARAMETER, "type pointer is null");
    deliverBytes(value.bytes, pBuffer, piSize);
    *piType = value.type;
}

void deliverText(const std::string& text, char* buffer, size_t* piSize) {
    deliverBytes(infoString(text).bytes, buffer, piSize);
}

}  // namespace gentlkit
