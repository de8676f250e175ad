// Exported GenTL functions of the data stream module, its buffers and the event objects.
#include "sim/Exports.h"

using namespace zevo;

#include "producer-kit/StreamExports.inc"
