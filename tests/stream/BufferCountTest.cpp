// How many acquisition buffers a memory budget holds for a payload.
#include <gtest/gtest.h>

#include "stream/DataStream.h"

namespace tq4::stream {
namespace {

// A budget that holds more buffers than the minimum is capped at 512, even below a larger minimum.
TEST(BufferCount, BudgetDividedByPayloadAboveTheMinimumAndAtMost512) {
    const struct {
        uint64_t budget, payload, minimum, count;
    } cases[] = {
        {33554432, 1048576, 4, 32}, {33554432, 3000000, 4, 11}, {33554432, 16, 4, 512}, {8192, 16, 4, 512},
        {8208, 16, 4, 512},         {33554432, 34000000, 4, 4}, {5000, 1000, 4, 5},     {4000, 1000, 4, 4},
        {33554432, 34000000, 6, 6}, {16, 1, 600, 600},          {1 << 20, 1, 600, 512},
    };
    for (const auto& c : cases)
        EXPECT_EQ(bufferCountFor(c.budget, c.payload, c.minimum), c.count)
            << c.budget << " / " << c.payload << ", minimum " << c.minimum;
}

}  // namespace
}  // namespace tq4::stream
