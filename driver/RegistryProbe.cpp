// Stand-in for builds without the camera registry (the registry's own definition wins).
#include "driver/Lifetime.h"

namespace tq4::driver {

__attribute__((weak)) bool registryExists() { return false; }

}  // namespace tq4::driver
