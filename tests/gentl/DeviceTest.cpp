// Opening and closing a device: port, node map from the camera description, data streams.
#include "gentl/Device.h"

#include "features/Features.h"
#include "features/NodeMap.h"
#include "gentl/SystemTLI.h"
#include "stream/DataStream.h"
#include "support/SimWorld.h"

namespace tq4::test {
namespace {

using namespace tq4::gentl;

const char* const kMalformedXml = "<?xml version=\"1.0\"?><RegisterDescription><Integer Name=\"Width\"></Regis";

class DeviceOpen : public SimWorld {
protected:
    void TearDown() override {
        device_.reset();
        system_.reset();
        SimWorld::TearDown();
    }

    // A fresh producer session with `config`; the first device registered.
    Device& registerDevice(const std::string& config) {
        device_.reset();
        system_.reset();
        configure(config);
        system_ = std::make_unique<SystemTLI>("ZEVO.cti");
        EXPECT_TRUE(system_->isUsable()) << dump();
        system_->updateInterfaces();
        system_->updateDeviceMaps();
        device_ = system_->findDevice([](const Device&) { return true; });
        if (!device_) throw std::runtime_error("no device registered:\n" + dump());
        return *device_;
    }

    // The description the producer serves, as the default local URL dumps it.
    std::string servedDescription(bool zipped, std::string& name) {
        Device& device = registerDevice(zipped ? "" : "xml_zipped=0\n");
        EXPECT_NE(device.open(0, "ZEVO.cti"), nullptr) << dump();
        device.close();
        for (const auto& entry : fs::directory_iterator(dataDirectory())) name = entry.path().filename().string();
        const std::string bytes = readFile(dataDirectory() / name);
        fs::remove_all(dataDirectory());
        clearLines();
        return bytes;
    }

    static std::string hex(size_t value) {
        char text[32];
        std::snprintf(text, sizeof(text), "%zX", value);
        return text;
    }

    // After a failed open the device is closed again, GenTL handle included.
    void expectClosedAgain(Device& device) {
        EXPECT_EQ(device.openCount(), 0u);
        EXPECT_EQ(device.number(), -1);
        EXPECT_TRUE(logged("Device::close: Closed device with ID <" + device.id() + ">", log::kProgress)) << dump();
        EXPECT_EQ(count("DevClose with device ID"), 0);
        if (!fs::exists(dataDirectory())) return;
        for (const auto& entry : fs::directory_iterator(dataDirectory()))
            EXPECT_EQ(entry.path().extension().string().rfind(".tmp", 0), std::string::npos)
                << "half-written dump left behind: " << entry.path();
    }

