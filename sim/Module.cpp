#include "sim/Module.h"

#include <cstdio>
#include <cstring>

namespace zevo {
namespace {

// Feature name prefix of each module kind in its own description.
const char* featurePrefix(ModuleKind kind) {
    switch (kind) {
        case ModuleKind::System: return "TL";
        case ModuleKind::Interface: return "Interface";
        case ModuleKind::Device: return "Device";
        default: return "Stream";
    }
}

std::string escaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else
            out += c;
    }
    return out;
}

std::string moduleXml(const PortIdentity& p, const std::string& prefix) {
    const std::pair<std::string, std::string> features[] = {{prefix + "ID", p.id},
                                                            {prefix + "VendorName", p.vendor},
                                                            {prefix + "ModelName", p.model},
                                                            {prefix + "Type", p.tlType},
                                                            {prefix + "Version", p.version}};
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<RegisterDescription ModelName=\"ZEVO_" +
        p.module +
        "\" VendorName=\"Orvanta_ZEVO_GmbH\" "
        "StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" "
        "SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" "
        "ProductGuid=\"4F0C2E6A-7B19-4D3E-A5C8-1E2F3A4B5C6D\" VersionGuid=\"9D8C7B6A-5F4E-4D3C-8B2A-1F0E9D8C7B6A\" "
        "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n"
        "  <Category Name=\"Root\" NameSpace=\"Standard\">\n";
    for (const auto& f : features) xml += "    <pFeature>" + f.first + "</pFeature>\n";
    xml += "  </Category>\n";
    for (const auto& f : features)
        xml += "  <String Name=\"" + f.first +
               "\" NameSpace=\"Standard\">\n    <ImposedAccessMode>RO</ImposedAccessMode>\n"
               "    <Value>" +
               escaped(f.second) + "</Value>\n  </String>\n";
    xml += "  <Port Name=\"" + p.portName + "\" NameSpace=\"Standard\"/>\n</RegisterDescription>\n";
    return xml;
}

std::string hex(uint64_t v) {
    char text[20];
    std::snprintf(text, sizeof(text), "%llX", static_cast<unsigned long long>(v));
    return text;
}

}  // namespace

PortIdentity Module::portIdentity() const {
    static const char* const names[] = {"TLSystem",     "TLInterface", "TLDevice", "Device",
                                        "TLDataStream", "TLBuffer",    "Event"};
    PortIdentity p;
    p.module = names[int(kind())];
    p.id = p.module;
    p.vendor = "Orvanta ZEVO GmbH";
    p.model = "ZEVO simulated producer";
    p.tlType = "Custom";
    p.version = "1.9.0";
    p.portName = p.module + "Port";
    p.writable = false;
    return p;
}

const Description* Module::portDescription() const {
    if (!hasPort()) return nullptr;
    std::call_once(describeOnce_, [this] {
        const PortIdentity p = portIdentity();
        auto d = std::make_unique<Description>();
        d->xml = moduleXml(p, featurePrefix(kind()));
        d->blob = std::make_shared<const std::vector<uint8_t>>(d->xml.begin(), d->xml.end());
        d->fileName = "ZEVO_" + p.module + ".xml";
        d->address = 0;
        d->size = d->blob->size();
        d->url = "local:///" + d->fileName + ";0;" + hex(d->size) + "?SchemaVersion=1.1.0";
        description_ = std::move(d);
    });
    return description_.get();
}

void Module::readPort(uint64_t address, void* buffer, size_t size) {
    const Description* d = portDescription();
    require(d != nullptr && address <= d->blob->size() && size <= d->blob->size() - address, GC_ERR_INVALID_ADDRESS,
            "outside this module's description");
    std::memcpy(buffer, d->blob->data() + address, size);
}

void Module::writePort(uint64_t, const void*, size_t) {
    throw GenTLError(GC_ERR_ACCESS_DENIED, "this module's port is read-only");
}

void Registry::add(const std::shared_ptr<Module>& module) {
    std::lock_guard<std::mutex> lock(mutex_);
    modules_[module->handle()] = module;
}

void Registry::remove(const void* handle) {
    std::lock_guard<std::mutex> lock(mutex_);
    modules_.erase(handle);
}

void Registry::clear() {
    std::unordered_map<const void*, std::shared_ptr<Module>> doomed;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        doomed.swap(modules_);
    }
}

std::shared_ptr<Module> Registry::find(const void* handle) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = modules_.find(handle);
    return it == modules_.end() ? nullptr : it->second;
}

}  // namespace zevo
