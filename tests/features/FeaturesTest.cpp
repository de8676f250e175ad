// The feature helpers over the test camera: the frame's order and messages for every helper,
// the results of each, the text conversions and the deliberate quirks.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "features/Features.h"
#include "log/Log.h"
#include "tests/features/TestCamera.h"

namespace tq4::features {
namespace {

class Helpers : public ::testing::Test, protected test::ConnectedCamera {
protected:
    void SetUp() override {
        log::setLineObserver([this](uint32_t bits, const std::string& message) {
            EXPECT_EQ(bits & log::kError, log::kError) << message;
            lines.push_back(message);
        });
        ASSERT_TRUE(connected);
    }
    void TearDown() override { log::setLineObserver(nullptr); }

    // The one line logged since the last call (and clears the log).
    std::string lastLine() {
        EXPECT_EQ(lines.size(), 1u);
        std::string line = lines.empty() ? "" : lines.back();
        lines.clear();
        return line;
    }

    std::vector<std::string> lines;
};

// Each helper, called once on a missing feature, once on one of the wrong access and once on
// one of the wrong kind, logs the line of the check that failed first.
TEST_F(Helpers, FrameChecksFoundThenAccessThenKindWithEachHelpersWords) {
    std::vector<std::string> list;
    using Call = std::function<void(const char*)>;
    struct Case {
        const char* helper;
        Call call;
        const char* wrongAccessFeature;
        const char* accessWords;
        const char* wrongKindFeature;
        const char* kindWords;
    };
    const char *ro = "DeviceTemperatureRaw", *wo = "WriteOnlyValue", *text = "DeviceUserID";
    const char *w = "not writable.", *r = "not readable.";
    // clang-format off
    const Case cases[] = {
        {"callCommand", [&](const char* n) { EXPECT_FALSE(callCommand(map, n)); }, ro, w, text, "not a command."},
        {"setBoolean", [&](const char* n) { EXPECT_FALSE(setBoolean(map, n, true)); }, ro, w, text, "not boolean."},
        {"setInteger", [&](const char* n) { EXPECT_FALSE(setInteger(map, n, 1)); }, ro, w, text, "not integer"},
        {"setFloat", [&](const char* n) { EXPECT_FALSE(setFloat(map, n, 1.0)); }, ro, w, text, "not float"},
        {"setEnum", [&](const char* n) { EXPECT_FALSE(setEnum(map, n, "Mono8")); }, ro, w, text, "not enumeration"},
        {"hasEnumEntry", [&](const char* n) { EXPECT_FALSE(hasEnumEntry(map, n, "Mono8", false)); }, wo, w, text,
         "not enumeration"},
        {"getEnumEntries", [&](const char* n) { EXPECT_FALSE(getEnumEntries(map, n, list)); }, wo, w, text,
         "not enumeration"},
        {"getBoolean", [&](const char* n) { EXPECT_FALSE(getBoolean(map, n)); }, wo, r, text, "not boolean."},
        {"getInteger", [&](const char* n) { EXPECT_EQ(getInteger(map, n), 0); }, wo, r, text, "not integer."},
        {"getFloat", [&](const char* n) { EXPECT_EQ(getFloat(map, n), 0.0); }, wo, r, text, "not float."},
        {"getEnum", [&](const char* n) { EXPECT_EQ(getEnum(map, n), ""); }, wo, r, text, "not enumeration."},
        {"getString", [&](const char* n) { EXPECT_EQ(getString(map, n), ""); }, wo, r, "RawBlock",
         "of unknown datatype."},
        {"setString", [&](const char* n) { EXPECT_FALSE(setString(map, n, "1")); }, ro, w, nullptr, nullptr},
    };
    // clang-format on
    for (const Case& c : cases) {
        const std::string prefix = std::string(c.helper) + ": Feature <";
        c.call("Missing");
        EXPECT_EQ(lastLine(), prefix + "Missing> not found.");
        c.call(c.wrongAccessFeature);
        EXPECT_EQ(lastLine(), prefix + c.wrongAccessFeature + "> " + c.accessWords);
        if (!c.wrongKindFeature) continue;
        c.call(c.wrongKindFeature);
        EXPECT_EQ(lastLine(), prefix + c.wrongKindFeature + "> " + c.kindWords);
    }
    // A locked feature is not writable either; NI and NA features are neither readable nor writable.
    port.put<uint32_t>(test::kGainLocked, 1);
    EXPECT_FALSE(setFloat(map, "Gain", 3.0));
    EXPECT_EQ(lastLine(), "setFloat: Feature <Gain> not writable.");
    EXPECT_EQ(getInteger(map, "NotAvailable"), 0);
    EXPECT_EQ(lastLine(), "getInteger: Feature <NotAvailable> not readable.");
}

TEST_F(Helpers, EngineErrorsBecomeExceptionLines) {
    EXPECT_FALSE(setInteger(map, "Width", 8192));
    EXPECT_EQ(lastLine().rfind("setInteger: Exception: ", 0), 0u);
    EXPECT_FALSE(setFloat(map, "ExposureTime", 1.0));
    EXPECT_EQ(lastLine().rfind("setFloat: Exception: ", 0), 0u);
    EXPECT_FALSE(setEnum(map, "PixelFormat", "Mono14"));  // entry not available
    EXPECT_EQ(lastLine().rfind("setEnum: Exception: ", 0), 0u);
    EXPECT_EQ(port.get<uint32_t>(test::kPixelFormat), uint32_t(test::kMono12));
}

TEST_F(Helpers, WritesAndReadsOfEachKind) {
    EXPECT_TRUE(setInteger(map, "Width", 1024));
    EXPECT_TRUE(setFloat(map, "ExposureTime", 2500.0));
    EXPECT_TRUE(setBoolean(map, "ReverseX", true));
    EXPECT_TRUE(setEnum(map, "PixelFormat", "Mono16"));
    EXPECT_TRUE(callCommand(map, "AcquisitionStart"));
    EXPECT_TRUE(lines.empty());
    EXPECT_EQ(port.get<uint32_t>(test::kWidth), 1024u);
    EXPECT_EQ(port.get<uint32_t>(test::kStart), 1u);

    int64_t min, max, inc;
    double fmin, fmax, finc;
    std::string unit;
    const auto integer = [&](const char* name) {
        return std::vector<int64_t>({getInteger(map, name, &min, &max, &inc), min, max, inc});
    };
    const auto number = [&](const char* name) {
        return std::vector<double>({getFloat(map, name, &fmin, &fmax, &finc, &unit), fmin, fmax, finc});
    };
    EXPECT_EQ(integer("Width"), std::vector<int64_t>({1024, 16, 4096, 16}));
    EXPECT_EQ(number("ExposureTime"), std::vector<double>({2500.0, 10.0, 100000.0, 0.0}));
    EXPECT_EQ(unit, "us");
    EXPECT_TRUE(getBoolean(map, "ReverseX"));
    EXPECT_EQ(getEnum(map, "PixelFormat"), "Mono16");
    // An enumeration read as an integer gives its entry's value, in min, max and inc too.
    EXPECT_EQ(integer("PixelFormat"), std::vector<int64_t>(4, test::kMono16));
    // Outputs are cleared even when the feature is missing.
    EXPECT_EQ(number("Missing"), std::vector<double>(4, 0.0));
    EXPECT_EQ(unit, "");
    EXPECT_EQ(integer("Missing"), std::vector<int64_t>(4, 0));

    port.put<uint32_t>(test::kPixelFormat, 7);  // matches no entry
    lines.clear();
    EXPECT_EQ(getEnum(map, "PixelFormat"), "");
    EXPECT_EQ(lastLine(), "getEnum: Current value is not defined: PixelFormat");
}

TEST_F(Helpers, EnumerationEntriesAndTheirQuirks) {
    std::vector<std::string> list;
    EXPECT_FALSE(getEnumEntries(map, "PixelFormat", list));  // false although filled
    EXPECT_EQ(list, (std::vector<std::string>{"Mono8", "Mono12", "Mono16"}));
    EXPECT_TRUE(lines.empty());

    EXPECT_TRUE(hasEnumEntry(map, "PixelFormat", "Mono14", false));
    EXPECT_FALSE(hasEnumEntry(map, "PixelFormat", "Mono14", true));
    EXPECT_TRUE(hasEnumEntry(map, "PixelFormat", "Mono8", true));
    EXPECT_FALSE(hasEnumEntry(map, "PixelFormat", "Mono10", false));
    EXPECT_TRUE(lines.empty());

    EXPECT_FALSE(setEnum(map, "PixelFormat", "Mono10"));
    EXPECT_EQ(lastLine(), "setEnum: Enumeration <PixelFormat> does not contain <Mono10>");
    EXPECT_TRUE(setString(map, "PixelFormat", "Mono10"));  // stays true
    EXPECT_EQ(lastLine(), "setString: Enumeration <PixelFormat> does not contain <Mono10>");
    EXPECT_TRUE(setString(map, "PixelFormat", "Mono8"));
    EXPECT_EQ(getString(map, "PixelFormat"), "Mono8");
}

TEST_F(Helpers, StringConversionsByKindAndRepresentation) {
    EXPECT_TRUE(setString(map, "DeviceIP", "192.168.1.10"));
    EXPECT_EQ(port.get<uint32_t>(test::kDeviceIp), 0xC0A8010Au);
    EXPECT_EQ(getString(map, "DeviceIP"), "192.168.1.10");

    port.put<uint64_t>(test::kDeviceMac, 0x001122334455ull);
    EXPECT_EQ(getString(map, "DeviceMAC"), "00:11:22:33:44:55");
    EXPECT_TRUE(setString(map, "DeviceMAC", "00:11:22:33:44:55"));  // only four groups are read
    EXPECT_EQ(port.get<uint64_t>(test::kDeviceMac), 0x00112233ull);

    EXPECT_TRUE(setString(map, "HexValue", "BEEF"));
    EXPECT_EQ(port.get<uint32_t>(test::kHexValue), 0xBEEFu);
    EXPECT_EQ(getString(map, "HexValue"), "beef");

    EXPECT_TRUE(setString(map, "Width", "800"));
    EXPECT_EQ(getString(map, "Width"), "800");

    for (const char* word : {"true", "True", "TRUE", "2"}) {
        port.put<uint32_t>(test::kReverseX, 0);
        EXPECT_TRUE(setString(map, "ReverseX", word));
        EXPECT_EQ(getString(map, "ReverseX"), "1") << word;
    }
    EXPECT_TRUE(setString(map, "ReverseX", "FALSE"));
    EXPECT_EQ(getString(map, "ReverseX"), "0");

    EXPECT_TRUE(setString(map, "ExposureTime", "1234.5678"));
    EXPECT_DOUBLE_EQ(port.get<double>(test::kExposure), double(1234.5678f));  // single precision
    EXPECT_EQ(getString(map, "ExposureTime"), "1234.57");

    EXPECT_TRUE(setString(map, "DeviceUserID", "left camera"));
    EXPECT_EQ(getString(map, "DeviceUserID"), "left camera");
    EXPECT_TRUE(setString(map, "RawBlock", "ignored"));  // no conversion for this kind: still true
    EXPECT_TRUE(lines.empty());

    // The standard parses' exceptions are not the helpers' to catch.
    EXPECT_THROW(setString(map, "ReverseX", "maybe"), std::invalid_argument);
    EXPECT_THROW(setString(map, "ExposureTime", "fast"), std::invalid_argument);
    EXPECT_THROW(setString(map, "ExposureTime", "1e99"), std::out_of_range);
    EXPECT_THROW(setString(map, "DeviceIP", "192.168.1"), std::invalid_argument);
    // An engine error still makes setString false.
    EXPECT_FALSE(setString(map, "Width", "8192"));
    EXPECT_EQ(lastLine().rfind("setString: Exception: ", 0), 0u);
}

TEST_F(Helpers, PredicatesLogNothing) {
    EXPECT_TRUE(isFeaturePresent(map, "NotImplemented"));
    EXPECT_FALSE(isFeaturePresent(map, "Missing"));
    EXPECT_TRUE(isFeatureReadable(map, "DeviceTemperatureRaw"));
    EXPECT_FALSE(isFeatureWritable(map, "DeviceTemperatureRaw"));
    EXPECT_TRUE(isFeatureWritable(map, "WriteOnlyValue"));
    EXPECT_FALSE(isFeatureReadable(map, "WriteOnlyValue"));
    for (const char* name : {"NotImplemented", "NotAvailable", "Missing"}) {
        EXPECT_FALSE(isFeatureReadable(map, name)) << name;
        EXPECT_FALSE(isFeatureWritable(map, name)) << name;
    }
    EXPECT_TRUE(lines.empty());
}

// The SDK's thread and the stream thread share one map; the map's lock serialises them.
TEST_F(Helpers, TwoThreadsShareOneMap) {
    log::setLineObserver(nullptr);
    auto worker = [this](double exposure) {
        for (int i = 0; i < 300; ++i) {
            setFloat(map, "ExposureTime", exposure);
            EXPECT_EQ(getInteger(map, "Width"), 640);
            EXPECT_EQ(getEnum(map, "PixelFormat"), "Mono12");
        }
    };
    std::thread a(worker, 100.0), b(worker, 200.0);
    a.join();
    b.join();
}

}  // namespace
}  // namespace tq4::features
