// Enumerating interfaces and devices, and handing out device numbers.
#include "gentl/SystemTLI.h"

#include "gentl/Device.h"
#include "gentl/Interface.h"
#include "support/World.h"

namespace tq4::test {
namespace {

using namespace tq4::gentl;

class Enumeration : public World {
protected:
    std::unique_ptr<SystemTLI> openSystem() {
        auto system = std::make_unique<SystemTLI>("ZEVO.cti");
        EXPECT_TRUE(system->isUsable()) << dump();
        system->updateInterfaces();
        system->updateDeviceMaps();
        return system;
    }
    static std::vector<std::string> deviceIds(const SystemTLI& system) {
        std::vector<std::string> ids;
        system.forEachDevice([&](Device& d) { ids.push_back(d.id()); });
        return ids;
    }
};

TEST_F(Enumeration, InterfacesAndDevicesAreRegisteredClosedAndInStableOrder) {
    configure("interfaces=2\ndevices_per_interface=2\n");
    auto system = openSystem();
    ASSERT_EQ(system->interfaces().size(), 2u);
    EXPECT_EQ(count("SystemTLI::updateInterfaces: Opened Interface with ID <"), 2);
    EXPECT_TRUE(logged("SystemTLI::updateInterfaces: 0 opened interface, 2 interface available.", log::kProgress));
    const std::vector<std::string> ids = deviceIds(*system);
    ASSERT_EQ(ids.size(), 4u);
    EXPECT_EQ(count("Interface::updateDeviceMap: New device found. DEVICE_INFO_DISPLAYNAME: "), 4);
    system->forEachDevice([](Device& d) {
        EXPECT_EQ(d.openCount(), 0u);
        EXPECT_EQ(d.number(), -1);
        EXPECT_FALSE(d.displayName().empty());
    });

    // A refresh neither reopens nor reorders anything.
    clearLines();
    system->updateInterfaces();
    system->updateDeviceMaps();
    EXPECT_EQ(deviceIds(*system), ids);
    EXPECT_EQ(count("Opened Interface"), 0);
    EXPECT_EQ(count("Registered Device"), 0);
    EXPECT_EQ(count("interface available"), 0);
}

TEST_F(Enumeration, NewDeviceLinesComeInTheirOrder) {
    auto system = openSystem();
    std::string order;
    for (const std::string& line : messagesStartingWith("Interface::updateDeviceMap: "))
        order += line.substr(28, line.find_first_of(".:<", 28) - 28) + "|";
    EXPECT_EQ(order,
              "New device found|DEVICE_INFO_VERSION|DEVICE_INFO_ID|DEVICE_INFO_VENDOR|DEVICE_INFO_MODEL|"
              "DEVICE_INFO_TLTYPE|DEVICE_INFO_USER_DEFINED_NAME|DEVICE_INFO_SERIAL_NUMBER|Registered Device with ID |")
        << dump();
    EXPECT_EQ(count("Interface::updateDeviceMap: DEVICE_INFO_ID: " + deviceIds(*system).at(0)), 1);
}

// A device the producer lists only on the third update is found; one that appears later still
// leaves its interface empty, without a message, until the next refresh.
TEST_F(Enumeration, LateDevicesAreFoundWithinThreeUpdates) {
    for (const auto& [updates, found] : {std::pair{2, 1u}, {3, 0u}}) {
        configure("devices_appear_after_updates=" + std::to_string(updates) + "\n");
        auto system = openSystem();
        EXPECT_EQ(deviceIds(*system).size(), found) << dump();
        EXPECT_EQ(count("Interface::updateDeviceMap"), int(found) * 9) << dump();
        system->updateDeviceMaps();
        EXPECT_EQ(deviceIds(*system).size(), 1u);
        clearLines();
    }
}

TEST_F(Enumeration, VanishedDeviceIsReportedOnEachRefreshAndStillFoundByHandle) {
    configure("devices_vanish_after_updates=2\n");
    auto system = openSystem();
    void* handle = system->openDevice(7, "ZEVO.cti");
    ASSERT_NE(handle, nullptr) << dump();
    const std::string id = deviceIds(*system).at(0);
    const std::string warning = "Interface::updateDeviceMap: [WARNING] Device ID <" + id + "> no longer available.";

    system->updateDeviceMaps();
    system->updateDeviceMaps();
    EXPECT_EQ(count(warning), 2) << dump();
    EXPECT_TRUE(logged(warning, log::kError));
    auto found = system->findDevice([&](const Device& d) { return d.handle() == handle; });
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->number(), 7);
    EXPECT_EQ(found->openCount(), 1u);
    EXPECT_EQ(found->close(), nullptr);
}

TEST_F(Enumeration, NumbersGoToTheFirstFreeDevicesInRegistrationOrder) {
    configure("devices_per_interface=2\n");
    auto system = openSystem();
    const std::vector<std::string> ids = deviceIds(*system);
    ASSERT_EQ(ids.size(), 2u);

    void* first = system->openDevice(0, "ZEVO.cti");
    void* second = system->openDevice(1, "ZEVO.cti");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    auto byNumber = [&](int n) { return system->findDevice([n](const Device& d) { return d.number() == n; }); };
    EXPECT_EQ(byNumber(0)->id(), ids[0]);
    EXPECT_EQ(byNumber(1)->id(), ids[1]);
    EXPECT_EQ(byNumber(0)->handle(), first);
    EXPECT_EQ(byNumber(1)->openText(), "ZEVO.cti");
    EXPECT_TRUE(logged("SystemTLI::openDevice: Open device ID <" + ids[1] + "> with zevo_num 1 on Interface <" +
                           system->interfaces()[0]->id() + ">",
                       log::kProgress));
    // Every device is taken: no third number.
    EXPECT_EQ(system->openDevice(2, "ZEVO.cti"), nullptr);

    // A closed device is free again and the next number goes to it.
    EXPECT_EQ(byNumber(0)->close(), nullptr);
    void* reopened = system->openDevice(5, "ZEVO.cti");
    ASSERT_NE(reopened, nullptr);
    EXPECT_EQ(byNumber(5)->id(), ids[0]);
    EXPECT_EQ(byNumber(5)->handle(), reopened);
}

// A system whose TLOpen fails is not usable and closes cleanly; failing list updates end the
// refresh with their code, and the next refresh finds everything.
TEST_F(Enumeration, FailingOpenAndListUpdates) {
    configure("fault.TLOpen=-1001\n");
    EXPECT_FALSE(SystemTLI("ZEVO.cti").isUsable());
    EXPECT_TRUE(logged("SystemTLI::SystemTLI: TLOpen failed.", log::kError));
    EXPECT_TRUE(logged("GenTLModule::~GenTLModule: deinit done.", log::kProgress));

    configure("fault.TLUpdateInterfaceList=-1010,1\nfault.IFUpdateDeviceList=-1011,1\n");
    auto system = std::make_unique<SystemTLI>("ZEVO.cti");
    system->updateInterfaces();
    EXPECT_TRUE(logged("SystemTLI::updateInterfaces: TLUpdateInterfaceList failed: -1010", log::kError)) << dump();
    EXPECT_TRUE(system->interfaces().empty());

    system->updateInterfaces();
    system->updateDeviceMaps();
    EXPECT_TRUE(logged("Interface::updateDeviceMap: GC failed: -1011.", log::kError)) << dump();
    EXPECT_TRUE(deviceIds(*system).empty());
    system->updateDeviceMaps();
    EXPECT_EQ(deviceIds(*system).size(), 1u);
}

}  // namespace
}  // namespace tq4::test
