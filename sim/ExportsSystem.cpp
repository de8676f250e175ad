// Exported GenTL functions of the library, system, interface and device modules.
#include "sim/Exports.h"

using namespace zevo;

#include "producer-kit/TreeExports.inc"
