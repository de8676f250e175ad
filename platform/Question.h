// Inside platform/: how each system asks its user a yes/no question.
#pragma once

#include <string>

#include "platform/Platform.h"

namespace tq4::platform {

// Linux: a desktop dialog when there is a desktop, else NobodyAsked. Windows: a message box.
Answer askTheUser(const std::string& title, const std::string& text);

}  // namespace tq4::platform
