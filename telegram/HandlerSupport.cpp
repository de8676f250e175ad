#include "telegram/HandlerSupport.h"

namespace ZEVO_TELEGRAM {

std::shared_ptr<NodeMap> nodeMapOf(const Device& device) {
    if (auto map = device.nodeMap()) {
        return map;
    }
    static const auto kEmptyMap = std::make_shared<NodeMap>("NoCamera");
    return kEmptyMap;
}

uint32_t answerValue(const Call& call, uint16_t value, uint32_t result) {
    Response response(call.code(), kValueLength);
    response.putU16(kValue, value);
    return call.send(response, kSuccessFlag, result);
}

}  // namespace ZEVO_TELEGRAM
