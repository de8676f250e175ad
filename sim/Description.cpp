#include "sim/Description.h"

#include "sim/CameraRegisters.h"
#include "sim/Zip.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

namespace zevo {

extern const unsigned char kCameraXml[];
extern const std::size_t kCameraXmlSize;
extern const unsigned char kConformanceXml[];
extern const std::size_t kConformanceXmlSize;

namespace {

const char* const kNodeKinds[] = {"Integer",   "Float",        "Enumeration", "Boolean",       "StringReg",
                                  "Command",   "IntReg",       "FloatReg",    "Category",      "MaskedIntReg",
                                  "Converter", "IntConverter", "SwissKnife",  "IntSwissKnife", "StructReg"};

// Position and length of the top-level node `name` (with its line end), or npos.
std::pair<size_t, size_t> findNode(const std::string& xml, const std::string& name) {
    for (const char* kind : kNodeKinds) {
        const std::string open = "\n  <" + std::string(kind) + " Name=\"" + name + "\"";
        const size_t start = xml.find(open);
        if (start == std::string::npos) continue;
        const std::string close = "\n  </" + std::string(kind) + ">";
        const size_t end = xml.find(close, start);
        if (end == std::string::npos) continue;
        return {start + 1, end + close.size() - start};
    }
    return {std::string::npos, 0};
}

void eraseAll(std::string& text, const std::string& what) {
    for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p)) text.erase(p, what.size());
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t p = text.find(from); p != std::string::npos; p = text.find(from, p + to.size()))
        text.replace(p, from.size(), to);
}

std::string lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return s;
}

std::string defaultFileName(const Config& config) {
    if (!config.xmlFileName.empty()) return config.xmlFileName;
    return config.zippedXml ? "ZEVO_quillon13SWIR.zip" : "ZEVO_quillon13SWIR.xml";
}

std::string toHex(uint64_t v) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s;
    do {
        s.insert(s.begin(), digits[v & 0xF]);
        v >>= 4;
    } while (v != 0);
    return s;
}

// The file name part of a URL: after the scheme and any "///" or folders, before ";" or "?".
std::string urlFileName(const std::string& rest) {
    const std::string path = rest.substr(0, rest.find_first_of(";?"));
    const size_t slash = path.find_last_of("/\\|");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Fills scheme, file name, address and size from a verbatim URL.
void describeOverride(Description& d, const std::string& url) {
    d.url = url;
    const std::string l = lower(url);
    const auto colon = url.find(':');
    const std::string rest = colon == std::string::npos ? url : url.substr(colon + 1);
    d.fileName = urlFileName(rest);
    if (l.rfind("local:", 0) != 0) {
        d.scheme = l.rfind("file:", 0) == 0 ? URL_SCHEME_FILE : URL_SCHEME_HTTP;
        d.inRegisters = false;
        return;
    }
    d.scheme = URL_SCHEME_LOCAL;
    const size_t first = rest.find(';');
    const size_t second = first == std::string::npos ? first : rest.find(';', first + 1);
    if (second == std::string::npos) return;
    try {
        d.address = std::stoull(rest.substr(first + 1, second - first - 1), nullptr, 16);
        d.size = std::stoull(rest.substr(second + 1, rest.find('?', second) - second - 1), nullptr, 16);
    } catch (const std::exception&) {
        d.address = reg::kDescription;  // unreadable numbers: keep the blob where it belongs
    }
}

// The conformance model: each top-level node of zevo_conformance.xml (an element that starts on a
// line of its own, indented by two, and ends on one) replaces the node of its name, or joins the
// description before its port.
std::string withConformanceNodes(std::string xml) {
    const std::string nodes(reinterpret_cast<const char*>(kConformanceXml), kConformanceXmlSize);
    const std::string port = "  <Port Name=\"Device\"";
    for (size_t start = nodes.find("\n  <"); start != std::string::npos; start = nodes.find("\n  <", start)) {
        const size_t kindEnd = nodes.find_first_of(" >", start + 4);
        const std::string kind = nodes.substr(start + 4, kindEnd - start - 4);
        const std::string close = "\n  </" + kind + ">";
        const size_t end = nodes.find(close, start);
        if (kind.empty() || kind[0] == '/' || end == std::string::npos) break;
        const std::string node = nodes.substr(start + 1, end + close.size() - start);
        start = end + close.size();
        const size_t nameAt = node.find(" Name=\"");
        const std::string name =
            nameAt < node.find('\n') ? node.substr(nameAt + 7, node.find('"', nameAt + 7) - nameAt - 7) : "";
        const auto [pos, len] = name.empty() ? std::pair<size_t, size_t>{std::string::npos, 0} : findNode(xml, name);
        if (pos != std::string::npos)
            xml.replace(pos, len, node);
        else
            xml.insert(xml.find(port), node);
    }
    return xml;
}

std::string writeDescriptionFile(const Config& config, const std::string& name, const std::vector<uint8_t>& bytes) {
    namespace fs = std::filesystem;
    const fs::path dir =
        config.xmlFileDir.empty() ? fs::temp_directory_path() / "zevo_sim" : fs::path(config.xmlFileDir);
    fs::create_directories(dir);
    const fs::path file = fs::absolute(dir / name);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    if (!out) throw GenTLError(GC_ERR_IO, "cannot write the camera description file");
    return file.generic_string();
}

}  // namespace

