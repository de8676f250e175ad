// The simulated producer's names: the GenTL ones and the producer kit's.
#pragma once

#include "producer-kit/Common.h"

namespace zevo {

using namespace gentlkit;

}  // namespace zevo
