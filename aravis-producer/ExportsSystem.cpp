// Exported GenTL functions of the library, system, interface and device modules.
#include "aravis-producer/Exports.h"

using namespace tq4aravis;

#include "producer-kit/TreeExports.inc"
