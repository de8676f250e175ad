// A device over an Aravis device: its information, its remote port and its data stream.
#include "aravis-producer/Producer.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace tq4aravis {
namespace {

// GigE Vision bootstrap registers: the first description URL (512 bytes).
constexpr uint64_t kFirstUrlAddress = 0x200;
constexpr size_t kUrlLength = 512;
// Where the producer serves a description it got from Aravis instead of a camera's URL: far
// above any camera's registers.
constexpr uint64_t kServedXmlAddress = 0xFFFF000000000000ULL;

[[noreturn]] void ioFailure(const char* what, GError* error) {
    const std::string why = error ? error->message : "no answer";
    g_clear_error(&error);
    throw GenTLError(GC_ERR_IO, std::string(what) + ": " + why);
}

// The scheme of a camera's URL as GenTL consumers expect it: lower case ("Local:" -> "local:").
std::string withLowerCaseScheme(std::string url) {
    const auto colon = url.find(':');
    if (colon != std::string::npos)
        std::transform(url.begin(), url.begin() + long(colon), url.begin(),
                       [](unsigned char c) { return char(std::tolower(c)); });
    return url;
}

bool onLoopback(const DeviceEntry& entry) { return entry.address.rfind("127.", 0) == 0; }

// Applies the producer's settings to a GigE Vision stream and its device.
void configureGigEStream(ArvDevice* device, const DeviceEntry& entry, const Settings& s) {
    const bool packetSocket = s.packetSocket == Settings::PacketSocket::On ||
                              (s.packetSocket == Settings::PacketSocket::Auto && !onLoopback(entry));
    arv_gv_device_set_stream_options(
        ARV_GV_DEVICE(device), packetSocket ? ARV_GV_STREAM_OPTION_NONE : ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
}

void configureGigEStream(ArvStream* stream, const Settings& s) {
    if (s.socketBufferBytes)
        g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size",
                     gint(*s.socketBufferBytes), nullptr);
    else
        g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_AUTO, nullptr);
    g_object_set(stream, "packet-resend",
                 s.packetResend ? ARV_GV_STREAM_PACKET_RESEND_ALWAYS : ARV_GV_STREAM_PACKET_RESEND_NEVER, nullptr);
    if (s.packetTimeoutUs) g_object_set(stream, "packet-timeout", guint(*s.packetTimeoutUs), nullptr);
    if (s.frameRetentionUs) g_object_set(stream, "frame-retention", guint(*s.frameRetentionUs), nullptr);
}

void onNewBuffer(ArvStream*, gpointer stream) { static_cast<Stream*>(stream)->collect(); }

}  // namespace

// ---- RemotePort --------------------------------------------------------------------------

RemotePort::RemotePort(ArvDevice* device, const DeviceEntry& entry, const Transport& transport)
    : device_(device), entry_(entry), transport_(transport) {}

PortIdentity RemotePort::portIdentity() const {
    PortIdentity p;
    p.id = entry_.id;
    p.vendor = entry_.vendor;
    p.model = entry_.model;
    p.tlType = transport_.tlType;
    p.module = TLRemoteDevice;
    p.version = "";
    p.portName = "Device";
    p.writable = true;
    p.bigEndian = std::string(transport_.protocol) == "GigEVision";  // GVCP registers are big-endian
    return p;
}

void RemotePort::readPort(uint64_t address, void* buffer, size_t size) {
    if (address >= kServedXmlAddress) {
        std::lock_guard<std::mutex> lock(mutex_);
        const uint64_t at = address - kServedXmlAddress;
        require(at <= xml_.size() && size <= xml_.size() - at, GC_ERR_INVALID_ADDRESS, "outside the description");
        std::memcpy(buffer, xml_.data() + at, size);
        return;
    }
    GError* error = nullptr;
    if (size > 0 && !arv_device_read_memory(device_, address, guint32(size), buffer, &error))
        ioFailure("register read", error);
}

void RemotePort::writePort(uint64_t address, const void* buffer, size_t size) {
    GError* error = nullptr;
    if (size > 0 && !arv_device_write_memory(device_, address, guint32(size), const_cast<void*>(buffer), &error))
        ioFailure("register write", error);
}

// A GigE Vision camera names its description in its first-URL register; a camera without one
// (USB3 Vision keeps it in a manifest) gets the description Aravis loaded, served by the port.
std::string RemotePort::portUrl() {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!url_.empty()) return url_;
    if (std::string(transport_.protocol) == "GigEVision") {
        char url[kUrlLength + 1] = {};
        GError* error = nullptr;
        if (!arv_device_read_memory(device_, kFirstUrlAddress, kUrlLength, url, &error))
            ioFailure("first-URL register", error);
        url_ = withLowerCaseScheme(url);
        return url_;
    }
    size_t size = 0;
    const char* xml = arv_device_get_genicam_xml(device_, &size);
    require(xml != nullptr && size > 0, GC_ERR_NOT_AVAILABLE, "the camera has no description");
    xml_.assign(xml, xml + size);
    url_ = localUrl(entry_.model.empty() ? "camera.xml" : entry_.model + ".xml", kServedXmlAddress, size);
    return url_;
}

