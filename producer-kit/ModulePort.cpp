#include "producer-kit/ModulePort.h"

#include <cstdio>
#include <utility>

namespace gentlkit {
namespace {

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

}  // namespace

InfoValue portInfo(const PortIdentity& p, PORT_INFO_CMD command) {
    switch (command) {
        case PORT_INFO_ID: return infoString(p.id);
        case PORT_INFO_VENDOR: return infoString(p.vendor);
        case PORT_INFO_MODEL: return infoString(p.model);
        case PORT_INFO_TLTYPE: return infoString(p.tlType);
        case PORT_INFO_MODULE: return infoString(p.module);
        case PORT_INFO_LITTLE_ENDIAN: return infoBool(!p.bigEndian);
        case PORT_INFO_BIG_ENDIAN: return infoBool(p.bigEndian);
        case PORT_INFO_ACCESS_READ: return infoBool(true);
        case PORT_INFO_ACCESS_WRITE: return infoBool(p.writable);
        case PORT_INFO_ACCESS_NA:
        case PORT_INFO_ACCESS_NI: return infoBool(false);
        case PORT_INFO_VERSION: return infoString(p.version);
        case PORT_INFO_PORTNAME: return infoString(p.portName);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown port info command");
    }
}

std::string moduleXml(const PortIdentity& p, const std::string& prefix, const std::string& modelName,
                      const std::string& vendorName) {
    const std::pair<std::string, std::string> features[] = {{prefix + "ID", p.id},
                                                            {prefix + "VendorName", p.vendor},
                                                            {prefix + "ModelName", p.model},
                                                            {prefix + "Type", p.tlType},
                                                            {prefix + "Version", p.version}};
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<RegisterDescription ModelName=\"" +
        modelName + "\" VendorName=\"" + vendorName +
        "\" "
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

std::string localUrl(const std::string& fileName, uint64_t address, uint64_t size) {
    char text[64];
    std::snprintf(text, sizeof(text), ";%llX;%llX", static_cast<unsigned long long>(address),
                  static_cast<unsigned long long>(size));
    return "local:///" + fileName + text + "?SchemaVersion=1.1.0";
}

}  // namespace gentlkit