std::string removeFeature(std::string xml, const std::string& name) {
    for (const std::string& node : {name, name + "Reg"}) {
        const auto [pos, len] = findNode(xml, node);
        if (pos != std::string::npos) xml.erase(pos, len);
    }
    eraseAll(xml, "    <pFeature>" + name + "</pFeature>\n");
    eraseAll(xml, "    <pSelected>" + name + "</pSelected>\n");
    return xml;
}

std::string renameFeature(std::string xml, const std::string& from, const std::string& to) {
    replaceAll(xml, "Name=\"" + from + "\" NameSpace=\"Standard\"", "Name=\"" + to + "\" NameSpace=\"Custom\"");
    replaceAll(xml, "<pFeature>" + from + "</pFeature>", "<pFeature>" + to + "</pFeature>");
    return xml;
}

std::string makeReadOnly(std::string xml, const std::string& name) {
    const auto [pos, len] = findNode(xml, name);
    if (pos == std::string::npos) return xml;
    const std::string anchor = "</Visibility>\n";
    const size_t at = xml.find(anchor, pos);
    if (at == std::string::npos || at > pos + len) return xml;
    xml.insert(at + anchor.size(), "    <ImposedAccessMode>RO</ImposedAccessMode>\n");
    return xml;
}

std::string keepEnumEntries(std::string xml, const std::string& enumeration, const std::vector<std::string>& keep) {
    const auto [pos, len] = findNode(xml, enumeration);
    if (pos == std::string::npos) return xml;
    std::string node = xml.substr(pos, len);
    std::string kept;
    size_t lineStart = 0;
    while (lineStart < node.size()) {
        const size_t lineEnd = node.find('\n', lineStart) + 1;
        const std::string line = node.substr(lineStart, lineEnd - lineStart);
        const size_t q = line.find("<EnumEntry Name=\"");
        const bool dropped =
            q != std::string::npos &&
            std::find(keep.begin(), keep.end(), line.substr(q + 17, line.find('"', q + 17) - q - 17)) == keep.end();
        if (!dropped) kept += line;
        lineStart = lineEnd;
    }
    xml.replace(pos, len, kept);
    return xml;
}

std::string editedCameraXml(const Config& config) {
    std::string xml(reinterpret_cast<const char*>(kCameraXml), kCameraXmlSize);
    if (config.conformanceModel) xml = withConformanceNodes(xml);
    xml = keepEnumEntries(xml, "PixelFormat", config.pixelFormats);
    for (const auto& name : config.removedFeatures) xml = removeFeature(xml, name);
    if (config.triggerSelectorReadOnly) xml = makeReadOnly(xml, "TriggerSelector");
    if (config.infoNames) {
        xml = renameFeature(xml, "DeviceModelName", "InfoName");
        xml = renameFeature(xml, "DeviceVersion", "InfoHardwareRev");
        xml = renameFeature(xml, "DeviceSerialNumber", "InfoSerial");
    }
    return xml;
}

Description buildDescription(const Config& config) {
    Description d;
    d.xml = editedCameraXml(config);
    d.fileName = defaultFileName(config);
    const bool zipped = config.zippedXml;  // the name may say otherwise, on purpose
    auto blob = std::make_shared<std::vector<uint8_t>>(zipped ? zipSingleFile("zevo_quillon13SWIR.xml", d.xml)
                                                              : std::vector<uint8_t>(d.xml.begin(), d.xml.end()));
    d.blob = blob;
    d.address = config.descriptionAddress.value_or(reg::kDescription);
    d.size = blob->size();
    const std::string schema = "?SchemaVersion=1.1.0";
    if (!config.urlOverride.empty()) {
        describeOverride(d, config.urlOverride);
    } else if (config.urlScheme == "file") {
        d.scheme = URL_SCHEME_FILE;
        d.inRegisters = false;
        // No query on a file path: consumers take the path after "file:" as it stands.
        d.url = "file:///" + writeDescriptionFile(config, d.fileName, *blob);
        // generic_string of an absolute POSIX path starts with '/': avoid four slashes
        if (d.url.compare(0, 9, "file:////") == 0) d.url.erase(7, 1);
    } else {
        d.url = "local:///" + d.fileName + ";" + toHex(d.address) + ";" + toHex(d.size) + schema;
    }
    return d;
}

}  // namespace zevo