// ---- Device ------------------------------------------------------------------------------

Device::Device(std::weak_ptr<InterfaceModule> iface, ArvDevice* device, DeviceEntry entry)
    : DeviceModule(std::move(iface), entry.id), device_(device), entry_(std::move(entry)) {
    port_ = std::make_shared<RemotePort>(device_, entry_, this->iface()->transport());
}

Device::~Device() { g_object_unref(device_); }

PortIdentity Device::portIdentity() const {
    PortIdentity p = DeviceModule::portIdentity();
    if (const auto i = iface()) p.tlType = i->transport().tlType;
    return p;
}

InfoValue Device::info(DEVICE_INFO_CMD command) const {
    const auto i = iface();
    require(i != nullptr, GC_ERR_INVALID_HANDLE, "interface closed");
    const bool controller = !ARV_IS_GV_DEVICE(device_) || arv_gv_device_is_controller(ARV_GV_DEVICE(device_));
    return deviceInfo(entry_, i->transport(),
                      controller ? DEVICE_ACCESS_STATUS_OPEN_READWRITE : DEVICE_ACCESS_STATUS_OPEN_READONLY, command);
}

std::shared_ptr<StreamModule> Device::openStream(const std::string& id) {
    require(id == streamId(0), GC_ERR_INVALID_ID, "unknown data stream ID");
    std::lock_guard<std::mutex> lock(mutex_);
    require(stream_ == nullptr, GC_ERR_RESOURCE_IN_USE, "data stream already open");
    const Settings& settings = Library::instance().settings();
    const bool gige = ARV_IS_GV_DEVICE(device_);
    if (gige) configureGigEStream(device_, entry_, settings);
    GError* error = nullptr;
    ArvStream* arv = arv_device_create_stream(device_, nullptr, nullptr, &error);
    if (arv == nullptr) ioFailure("stream", error);
    if (gige) configureGigEStream(arv, settings);
    stream_ = std::make_shared<Stream>(std::static_pointer_cast<Device>(shared_from_this()), arv, id);
    g_signal_connect(arv, "new-buffer", G_CALLBACK(onNewBuffer), stream_.get());
    arv_stream_set_emit_signals(arv, TRUE);
    Library::instance().registry().add(stream_);
    return stream_;
}

void Device::streamClosed(const StreamModule& stream, std::vector<void*>& released) {
    std::shared_ptr<Stream> closing;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stream_.get() != &stream) return;
        closing.swap(stream_);
    }
    closing->close(released);
    released.push_back(closing->handle());
}

void Device::close(std::vector<void*>& released) {
    std::shared_ptr<Stream> stream;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stream.swap(stream_);
    }
    if (stream) {
        stream->close(released);
        released.push_back(stream->handle());
    }
    released.push_back(port_->handle());
    released.push_back(handle());
}

InfoValue deviceInfo(const DeviceEntry& entry, const Transport& transport, DEVICE_ACCESS_STATUS status,
                     DEVICE_INFO_CMD command) {
    constexpr uint64_t kTicksPerSecond = 1000000000;  // buffer time stamps are in nanoseconds
    switch (command) {
        case DEVICE_INFO_ID: return infoString(entry.id);
        case DEVICE_INFO_VENDOR: return infoString(entry.vendor);
        case DEVICE_INFO_MODEL: return infoString(entry.model);
        case DEVICE_INFO_TLTYPE: return infoString(transport.tlType);
        case DEVICE_INFO_DISPLAYNAME: return infoString(entry.vendor + " " + entry.model + " (" + entry.serial + ")");
        case DEVICE_INFO_ACCESS_STATUS: return infoInt32(status);
        case DEVICE_INFO_USER_DEFINED_NAME: throw GenTLError(GC_ERR_NOT_AVAILABLE, "no user-defined name");
        case DEVICE_INFO_SERIAL_NUMBER: return infoString(entry.serial);
        case DEVICE_INFO_VERSION: throw GenTLError(GC_ERR_NOT_AVAILABLE, "no device version before opening");
        case DEVICE_INFO_TIMESTAMP_FREQUENCY: return infoUInt64(kTicksPerSecond);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown device info command");
    }
}

}  // namespace tq4aravis
