// The node map over the engine: loading (good and bad input), the port, and the node model
// (kinds, access modes, locking, enumeration order, verification, uncached reads).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "features/NodeMap.h"
#include "tests/features/TestCamera.h"
#include "tests/features/ZipMaker.h"

namespace tq4::features {
namespace {

const std::string kXml(test::kDescription);

std::string loadError(const std::function<void(NodeMap&)>& load) {
    NodeMap map;
    try {
        load(map);
    } catch (const GenericException& e) {
        EXPECT_FALSE(map.isLoaded());
        return e.GetDescription();
    }
    return "(loaded)";
}

std::filesystem::path writeTemp(const std::string& name, const std::string& bytes) {
    auto path = std::filesystem::temp_directory_path() / ("tq4_features_" + name);
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

TEST(NodeMapLoad, AcceptsTextZipsAndFilesAndRefusesASecondLoad) {
    for (bool deflated : {false, true}) {
        std::string zip = test::makeZip("camera.xml", kXml, deflated);
        NodeMap map;
        map.loadZippedXml(zip.data(), zip.size());
        EXPECT_NE(map.getNode("Width"), nullptr) << "deflated " << deflated;
        try {
            map.loadXml(kXml.data(), kXml.size());
            ADD_FAILURE() << "second load accepted";
        } catch (const GenericException& e) {
            EXPECT_STREQ(e.GetDescription(), "Node map already created");
        }
    }
    // A description read from camera memory ends at its first NUL; what follows is ignored.
    std::string padded = kXml + std::string(1, '\0') + "<garbage";
    NodeMap map;
    map.loadXml(padded.data(), padded.size());
    EXPECT_TRUE(map.isLoaded());

    auto xmlFile = writeTemp("camera.xml", kXml);
    auto zipFile = writeTemp("camera.zip", test::makeZip("camera.xml", kXml, true));
    NodeMap fromFile, fromZipFile;
    fromFile.loadXmlFile(xmlFile.string());
    fromZipFile.loadZippedXmlFile(zipFile.string());
    EXPECT_NE(fromFile.getNode("PixelFormat"), nullptr);
    EXPECT_NE(fromZipFile.getNode("PixelFormat"), nullptr);
    std::filesystem::remove(xmlFile);
    std::filesystem::remove(zipFile);
}

TEST(NodeMapLoad, BadInputRaisesAnExceptionWithADescription) {
    const std::string zip = test::makeZip("camera.xml", kXml, true);
    const std::string half = kXml.substr(0, kXml.size() / 2);
    const std::string notGenicam = "<?xml version=\"1.0\"?><html><body/></html>";
    std::string corrupt = zip;
    for (size_t i = 40; i < corrupt.size() / 2; ++i) corrupt[i] = char(i * 7);
    // The end record's directory offset pointing far beyond the data (the engine reads there).
    std::string farDirectory = zip;
    farDirectory[farDirectory.size() - 22 + 19] = '\x7f';

    const std::vector<std::pair<const char*, std::function<void(NodeMap&)>>> cases = {
        {"malformed XML", [](NodeMap& m) { m.loadXml("<RegisterDescription><Integer Name=", 36); }},
        {"not a description", [&](NodeMap& m) { m.loadXml(notGenicam.data(), notGenicam.size()); }},
        {"truncated description", [&](NodeMap& m) { m.loadXml(half.data(), half.size()); }},
        {"empty text", [](NodeMap& m) { m.loadXml("", 0); }},
        {"garbage zip", [](NodeMap& m) { m.loadZippedXml("PK\x03\x04garbage", 11); }},
        {"truncated zip", [&](NodeMap& m) { m.loadZippedXml(zip.data(), zip.size() / 2); }},
        {"corrupt zip", [&](NodeMap& m) { m.loadZippedXml(corrupt.data(), corrupt.size()); }},
        {"zip directory outside", [&](NodeMap& m) { m.loadZippedXml(farDirectory.data(), farDirectory.size()); }},
        {"zip of junk",
         [](NodeMap& m) {
             std::string junk = test::makeZip("camera.xml", "no xml here", false);
             m.loadZippedXml(junk.data(), junk.size());
         }},
        {"missing file", [](NodeMap& m) { m.loadXmlFile("/nonexistent/tq4/camera.xml"); }},
        {"missing zip file", [](NodeMap& m) { m.loadZippedXmlFile("/nonexistent/tq4/camera.zip"); }},
    };
    for (const auto& [what, load] : cases) {
        std::string description = loadError(load);
        EXPECT_NE(description, "(loaded)") << what;
        EXPECT_FALSE(description.empty()) << what;
    }
}

TEST(NodeMapLoad, ConnectDestroyAndReload) {
    test::MemoryPort port;
    NodeMap map;
    EXPECT_FALSE(map.connect(&port));  // nothing loaded
    EXPECT_EQ(map.getNode("Width"), nullptr);
    map.loadXml(kXml.data(), kXml.size());
    EXPECT_FALSE(map.connect(nullptr));
    EXPECT_TRUE(map.connect(&port));
    map.destroy();
    EXPECT_FALSE(map.isLoaded());
    EXPECT_EQ(map.getNode("Width"), nullptr);
    map.loadXml(kXml.data(), kXml.size());  // a destroyed map takes a new description
    EXPECT_TRUE(map.isLoaded());
}

class NodeModel : public ::testing::Test, protected test::ConnectedCamera {
protected:
    void SetUp() override { ASSERT_TRUE(connected); }
    template <class T>
    T& node(const char* name) {
        auto* typed = dynamic_cast<T*>(map.getNode(name));
        EXPECT_NE(typed, nullptr) << name;
        return *typed;
    }
};

TEST_F(NodeModel, KindsAndAccessModes) {
    struct Expected {
        const char* name;
        InterfaceType type;
        AccessMode mode;
    };
    const Expected table[] = {
        {"Root", intfICategory, RO},
        {"Width", intfIInteger, RW},
        {"ExposureTime", intfIFloat, RW},
        {"ReverseX", intfIBoolean, RW},
        {"AcquisitionStart", intfICommand, RW},
        {"PixelFormat", intfIEnumeration, RW},
        {"DeviceUserID", intfIString, RW},
        {"RawBlock", intfIRegister, RW},
        {"Device", intfIPort, RO},
        {"DeviceTemperatureRaw", intfIInteger, RO},
        {"WriteOnlyValue", intfIInteger, WO},
        {"NotImplemented", intfIInteger, NI},
        {"NotAvailable", intfIInteger, NA},
    };
    for (const auto& e : table) {
        Node* n = map.getNode(e.name);
        ASSERT_NE(n, nullptr) << e.name;
        EXPECT_EQ(n->GetName(), e.name);
        EXPECT_EQ(n->GetPrincipalInterfaceType(), e.type) << e.name;
        EXPECT_EQ(n->GetAccessMode(), e.mode) << e.name;
    }
    // An enumeration is not an integer node, although the engine gives it an integer face.
    EXPECT_EQ(dynamic_cast<IntegerNode*>(map.getNode("PixelFormat")), nullptr);
    EXPECT_EQ(map.getNode("Mono8"), nullptr);  // entries are reached through their enumeration
    EXPECT_EQ(map.getNode("NoSuchFeature"), nullptr);
    EXPECT_EQ(node<IntegerNode>("DeviceMAC").GetRepresentation(), MACAddress);
    EXPECT_EQ(node<IntegerNode>("Width").GetRepresentation(), PureNumber);
    EXPECT_EQ(node<FloatNode>("Gain").GetUnit(), "dB");
}

TEST_F(NodeModel, LockedFeatureIsReadOnlyAndRefusesWrites) {
    auto& gain = node<FloatNode>("Gain");
    gain.SetValue(12.0);
    port.put<uint32_t>(test::kGainLocked, 1);
    EXPECT_EQ(gain.GetAccessMode(), RO);
    EXPECT_THROW(gain.SetValue(24.0), GenericException);
    EXPECT_DOUBLE_EQ(port.get<double>(test::kGain), 12.0);
    EXPECT_DOUBLE_EQ(gain.GetValue(), 12.0);
}

TEST_F(NodeModel, VerificationChecksRangeIncrementAndAccess) {
    auto& width = node<IntegerNode>("Width");
    EXPECT_EQ(width.GetMin(), 16);
    EXPECT_EQ(width.GetMax(), 4096);
    EXPECT_EQ(width.GetInc(), 16);
    EXPECT_THROW(width.SetValue(8192), GenericException);
    EXPECT_THROW(width.SetValue(650), GenericException);  // off the increment grid
    width.SetValue(1024);
    EXPECT_EQ(port.get<uint32_t>(test::kWidth), 1024u);
    EXPECT_THROW(node<FloatNode>("ExposureTime").SetValue(5.0), GenericException);
    EXPECT_THROW(node<IntegerNode>("DeviceTemperatureRaw").SetValue(1), GenericException);
    EXPECT_THROW(node<IntegerNode>("WriteOnlyValue").GetValue(), GenericException);
    EXPECT_THROW(node<IntegerNode>("NotAvailable").GetValue(), GenericException);
    EXPECT_DOUBLE_EQ(node<FloatNode>("ExposureTime").GetInc(), 0.0);  // no increment given
}

TEST_F(NodeModel, EnumerationKeepsDocumentOrderAndEntryAvailability) {
    auto& format = node<EnumerationNode>("PixelFormat");
    std::vector<EnumEntryNode*> entries;
    format.GetEntries(entries);
    std::vector<std::string> all;
    for (auto* entry : entries) all.push_back(entry->GetSymbolic());
    EXPECT_EQ(all, (std::vector<std::string>{"Mono8", "Mono12", "Mono14", "Mono16"}));
    std::vector<std::string> symbolics;
    format.GetSymbolics(symbolics);
    EXPECT_EQ(symbolics, (std::vector<std::string>{"Mono8", "Mono12", "Mono16"}));

    EXPECT_EQ(format.GetCurrentEntry()->GetSymbolic(), "Mono12");
    ASSERT_NE(format.GetEntryByName("Mono14"), nullptr);
    EXPECT_EQ(format.GetEntryByName("Mono14")->GetAccessMode(), NA);
    EXPECT_EQ(format.GetEntryByName("Mono14")->GetValue(), test::kMono14);
    EXPECT_EQ(format.GetEntryByName("Mono10"), nullptr);
    EXPECT_THROW(format.SetIntValue(test::kMono14), GenericException);
    EXPECT_THROW(format.SetIntValue(12345), GenericException);
    format.SetIntValue(test::kMono16);
    EXPECT_EQ(port.get<uint32_t>(test::kPixelFormat), uint32_t(test::kMono16));
    port.put<uint32_t>(test::kPixelFormat, 7);
    EXPECT_EQ(format.GetCurrentEntry(), nullptr);
}

TEST_F(NodeModel, EveryAccessReachesThePortUncached) {
    auto& width = node<IntegerNode>("Width");
    EXPECT_EQ(width.GetValue(), 640);
    port.put<uint32_t>(test::kWidth, 320);  // changed by the camera itself
    EXPECT_EQ(width.GetValue(), 320);
    int writes = port.writes;
    node<CommandNode>("AcquisitionStart").Execute();
    EXPECT_EQ(port.writes, writes + 1);
    EXPECT_EQ(port.get<uint32_t>(test::kStart), 1u);
    node<StringNode>("DeviceUserID").SetValue("cam-7");
    EXPECT_EQ(node<StringNode>("DeviceUserID").GetValue(), "cam-7");
}

TEST_F(NodeModel, UnconnectedPortLeavesTheBufferAlone) {
    NodeMap unconnected;
    unconnected.loadXml(test::kDescription, sizeof test::kDescription);
    auto* width = dynamic_cast<IntegerNode*>(unconnected.getNode("Width"));
    ASSERT_NE(width, nullptr);
    EXPECT_NO_THROW(width->GetValue());
}

}  // namespace
}  // namespace tq4::features
