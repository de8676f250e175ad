// Exported GenTL functions of the data stream module, its buffers and the event objects.
#include "aravis-producer/Exports.h"

#include <cstring>

using namespace tq4aravis;

#include "producer-kit/StreamExports.inc"
