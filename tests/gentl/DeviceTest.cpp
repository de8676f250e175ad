// Opening and closing a device: port, node map from the camera description, data streams.
#include "gentl/Device.h"

#include "features/Features.h"
#include "features/NodeMap.h"
#include "gentl/SystemTLI.h"
#include "support/World.h"

namespace tq4::test {
namespace {

using namespace tq4::gentl;

class DeviceOpen : public World {
protected:
    void TearDown() override {
        device_.reset();
        system_.reset();
        World::TearDown();
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
    // Registers a device with `config` and opens it.
    Device& openDevice(const std::string& config) {
        Device& device = registerDevice(config);
        EXPECT_NE(device.open(0, "ZEVO.cti"), nullptr) << dump();
        return device;
    }

    // The description the producer serves, as the default local URL dumps it.
    std::string servedDescription(bool zipped) {
        openDevice(zipped ? "" : "xml_zipped=0\n").close();
        const std::string bytes =
            readFile(dataDirectory() / (zipped ? "ZEVO_quillon13SWIR.zip" : "ZEVO_quillon13SWIR.xml"));
        fs::remove_all(dataDirectory());
        clearLines();
        return bytes;
    }
    static std::string hex(size_t value) {
        char text[32];
        std::snprintf(text, sizeof(text), "%zX", value);
        return text;
    }

    // After a failed open the device is closed again, GenTL handle included, and no half-written
    // dump is left behind.
    void expectClosedAgain(Device& device) {
        EXPECT_EQ(device.openCount(), 0u);
        EXPECT_EQ(device.number(), -1);
        EXPECT_TRUE(logged("Device::close: Closed device with ID <" + device.id() + ">", log::kProgress)) << dump();
        EXPECT_EQ(count("DevClose with device ID"), 0);
        if (!fs::exists(dataDirectory())) return;
        for (const auto& entry : fs::directory_iterator(dataDirectory()))
            EXPECT_EQ(entry.path().extension().string().rfind(".tmp", 0), std::string::npos) << entry.path();
    }

    std::unique_ptr<SystemTLI> system_;
    std::shared_ptr<Device> device_;
};

// A device with two data streams opens both and uses the first.
TEST_F(DeviceOpen, OpenDumpsTheDescriptionOpensTheStreamsAndTheLastCloseUndoesEverything) {
    Device& device = registerDevice("streams=2\n");
    void* handle = device.open(3, "ZEVO.cti");
    ASSERT_NE(handle, nullptr) << dump();
    EXPECT_EQ(device.numDataStreams(), 2u);
    EXPECT_TRUE(logged("Device::open: Device <" + device.id() + "> supports 2 DataStreams ... only ID <" +
                           device.activeStreamId() + "> is used.",
                       log::kProgress));
    EXPECT_EQ(count("Device::setupDataStream: Opened DataStream with ID <"), 2);
    ASSERT_NE(device.activeStream(), nullptr);
    EXPECT_EQ(device.activeStream()->id(), device.activeStreamId());
    EXPECT_EQ(device.handle(), handle);
    EXPECT_EQ(device.number(), 3);
    EXPECT_EQ(device.getAccessStatus(), 5);
    EXPECT_TRUE(logged("Device::allocNodeMap: retrieve URL info succeed.", log::kVerbose)) << dump();
    EXPECT_TRUE(logged("Device::open: Load xml and connect to port succeed.", log::kProgress));
    EXPECT_TRUE(device.nodeMap()->isLoaded());
    EXPECT_EQ(count("Device::allocNodeMap: Dump xml to: " + joinPath(dataDirectory().string(), "")), 1);

    // A second open counts; its close keeps everything.
    device.incrementOpenCount();
    EXPECT_EQ(device.close(), handle);
    EXPECT_TRUE(
        logged("Device::close: Closed 1x device ID <" + device.id() + ">. Is still 1 times open.", log::kProgress));
    EXPECT_TRUE(device.nodeMap()->isLoaded());
    EXPECT_EQ(device.number(), 3);
    EXPECT_EQ(device.getAccessStatus(), 5);

    auto map = device.nodeMap();
    EXPECT_EQ(device.close(), nullptr);
    EXPECT_FALSE(map->isLoaded());
    EXPECT_EQ(device.activeStream(), nullptr);
    EXPECT_EQ(device.number(), -1);
    EXPECT_TRUE(logged("Device::close: NodeMap destroyed.", log::kProgress));
    EXPECT_EQ(count("DataStream::~DataStream: Closed DataStream with ID <"), 2);
    EXPECT_TRUE(logged("Device::close: Closed device with ID <" + device.id() + ">", log::kProgress));
    // The handle stays until the next open; the producer no longer knows it.
    EXPECT_EQ(device.handle(), handle);
    EXPECT_NE(device.getAccessStatus(), 5);
    EXPECT_EQ(device.close(), nullptr);  // nothing left to close
}

// The address and length of a "local:" URL are hexadecimal, the query is ignored, and only
// ".zip" exactly is loaded as an archive. The example URL's length reaches past the served
// archive: the read runs past its end, which is logged, and the bytes are used as they are (the
// archive reader ignores the zero tail). The URL info's address is taken as the producer gives
// it, 0 too.
TEST_F(DeviceOpen, LocalUrlReadsLengthBytesAtAddressAndLoadsByExactExtension) {
    const std::string zip = servedDescription(true), xml = servedDescription(false);
    openDevice("url_info=0\nurl=local:///Cam.zip;100000;" + hex(zip.size()) + "?SchemaVersion=1.1.0\n");
    EXPECT_EQ(readFile(dataDirectory() / "Cam.zip"), zip);
    openDevice("xml_zipped=0\nurl_info=0\nurl=local:///Cam.ZIP;100000;" + hex(xml.size()) + "\n");
    EXPECT_EQ(readFile(dataDirectory() / "Cam.ZIP"), xml);

    ASSERT_LT(zip.size(), 0x2A3Fu);
    Device& example = openDevice("url_info=0\nurl=local:///Cam.zip;10000;2A3F?SchemaVersion=1.1.0\n");
    EXPECT_EQ(readFile(dataDirectory() / "Cam.zip"), zip + std::string(0x2A3F - zip.size(), '\0'));
    EXPECT_EQ(count("Port::Read: GCReadPort failed: -1015"), 1) << dump();
    EXPECT_TRUE(example.nodeMap()->isLoaded());

    EXPECT_TRUE(openDevice("description_address=0\n").nodeMap()->isLoaded());
    EXPECT_EQ(count("Device::allocNodeMap: addr: 0x0, xml_size: 0x"), 1) << dump();
}

// "file:///C|/desc/cam%20a.xml" names "C:/desc/cam a.xml": here relative to the current
// directory, on Windows the drive's folder (this test's own folder on drive C). The file is
// copied into the data directory and loaded there; without a directory part nothing is copied.
// A producer that tells address and size of a file URL too keeps the URL's folder.
TEST_F(DeviceOpen, FileUrlIsMappedToALocalNameCopiedAndLoadedFromTheDataDirectory) {
    const std::string xml = servedDescription(false);
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
    EXPECT_TRUE(openDevice("xml_zipped=0\nurl_info=0\nurl=" + url + "\n").nodeMap()->isLoaded());
    EXPECT_EQ(readFile(dataDirectory() / "cam a.xml"), xml);
    fs::remove(source);
    EXPECT_TRUE(openDevice("xml_zipped=0\nurl_info=0\nurl=file:cam%20a.xml\n").nodeMap()->isLoaded());

    const std::string folder = "xml_file_dir=" + (root_ / "desc").string() + "\n";
    for (const std::string& producer :
         {"url_scheme=file\n" + folder, "url_scheme=file\nurl_info_file_numbers=1\n" + folder}) {
        fs::remove(dataDirectory() / "ZEVO_quillon13SWIR.zip");
        openDevice(producer);
        EXPECT_EQ(readFile(dataDirectory() / "ZEVO_quillon13SWIR.zip"),
                  readFile(root_ / "desc" / "ZEVO_quillon13SWIR.zip"))
            << producer;
    }
}

TEST_F(DeviceOpen, SerialNumberFromDeviceSerialNumberElseInfoSerial) {
    EXPECT_EQ(openDevice("serials=00012345\n").getSerial(), 12345u);
    EXPECT_EQ(openDevice("info_names=1\nserials=4711\n").getSerial(), 4711u);
    EXPECT_TRUE(logged("Device::getSerial: instead take feature <4711>", log::kVerbose)) << dump();
    EXPECT_EQ(openDevice("serials=ABC\n").getSerial(), 0u);
    EXPECT_EQ(count("Device::getSerial: stoull exception: "), 1);
    EXPECT_TRUE(logged("Device::getSerial: can not read serial number <ABC>. set: 0", log::kProgress));
}

// Bits per pixel from PixelSize, else from the PixelFormat symbol's digits.
TEST_F(DeviceOpen, StreamRecordTakesPayloadAndPixelSizeFromTheCamera) {
    Device& device = openDevice("defines_payload_size=0\n");
    auto stream = device.activeStream();
    EXPECT_EQ(stream->bitAlignment(), 1u);
    EXPECT_EQ(stream->timestampMode(), 0u);
    EXPECT_FALSE(stream->isStreaming());
    const uint32_t bits = stream->setBitsPerPixel();
    EXPECT_EQ(bits, 12u);  // Mono12, as the camera powers up
    EXPECT_TRUE(logged("DataStream::setBitsPerPixel: IInteger \"PixelSize\" : 12", log::kProgress)) << dump();
    const int64_t width = features::getInteger(*device.nodeMap(), "Width");
    const int64_t height = features::getInteger(*device.nodeMap(), "Height");
    EXPECT_EQ(device.setImageParameters(width, height), 0);
    EXPECT_EQ(std::vector<int64_t>({stream->width(), stream->height()}), std::vector<int64_t>({width, height}));
    EXPECT_EQ(stream->getPayloadSize(), uint64_t(2 * width * height));
    EXPECT_EQ(count("Mismatch!"), 0) << dump();
    // A request that differs from the camera is reported, not written.
    device.setImageParameters(width / 2, height);
    EXPECT_EQ(count("Device::setImageParameters: setInteger Width: "), 1);
    EXPECT_EQ(stream->width(), width);
    stream.reset();  // the producer goes with the last of its objects and reads its new configuration

    EXPECT_EQ(openDevice("remove_features=PixelSize\npixel_formats=Mono12\n").activeStream()->setBitsPerPixel(), 12u);
    EXPECT_TRUE(logged("DataStream::setBitsPerPixel: text extract bpp from \"PixelFormat\" : 12", log::kProgress));
}

// A stream another caller still holds when the device closes is ended with the device: its
// buffers revoked and the producer's stream closed before DevClose, and nothing reaches the
// producer through it afterwards (the producer has freed what its handles named).
TEST_F(DeviceOpen, StreamHeldPastTheCloseEndsBeforeTheDeviceAndIsNeverUsedAgain) {
    Device& device = openDevice("");
    auto held = device.activeStream();
    const int64_t width = features::getInteger(*device.nodeMap(), "Width");
    const int64_t height = features::getInteger(*device.nodeMap(), "Height");
    ASSERT_EQ(device.setImageParameters(width, height), 0) << dump();
    EXPECT_EQ(device.close(), nullptr);
    const std::vector<std::string> ends = messagesStartingWith("DataStream::~DataStream: Closed DataStream");
    EXPECT_EQ(ends.size(), 1u) << dump();
    clearLines();

    EXPECT_EQ(held->setImageSizes(width, height), ZEVO_ERROR_DRIVER_NODRIVER);
    EXPECT_EQ(held->getPayloadSize(), uint64_t(2 * width * height));
    held->stopStreaming();
    held.reset();
    for (const Line& line : lines())
        EXPECT_TRUE(line.text.find("GC failed") == std::string::npos && line.text.find("DS") == std::string::npos)
            << line.text;
    EXPECT_EQ(count("Closed DataStream"), 0) << dump();
}

// A description that cannot be had fails the open and leaves the device closed: a URL that
// cannot be used, one larger than 64 MiB (refused before it is read), malformed XML, a broken
// archive, a truncated description, short port reads.
TEST_F(DeviceOpen, BadDescriptionFailsTheOpenAndClosesTheDevice) {
    const std::string xml = servedDescription(false);
    writeFile(root_ / "bad.xml", "<?xml version=\"1.0\"?><RegisterDescription><Integer Name=\"Width\"></Regis");
    writeFile(root_ / "bad.zip", std::string("PK\x03\x04", 4) + "not really deflated data");
    const struct {
        std::string producer;
        bool throws;
        std::string line;
    } cases[] = {
        {"url_info=0\nurl=local:///Cam.xml;0;100\n", false,
         "Device::allocNodeMap: Cannot interpret URL: local:///Cam.xml;0;100"},
        {"url_info=0\nurl=http://vendor.example/cam.xml\n", false,
         "Device::allocNodeMap: Cannot interpret URL: http://vendor.example/cam.xml"},
        {"xml_zipped=0\nurl=local:///Cam.xml;100000;100000000\n", false,
         "Device::allocNodeMap: Description <Cam.xml> of 0x100000000 bytes is larger than the largest accepted "
         "(0x4000000)."},
        {"url_info=0\nurl=file://" + (root_ / "bad.xml").string() + "\n", true, ""},
        {"url_info=0\nurl=file://" + (root_ / "bad.zip").string() + "\n", true, ""},
        {"xml_zipped=0\nurl_info=0\nurl=local:///Cam.xml;100000;" + hex(xml.size() / 2) + "\n", true, ""},
        {"short_port_read=64\n", true, "Port::Read: Returned size ("},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.producer);
        Device& device = registerDevice(c.producer);
        if (c.throws) {
            EXPECT_THROW(device.open(0, "ZEVO.cti"), features::GenericException);
        } else {
            EXPECT_EQ(device.open(0, "ZEVO.cti"), nullptr);
            EXPECT_TRUE(logged("Device::open: allocNodeMap failed.", log::kError));
        }
        if (!c.line.empty()) {
            EXPECT_EQ(count(c.line), 1) << dump();
        }
        if (!c.throws) {
            EXPECT_FALSE(fs::exists(dataDirectory() / "Cam.xml"));
        }
        expectClosedAgain(device);
        clearLines();
    }
}

}  // namespace
}  // namespace tq4::test
