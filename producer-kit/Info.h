// Answers of the GenTL information queries (…GetInfo, …GetID, GCGetLastError): a typed value
// handed out with the standard's size-query convention.
#pragma once

#include "producer-kit/Common.h"

#include <cstring>
#include <string>
#include <vector>

namespace gentlkit {

struct InfoValue {
    INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
    std::vector<char> bytes;
};

InfoValue infoString(const std::string& text);
InfoValue infoStringList(const std::vector<std::string>& items);
InfoValue infoBool(bool value);
InfoValue infoBuffer(const void* data, size_t size);

template <typename T>
InfoValue infoNumber(INFO_DATATYPE type, T value) {
    InfoValue v;
    v.type = type;
    v.bytes.resize(sizeof(T));
    std::memcpy(v.bytes.data(), &value, sizeof(T));
    return v;
}
inline InfoValue infoInt32(int32_t v) { return infoNumber(INFO_DATATYPE_INT32, v); }
inline InfoValue infoUInt32(uint32_t v) { return infoNumber(INFO_DATATYPE_UINT32, v); }
inline InfoValue infoUInt64(uint64_t v) { return infoNumber(INFO_DATATYPE_UINT64, v); }
inline InfoValue infoSize(size_t v) { return infoNumber(INFO_DATATYPE_SIZET, v); }
inline InfoValue infoPtr(const void* v) { return infoNumber(INFO_DATATYPE_PTR, v); }

// With pBuffer null *piSize receives the bytes needed; else *piSize is the capacity on entry
// and the bytes written on return. piType must not be null.
void deliverInfo(const InfoValue& value, INFO_DATATYPE* piType, void* pBuffer, size_t* piSize);
// The same for ID and text functions, which have no type parameter.
void deliverText(const std::string& text, char* buffer, size_t* piSize);

}  // namespace gentlkit
