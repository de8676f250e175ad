// What the handlers share beyond the telegram frame: the device's node map for the length of a
// call, and the feature tests they combine most often.
#pragma once

#include <memory>
#include <string>

#include "features/Features.h"
#include "gentl/Device.h"
#include "log/Log.h"
#include "stream/DataStream.h"
#include "telegram/Handlers.h"
#include "telegram/Response.h"
#include "tq4_genicam.h"

namespace ZEVO_TELEGRAM {

using tq4::features::NodeMap;

// The telegrams that carry one u16 value at offset 4: 7 bytes.
constexpr uint16_t kValueLength = 7;
constexpr std::size_t kValue = 4;
// The 7-byte answer with `value` at offset 4, sent with the success flag; returns `result`.
uint32_t answerValue(const Call& call, uint16_t value, uint32_t result = 0);

// The device's node map, held for the length of the call. A device without one gets an empty
// map on which every feature is absent, so the handlers fall back to their defaults.
std::shared_ptr<NodeMap> nodeMapOf(const Device& device);

// Readable, the test behind "the feature is available".
inline bool isAvailable(NodeMap& map, const char* name) { return tq4::features::isFeatureReadable(map, name); }
// Readable and writable.
inline bool isSettable(NodeMap& map, const char* name) {
    return isAvailable(map, name) && tq4::features::isFeatureWritable(map, name);
}
// The enumeration is available and has the entry (whether or not it may be chosen now).
inline bool offersEntry(NodeMap& map, const char* name, const std::string& entry) {
    return isAvailable(map, name) && tq4::features::hasEnumEntry(map, name, entry, false);
}

}  // namespace ZEVO_TELEGRAM
