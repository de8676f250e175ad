// The node map over the engine: loading (good and bad input), the port, and the node model
// (kinds, access modes, locking, enumeration order, verification, uncached reads).
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>

#include "features/Features.h"
#include "features/NodeMap.h"
#include "sim/Zip.h"
#include "tests/features/TestCamera.h"

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

// A zip archive holding `data` as its one file, as the simulated camera writes it.
std::string zipped(const std::string& data) {
    const std::vector<uint8_t> zip = zevo::zipSingleFile("camera.xml", data);
    return std::string(zip.begin(), zip.end());
}

// Descriptions in files: tests/gentl/DeviceTest.cpp ("file:" URLs).
TEST(NodeMapLoad, AcceptsTextAndZipsAndRefusesASecondLoad) {
    const std::string zip = zipped(kXml);
    NodeMap map;
    map.loadZippedXml(zip.data(), zip.size());
    EXPECT_NE(map.getNode("Width"), nullptr);
    try {
        map.loadXml(kXml.data(), kXml.size());
        ADD_FAILURE() << "second load accepted";
    } catch (const GenericException& e) {
        EXPECT_STREQ(e.GetDescription(), "Node map already created");
    }
    // A description read from camera memory ends at its first NUL; what follows is ignored.
    std::string padded = kXml + std::string(1, '\0') + "<garbage";
    NodeMap text;
    text.loadXml(padded.data(), padded.size());
    EXPECT_TRUE(text.isLoaded());
}

