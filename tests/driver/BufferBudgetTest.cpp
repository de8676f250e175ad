// How many buffers the data stream announces for a payload, from the memory budget in the
// configuration file (MEMORY/DMALength), and what it writes back there.
#include <string>

#include "config/Config.h"
#include "support/StreamWorld.h"

namespace tq4::test {
namespace {

class BufferBudgetTest : public StreamWorld {
protected:
    // Arms a camera whose stream reports `payload` bytes; the announcement line it logged.
    std::string announce(const std::string& simConfig) {
        configure(simConfig);
        clearLines();
        TQ4_HANDLE h = nullptr;
        EXPECT_EQ(Open_Cam(0, &h), ZEVO_NOERROR);
        EXPECT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR);
        const auto lines = messagesStartingWith("DataStream::setImageSizes: ");
        EXPECT_EQ(Close_Cam(&h), ZEVO_NOERROR);
        return lines.empty() ? std::string() : lines.back();
    }
    std::string budgetInFile() { return config::readIniValue(iniFile().string(), "MEMORY", "DMALength", "", false); }
    static std::string announced(int count) {
        return "DataStream::setImageSizes: " + std::to_string(count) + " buffers allocated and " +
               std::to_string(count) + " buffers announced to GenTL Producer.";
    }
};

TEST_F(BufferBudgetTest, BudgetDividedByPayloadWithTheUsedMemoryWrittenBack) {
    EXPECT_EQ(announce("payload_size = 1048576\n"), announced(32));
    EXPECT_EQ(budgetInFile(), "33554432");  // the default, and exactly what 32 MiB buffers use

    EXPECT_EQ(announce("payload_size = 3000000\n"), announced(11));
    EXPECT_EQ(budgetInFile(), "33000000");
    EXPECT_EQ(announce("payload_size = 3000000\n"), announced(11));
    EXPECT_EQ(budgetInFile(), "33000000");
}

TEST_F(BufferBudgetTest, TinyPayloadIsCappedAndLargePayloadGetsTheMinimum) {
    EXPECT_EQ(announce("payload_size = 16\n"), announced(512));
    EXPECT_EQ(budgetInFile(), "8192");

    config::writeIniValue(iniFile().string(), "MEMORY", "DMALength", "33554432");
    EXPECT_EQ(announce("payload_size = 34000000\n"), announced(4));
    EXPECT_EQ(budgetInFile(), "136000000");

    config::writeIniValue(iniFile().string(), "MEMORY", "DMALength", "33554432");
    EXPECT_EQ(announce("payload_size = 34000000\nbuf_announce_min = 6\n"), announced(6));
    EXPECT_TRUE(logged("DataStream::calcNumBuffers: Minimum too low. Min announce buffer num: 6", log::kVerbose));
}

TEST_F(BufferBudgetTest, UnreadableBudgetFallsBackAndZeroPayloadAnnouncesNothing) {
    config::writeIniValue(iniFile().string(), "MEMORY", "DMALength", "lots");
    EXPECT_EQ(announce("payload_size = 1048576\n"), announced(32));
    EXPECT_EQ(count("DataStream::calcNumBuffers: cast ini DMALength stoull exception: "), 1);

    configure("payload_size = 0\n");
    TQ4_HANDLE& h = open();
    clearLines();
    const uint32_t sizes[4] = {1296, 1032, 0, 0};
    EXPECT_EQ(Set_Image_Parameters(h, sizes, sizeof sizes), ZEVO_ERROR_DRIVER_WRONGSIZE);
    EXPECT_EQ(count("buffers announced to GenTL Producer."), 0);
    EXPECT_EQ(budgetInFile(), "lots") << "nothing to divide: the file stays as it is";
}

}  // namespace
}  // namespace tq4::test
