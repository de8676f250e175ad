#include "telegram/HandlerSupport.h"

namespace ZEVO_TELEGRAM {

std::shared_ptr<NodeMap> nodeMapOf(const Device& device) {
    if (auto map = device.nodeMap()) {
        return map;
    }
    static const auto kEmptyMap = std::make_shared<NodeMap>("NoCamera");
    return kEmptyMap;
}

}  // namespace ZEVO_TELEGRAM