TEST(NodeMapLoad, BadInputRaisesAnExceptionWithADescription) {
    const std::string zip = zipped(kXml);
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
             std::string junk = zipped("no xml here");
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

// A description loaded into a map connected to a port in memory, and its nodes by kind.
class MapTest : public ::testing::Test {
protected:
    void load(const char* xml, std::size_t size) {
        map.loadXml(xml, size);
        ASSERT_TRUE(map.connect(&port));
    }
    template <class T>
    T& node(const char* name) {
        auto* typed = dynamic_cast<T*>(map.getNode(name));
        EXPECT_NE(typed, nullptr) << name;
        return *typed;
    }
    test::MemoryPort port;
    NodeMap map;
};

class NodeModel : public MapTest {
protected:
    void SetUp() override {
        port.fillDefaults();
        load(test::kDescription, sizeof test::kDescription);
    }
};

TEST_F(NodeModel, KindsAndAccessModes) {
    struct Expected {
        const char* name;
        InterfaceType type;
        AccessMode mode;
    };
    // clang-format off
    const Expected table[] = {
        {"Root", intfICategory, RO}, {"Width", intfIInteger, RW}, {"ExposureTime", intfIFloat, RW},
        {"ReverseX", intfIBoolean, RW}, {"AcquisitionStart", intfICommand, RW}, {"PixelFormat", intfIEnumeration, RW},
        {"DeviceUserID", intfIString, RW}, {"RawBlock", intfIRegister, RW}, {"Device", intfIPort, RO},
        {"DeviceTemperatureRaw", intfIInteger, RO}, {"WriteOnlyValue", intfIInteger, WO},
        {"NotImplemented", intfIInteger, NI}, {"NotAvailable", intfIInteger, NA}};
    // clang-format on
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

// The engine refuses values off the increment grid and accesses the mode does not allow (the
// helpers' tests show range and access as the driver meets them).
TEST_F(NodeModel, VerificationChecksIncrementAndAccess) {
    EXPECT_THROW(node<IntegerNode>("Width").SetValue(650), GenericException);
    EXPECT_THROW(node<IntegerNode>("DeviceTemperatureRaw").SetValue(1), GenericException);
    EXPECT_THROW(node<IntegerNode>("WriteOnlyValue").GetValue(), GenericException);
    EXPECT_THROW(node<IntegerNode>("NotAvailable").GetValue(), GenericException);
}

TEST_F(NodeModel, EnumerationKeepsDocumentOrderAndEntryAvailability) {
    auto& format = node<EnumerationNode>("PixelFormat");
    std::vector<EnumEntryNode*> entries;
    format.GetEntries(entries);
    std::vector<std::string> all;
    for (auto* entry : entries) all.push_back(entry->GetSymbolic());
    EXPECT_EQ(all, (std::vector<std::string>{"Mono8", "Mono12", "Mono14", "Mono16"}));

    EXPECT_EQ(format.GetCurrentEntry()->GetSymbolic(), "Mono12");
    ASSERT_NE(format.GetEntryByName("Mono14"), nullptr);
    EXPECT_EQ(format.GetEntryByName("Mono14")->GetAccessMode(), NA);
    EXPECT_EQ(format.GetEntryByName("Mono14")->GetValue(), test::kMono14);
    EXPECT_EQ(format.GetEntryByName("Mono10"), nullptr);
    EXPECT_THROW(format.SetIntValue(test::kMono14), GenericException);
    EXPECT_THROW(format.SetIntValue(12345), GenericException);
    format.SetIntValue(test::kMono16);
    EXPECT_EQ(port.get<uint32_t>(test::kPixelFormat), uint32_t(test::kMono16));
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

// ---- the node types real cameras' descriptions use, held to GenApi's rules: limits of integers
// and floats over masked, struct and formula nodes, access modes along the pValue chain,
// enumeration symbols, converters and the value texts of constants ----

enum RuleAddress : int64_t {
    kPacked = 0x60,    // two 4-bit fields
    kStruct = 0x64,    // OffsetY in bits 0..15, OffsetX in bits 16..31
    kLockFlag = 0x68,  // locks LockedReg
    kLocked = 0x6C,
    kMode = 0x70,
    kExposureRaw = 0x74,
};

const char kRulesXml[] = R"XML(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="Rules" VendorName="Test" StandardNameSpace="None"
    SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0"
    MajorVersion="1" MinorVersion="0" SubMinorVersion="0"
    ProductGuid="11111111-2222-3333-4444-555555555555" VersionGuid="11111111-2222-3333-4444-777777777777"
    xmlns="http://www.genicam.org/GenApi/Version_1_1">
  <Integer Name="BinningHorizontal"><pValue>BinningHorizontalReg</pValue></Integer>
  <MaskedIntReg Name="BinningHorizontalReg"><Address>0x60</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><LSB>0</LSB><MSB>3</MSB><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></MaskedIntReg>
  <Integer Name="BinningVertical"><pValue>BinningVerticalReg</pValue></Integer>
  <MaskedIntReg Name="BinningVerticalReg"><Address>0x60</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><LSB>4</LSB><MSB>7</MSB><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></MaskedIntReg>
  <Integer Name="OffsetY"><pValue>OffsetYEntry</pValue></Integer>
  <StructReg Comment="offsets"><Address>0x64</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Endianess>LittleEndian</Endianess>
    <StructEntry Name="OffsetYEntry"><LSB>0</LSB><MSB>15</MSB></StructEntry>
    <StructEntry Name="OffsetXEntry"><LSB>16</LSB><MSB>31</MSB></StructEntry>
  </StructReg>
  <Integer Name="SensorCount"><pValue>SensorCountFormula</pValue></Integer>
  <IntSwissKnife Name="SensorCountFormula"><pVariable Name="B">BinningHorizontal</pVariable><Formula>B + 1</Formula></IntSwissKnife>
  <Float Name="FrameRateView"><pValue>FrameRateFormula</pValue></Float>
  <SwissKnife Name="FrameRateFormula"><pVariable Name="B">BinningHorizontal</pVariable><Formula>B * 2.5</Formula></SwissKnife>
  <Integer Name="LockedValue"><pValue>LockedReg</pValue></Integer>
  <IntReg Name="LockedReg"><pIsLocked>LockFlag</pIsLocked><Address>0x6C</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <IntReg Name="LockFlag"><Address>0x68</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Integer Name="UnavailableValue"><pValue>UnavailableReg</pValue></Integer>
  <IntReg Name="UnavailableReg"><pIsAvailable>Zero</pIsAvailable><Address>0x6C</Address><Length>4</Length>
    <AccessMode>RW</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Integer Name="MissingValue"><pValue>MissingReg</pValue></Integer>
  <IntReg Name="MissingReg"><pIsImplemented>Zero</pIsImplemented><Address>0x6C</Address><Length>4</Length>
    <AccessMode>RW</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Integer Name="ImposedValue"><pValue>ImposedReg</pValue></Integer>
  <IntReg Name="ImposedReg"><ImposedAccessMode>RO</ImposedAccessMode><Address>0x6C</Address><Length>4</Length>
    <AccessMode>RW</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Enumeration Name="Mode">
    <EnumEntry Name="Mode_Fast"><Value>1</Value><Symbolic>Fast</Symbolic></EnumEntry>
    <EnumEntry Name="Mode_Slow"><Value>2</Value><Symbolic>Slow</Symbolic></EnumEntry>
    <pValue>ModeReg</pValue>
  </Enumeration>
  <IntReg Name="ModeReg"><Address>0x70</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Converter Name="ModeAsFloat"><FormulaTo>FROM</FormulaTo><FormulaFrom>TO</FormulaFrom><pValue>Mode</pValue></Converter>
  <Converter Name="ExposureTime"><FormulaTo>FROM * 10</FormulaTo><FormulaFrom>TO / 10</FormulaFrom>
    <pValue>ExposureRaw</pValue><Slope>Increasing</Slope></Converter>
  <Integer Name="ExposureRaw"><pValue>ExposureRawReg</pValue><Min>100</Min><Max>50000</Max></Integer>
  <IntReg Name="ExposureRawReg"><Address>0x74</Address><Length>4</Length><AccessMode>RW</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <IntSwissKnife Name="LogicalLeftToRight"><Formula>1 || 0 &amp;&amp; 0</Formula></IntSwissKnife>
  <IntSwissKnife Name="BitwiseLeftToRight"><Formula>1 ^ 3 &amp; 2 | 4</Formula></IntSwissKnife>
  <IntSwissKnife Name="GroupsInsideTernary"><pVariable Name="B">BinningHorizontal</pVariable>
    <Formula>(B = 0) ? -2 | 1 &amp; 1 : 0x10 | 2 &amp; 0</Formula></IntSwissKnife>
  <Boolean Name="AlwaysOn"><Value>true</Value></Boolean>
  <Integer Name="Zero"><Value>0</Value></Integer>
  <Port Name="Device"/>
</RegisterDescription>
)XML";

class GenApiRules : public MapTest {
protected:
    void SetUp() override { load(kRulesXml, sizeof kRulesXml); }
};

TEST_F(GenApiRules, IntegersOverMaskedStructAndFormulaNodesTakeTheirRangeAndIncrementOne) {
    struct Expected {
        const char* name;
        int64_t min, max;
    };
    for (const auto& e : {Expected{"BinningHorizontal", 0, 15}, Expected{"BinningVertical", 0, 15},
                          Expected{"OffsetY", 0, 0xFFFF}, Expected{"SensorCount", INT64_MIN, INT64_MAX}}) {
        auto& integer = node<IntegerNode>(e.name);
        EXPECT_EQ(integer.GetMin(), e.min) << e.name;
        EXPECT_EQ(integer.GetMax(), e.max) << e.name;
        EXPECT_EQ(integer.GetInc(), 1) << e.name;
    }
    // Checked writes land in their bits only; the telegram helpers see value and limits.
    ASSERT_TRUE(setInteger(map, "BinningHorizontal", 2));
    ASSERT_TRUE(setInteger(map, "BinningVertical", 2));
    ASSERT_TRUE(setInteger(map, "OffsetY", 100));
    EXPECT_EQ(port.get<uint32_t>(kPacked), 0x22u);
    EXPECT_EQ(port.get<uint32_t>(kStruct), 100u);
    int64_t min = 0, max = 0, inc = 0;
    EXPECT_EQ(getInteger(map, "SensorCount", &min, &max, &inc), 3);
    EXPECT_EQ(inc, 1);
    EXPECT_EQ(getInteger(map, "BinningVertical", &min, &max, &inc), 2);
    EXPECT_EQ(max, 15);
    EXPECT_THROW(node<IntegerNode>("BinningHorizontal").SetValue(16), GenericException);

    double fmin = 0, fmax = 0, finc = -1;
    EXPECT_DOUBLE_EQ(getFloat(map, "FrameRateView", &fmin, &fmax, &finc), 5.0);
    EXPECT_EQ(fmin, -DBL_MAX);
    EXPECT_EQ(fmax, DBL_MAX);
    EXPECT_EQ(finc, 0.0);
}

TEST_F(GenApiRules, LogicalAndBitwiseOperatorsGroupLeftToRightAtOneLevelEach) {
    EXPECT_EQ(getInteger(map, "LogicalLeftToRight"), 0);  // (1 || 0) && 0
    EXPECT_EQ(getInteger(map, "BitwiseLeftToRight"), 6);  // ((1 ^ 3) & 2) | 4
    EXPECT_EQ(getInteger(map, "GroupsInsideTernary"), 1);
    ASSERT_TRUE(setInteger(map, "BinningHorizontal", 1));
    EXPECT_EQ(getInteger(map, "GroupsInsideTernary"), 0);
}

TEST_F(GenApiRules, AccessFollowsThePValueChainToTheRegister) {
    EXPECT_EQ(node<IntegerNode>("LockedValue").GetAccessMode(), RW);
    port.put<uint32_t>(kLockFlag, 1);
    EXPECT_EQ(node<IntegerNode>("LockedValue").GetAccessMode(), RO);
    EXPECT_FALSE(setInteger(map, "LockedValue", 5));
    EXPECT_EQ(node<IntegerNode>("UnavailableValue").GetAccessMode(), NA);
    EXPECT_EQ(node<IntegerNode>("MissingValue").GetAccessMode(), NI);
    EXPECT_EQ(node<IntegerNode>("ImposedValue").GetAccessMode(), RO);
    EXPECT_EQ(node<IntegerNode>("SensorCount").GetAccessMode(), RO);
}

TEST_F(GenApiRules, EnumerationSymbolsConvertersAndConstants) {
    auto& mode = node<EnumerationNode>("Mode");
    ASSERT_TRUE(setEnum(map, "Mode", "Slow"));
    EXPECT_EQ(port.get<uint32_t>(kMode), 2u);
    EXPECT_EQ(getEnum(map, "Mode"), "Slow");
    std::vector<std::string> symbolics;
    mode.GetSymbolics(symbolics);
    EXPECT_EQ(symbolics, (std::vector<std::string>{"Fast", "Slow"}));
    port.put<uint32_t>(kMode, 7);  // no entry has it: the number is still there
    EXPECT_EQ(mode.GetIntValue(), 7);
    EXPECT_EQ(getInteger(map, "Mode"), 7);

    // A converter over an enumeration writes the entry's value.
    ASSERT_TRUE(setFloat(map, "ModeAsFloat", 1.0));
    EXPECT_EQ(port.get<uint32_t>(kMode), 1u);

    // Rounded to the nearest integer; limits through the formula; no increment of its own.
    ASSERT_TRUE(setFloat(map, "ExposureTime", 1234.56));
    EXPECT_EQ(port.get<uint32_t>(kExposureRaw), 12346u);
    double min = 0, max = 0, inc = -1;
    getFloat(map, "ExposureTime", &min, &max, &inc);
    EXPECT_DOUBLE_EQ(min, 10.0);
    EXPECT_DOUBLE_EQ(max, 5000.0);
    EXPECT_EQ(inc, 0.0);

    EXPECT_TRUE(getBoolean(map, "AlwaysOn"));
}

}  // namespace
}  // namespace tq4::features