    std::unique_ptr<SystemTLI> system_;
    std::shared_ptr<Device> device_;
};

TEST_F(DeviceOpen, OpenWithUrlInfoDumpsTheDescriptionAndCloseUndoesEverything) {
    Device& device = registerDevice("");
    void* handle = device.open(3, "ZEVO.cti");
    ASSERT_NE(handle, nullptr) << dump();
    EXPECT_EQ(device.handle(), handle);
    EXPECT_EQ(device.number(), 3);
    EXPECT_EQ(device.openCount(), 1u);
    EXPECT_EQ(device.getAccessStatus(), 5);
    EXPECT_TRUE(logged("Device::allocNodeMap: retrieve URL info succeed.", log::kVerbose)) << dump();
    EXPECT_TRUE(logged("Device::open: Load xml and connect to port succeed.", log::kProgress));
    ASSERT_NE(device.nodeMap(), nullptr);
    EXPECT_TRUE(device.nodeMap()->isLoaded());
    ASSERT_NE(device.activeStream(), nullptr);
    EXPECT_EQ(count("Device::allocNodeMap: Dump xml to: " + joinPath(dataDirectory().string(), "")), 1);
    EXPECT_EQ(count("only ID"), 0);

    auto map = device.nodeMap();
    EXPECT_EQ(device.close(), nullptr);
    EXPECT_FALSE(map->isLoaded());
    EXPECT_EQ(device.activeStream(), nullptr);
    EXPECT_EQ(device.number(), -1);
    EXPECT_TRUE(logged("Device::close: NodeMap destroyed.", log::kProgress));
    EXPECT_EQ(count("DataStream::~DataStream: Closed DataStream with ID <"), 1);
    EXPECT_TRUE(logged("Device::close: Closed device with ID <" + device.id() + ">", log::kProgress));
    // The handle stays until the next open; the producer no longer knows it.
    EXPECT_EQ(device.handle(), handle);
    EXPECT_NE(device.getAccessStatus(), 5);
}

TEST_F(DeviceOpen, SecondCloseWithCountTwoKeepsTheNodeMap) {
    Device& device = registerDevice("");
    void* handle = device.open(0, "ZEVO.cti");
    ASSERT_NE(handle, nullptr) << dump();
    device.incrementOpenCount();
    EXPECT_EQ(device.close(), handle);
    EXPECT_TRUE(
        logged("Device::close: Closed 1x device ID <" + device.id() + ">. Is still 1 times open.", log::kProgress));
    EXPECT_TRUE(device.nodeMap()->isLoaded());
    EXPECT_EQ(device.number(), 0);
    EXPECT_EQ(device.getAccessStatus(), 5);
    EXPECT_EQ(device.close(), nullptr);
    EXPECT_FALSE(device.nodeMap()->isLoaded());
    EXPECT_EQ(device.close(), nullptr);  // nothing left to close
}

TEST_F(DeviceOpen, TwoDataStreamsAreOpenedAndTheFirstIsUsed) {
    Device& device = registerDevice("streams=2\n");
    ASSERT_NE(device.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_EQ(device.numDataStreams(), 2u);
    const std::string active = device.activeStreamId();
    EXPECT_TRUE(logged(
        "Device::open: Device <" + device.id() + "> supports 2 DataStreams ... only ID <" + active + "> is used.",
        log::kProgress))
        << dump();
    EXPECT_EQ(count("Device::setupDataStream: Opened DataStream with ID <"), 2);
    EXPECT_EQ(count("Device::setupDataStream: Set active DataStream ID <" + active + ">"), 1);
    EXPECT_EQ(device.activeStream()->id(), active);
    device.close();
    EXPECT_EQ(count("DataStream::~DataStream: Closed DataStream with ID <"), 2);
}

TEST_F(DeviceOpen, LocalUrlReadsLengthBytesAtAddressAndLoadsByExactExtension) {
    std::string name;
    const std::string zip = servedDescription(true, name);
    const std::string xml = servedDescription(false, name);

    // The address and length of the URL are hexadecimal; the query is ignored.
    Device& zipped =
        registerDevice("url_info=0\nurl=local:///Cam.zip;100000;" + hex(zip.size()) + "?SchemaVersion=1.1.0\n");
    ASSERT_NE(zipped.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_TRUE(logged("Device::allocNodeMap: but GCGetPortURL succeed. URL: local:///Cam.zip;100000;" +
                           hex(zip.size()) + "?SchemaVersion=1.1.0",
                       log::kProgress));
    EXPECT_EQ(readFile(dataDirectory() / "Cam.zip"), zip);

    // ".ZIP" is not ".zip": the bytes are taken as XML text.
    Device& upper = registerDevice("xml_zipped=0\nurl_info=0\nurl=local:///Cam.ZIP;100000;" + hex(xml.size()) + "\n");
    ASSERT_NE(upper.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_EQ(readFile(dataDirectory() / "Cam.ZIP"), xml);
}

TEST_F(DeviceOpen, TheExampleUrlReadsItsLengthAtItsAddressAndLoadsZipped) {
    std::string name;
    const std::string zip = servedDescription(true, name);
    ASSERT_LT(zip.size(), 0x2A3Fu) << "the served archive is expected to be shorter than the URL says";

    // The producer maps its archive at the URL's address; the read runs past its end, which is
    // logged, and the bytes are used as they are (the archive reader ignores the zero tail).
    Device& device = registerDevice("url_info=0\nurl=local:///Cam.zip;10000;2A3F?SchemaVersion=1.1.0\n");
    ASSERT_NE(device.open(0, "ZEVO.cti"), nullptr) << dump();
    const std::string dumped = readFile(dataDirectory() / "Cam.zip");
    EXPECT_EQ(dumped.size(), 0x2A3Fu);
    EXPECT_EQ(dumped.substr(0, zip.size()), zip);
    EXPECT_EQ(dumped.find_first_not_of('\0', zip.size()), std::string::npos);
    EXPECT_EQ(count("Port::Read: GCReadPort failed: -1015"), 1) << dump();
    EXPECT_TRUE(device.nodeMap()->isLoaded());
}

// The URL info's address and size are taken as the producer gives them; only the older URL
// list below refuses a zero address.
TEST_F(DeviceOpen, DescriptionAtAddressZeroReportedByUrlInfoIsLoaded) {
    Device& device = registerDevice("description_address=0\n");
    ASSERT_NE(device.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_TRUE(device.nodeMap()->isLoaded());
    EXPECT_EQ(count("Device::allocNodeMap: addr: 0x0, xml_size: 0x"), 1) << dump();
}

TEST_F(DeviceOpen, RegisterFilesWithShortNamesOrZeroAddressOrLengthAndUnknownSchemesAreRejected) {
    for (const std::string url : {"local:///C.xm;100000;100", "local:///Cam.xml;0;100", "local:///Cam.xml;100000;0",
                                  "http://vendor.example/cam.xml"}) {
        Device& device = registerDevice("url_info=0\nurl=" + url + "\n");
        EXPECT_EQ(device.open(0, "ZEVO.cti"), nullptr);
        EXPECT_TRUE(logged("Device::allocNodeMap: Cannot interpret URL: " + url, log::kError)) << dump();
        EXPECT_TRUE(logged("Device::open: allocNodeMap failed.", log::kError));
        expectClosedAgain(device);
        clearLines();
    }
}

TEST_F(DeviceOpen, FileUrlIsMappedToALocalNameCopiedAndLoadedFromTheDataDirectory) {
    std::string name;
    const std::string xml = servedDescription(false, name);
    // "C|/desc/cam%20a.xml" names "C:/desc/cam a.xml": here relative to the current directory,
    // on Windows the drive's folder (this test's own folder on drive C).
#if defined(_WIN32)
    const fs::path source = root_ / "desc" / "cam a.xml";
    std::string url = "file:///" + source.generic_string();
    url[9] = '|';
    url.replace(url.find(' '), 1, "%20");
#else
    const fs::path source = root_ / "cwd" / "C:" / "desc" / "cam a.xml";
    const std::string url = "file:///C|/desc/cam%20a.xml";
#endif
    writeFile(source, xml);

    Device& device = registerDevice("xml_zipped=0\nurl_info=0\nurl=" + url + "\n");
    ASSERT_NE(device.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_EQ(readFile(dataDirectory() / "cam a.xml"), xml);
    EXPECT_TRUE(device.nodeMap()->isLoaded());

    // An absolute path, as the producer writes it, zipped.
    Device& absolute = registerDevice("url_scheme=file\nxml_file_dir=" + (root_ / "desc").string() + "\n");
    ASSERT_NE(absolute.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_EQ(readFile(dataDirectory() / "ZEVO_quillon13SWIR.zip"),
              readFile(root_ / "desc" / "ZEVO_quillon13SWIR.zip"));

    // Without a directory part nothing is copied: the data directory's file is loaded.
    fs::remove(source);
    Device& bare = registerDevice("xml_zipped=0\nurl_info=0\nurl=file:cam%20a.xml\n");
    ASSERT_NE(bare.open(0, "ZEVO.cti"), nullptr) << dump();
}

// A producer that tells address and size of a file URL too: the URL's folder is kept.
TEST_F(DeviceOpen, FileUrlFromUrlInfoKeepsItsFolder) {
    Device& device =
        registerDevice("url_scheme=file\nurl_info_file_numbers=1\nxml_file_dir=" + (root_ / "desc").string() + "\n");
    ASSERT_NE(device.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_TRUE(logged("Device::allocNodeMap: retrieve URL info succeed.", log::kVerbose)) << dump();
    EXPECT_EQ(readFile(dataDirectory() / "ZEVO_quillon13SWIR.zip"),
              readFile(root_ / "desc" / "ZEVO_quillon13SWIR.zip"));
}

TEST_F(DeviceOpen, SerialNumberFromDeviceSerialNumberElseInfoSerial) {
    Device& plain = registerDevice("serials=00012345\n");
    ASSERT_NE(plain.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_EQ(plain.getSerial(), 12345u);

    Device& info = registerDevice("info_names=1\nserials=4711\n");
    ASSERT_NE(info.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_EQ(info.getSerial(), 4711u);
    EXPECT_TRUE(logged("Device::getSerial: instead take feature <4711>", log::kVerbose)) << dump();

    Device& text = registerDevice("serials=ABC\n");
    ASSERT_NE(text.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_EQ(text.getSerial(), 0u);
    EXPECT_EQ(count("Device::getSerial: stoull exception: "), 1);
    EXPECT_TRUE(logged("Device::getSerial: can not read serial number <ABC>. set: 0", log::kProgress));
}

TEST_F(DeviceOpen, StreamRecordTakesPayloadAndPixelSizeFromTheCamera) {
    Device& device = registerDevice("defines_payload_size=0\n");
    ASSERT_NE(device.open(0, "ZEVO.cti"), nullptr) << dump();
    auto stream = device.activeStream();
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->bitAlignment(), 1u);
    EXPECT_EQ(stream->timestampMode(), 0u);
    EXPECT_FALSE(stream->isStreaming());

    const uint32_t bits = stream->setBitsPerPixel();
    EXPECT_GT(bits, 0u);
    EXPECT_TRUE(logged("DataStream::setBitsPerPixel: IInteger \"PixelSize\" : " + std::to_string(bits), log::kProgress))
        << dump();
    const int64_t width = features::getInteger(*device.nodeMap(), "Width");
    const int64_t height = features::getInteger(*device.nodeMap(), "Height");
    EXPECT_EQ(device.setImageParameters(width, height), 0);
    EXPECT_EQ(stream->width(), width);
    EXPECT_EQ(stream->height(), height);
    EXPECT_EQ(stream->getPayloadSize(), uint64_t((bits + 7) / 8 * width * height));
    EXPECT_EQ(count("Mismatch!"), 0) << dump();

    // A request that differs from the camera is reported, not written.
    device.setImageParameters(width / 2, height);
    EXPECT_EQ(count("Device::setImageParameters: setInteger Width: "), 1);
    EXPECT_EQ(stream->width(), width);
}

TEST_F(DeviceOpen, PixelFormatDigitsWhenPixelSizeIsMissing) {
    Device& device = registerDevice("remove_features=PixelSize\npixel_formats=Mono12\n");
    ASSERT_NE(device.open(0, "ZEVO.cti"), nullptr) << dump();
    EXPECT_EQ(device.activeStream()->setBitsPerPixel(), 12u);
    EXPECT_TRUE(logged("DataStream::setBitsPerPixel: text extract bpp from \"PixelFormat\" : 12", log::kProgress));
}

class BadDescription : public DeviceOpen {};

TEST_F(BadDescription, MalformedXmlOrBrokenZipFailsTheOpenAndClosesTheDevice) {
    for (const auto& [name, bytes] : {std::pair<const char*, std::string>{"bad.xml", kMalformedXml},
                                      {"bad.zip", std::string("PK\x03\x04", 4) + "not really deflated data"}}) {
        writeFile(root_ / "bad" / name, bytes);
        Device& device = registerDevice("url_info=0\nurl=file://" + (root_ / "bad" / name).string() + "\n");
        EXPECT_THROW(device.open(0, "ZEVO.cti"), features::GenericException) << name;
        expectClosedAgain(device);
        clearLines();
    }
}

TEST_F(BadDescription, DescriptionLargerThan64MiBIsRefusedBeforeItIsRead) {
    Device& device = registerDevice("xml_zipped=0\nurl=local:///Cam.xml;100000;100000000\n");
    EXPECT_EQ(device.open(0, "ZEVO.cti"), nullptr);
    EXPECT_TRUE(
        logged("Device::allocNodeMap: Description <Cam.xml> of 0x100000000 bytes is larger than the largest "
               "accepted (0x4000000).",
               log::kError))
        << dump();
    EXPECT_TRUE(logged("Device::open: allocNodeMap failed.", log::kError));
    EXPECT_FALSE(fs::exists(dataDirectory() / "Cam.xml"));
    expectClosedAgain(device);
}

TEST_F(BadDescription, TruncatedDescriptionFailsTheOpen) {
    std::string name;
    const std::string xml = servedDescription(false, name);
    Device& device =
        registerDevice("xml_zipped=0\nurl_info=0\nurl=local:///Cam.xml;100000;" + hex(xml.size() / 2) + "\n");
    EXPECT_THROW(device.open(0, "ZEVO.cti"), features::GenericException);
    expectClosedAgain(device);
}

TEST_F(BadDescription, ShortPortReadsAreLoggedAndFailTheOpen) {
    Device& device = registerDevice("short_port_read=64\n");
    EXPECT_THROW(device.open(0, "ZEVO.cti"), features::GenericException);
    EXPECT_EQ(count("Port::Read: Returned size ("), 1) << dump();
    expectClosedAgain(device);
}

}  // namespace
}  // namespace tq4::test
