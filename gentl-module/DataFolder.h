// The driver data directory: the common application data folder followed by "zevo/genicam/".
// It holds dumped camera descriptions and correction data and is the last place searched for
// producers.
#pragma once

#include <string>

namespace tq4::gentl {

// The folder with a trailing separator, empty when no application data folder can be named.
// Does not create it.
std::string driverDataDirectory();
// The same, created (with its parents) when missing; empty when that fails.
std::string ensureDriverDataDirectory();

}  // namespace tq4::gentl
