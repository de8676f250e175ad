#include "driver/Lifetime.h"

namespace tq4::driver {

bool genicamAvailable() { return true; }

}  // namespace tq4::driver
