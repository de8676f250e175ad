// NodeMap over Aravis' GenICam engine: loading a description, connecting it to the port.
#include <libxml/parser.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>

#include "features/aravis/Engine.h"

namespace tq4::features {

struct NodeMap::Impl {
    std::string deviceName;
    std::recursive_mutex mutex;
    // The engine keeps an unreferenced pointer to the device: the device must outlive it.
    ArvDevice* device = nullptr;
    ArvGc* genicam = nullptr;
    std::unique_ptr<NodeCache> nodes;

    void build(const char* xml, std::size_t size);
    void release();
};

namespace {

template <class T, void (*Free)(T*)>
struct EngineFree {
    void operator()(T* p) const { Free(p); }
};
void freeBytes(void* p) { g_free(p); }
using ZipPtr = std::unique_ptr<ArvZip, EngineFree<ArvZip, arv_zip_free>>;
using BytesPtr = std::unique_ptr<void, EngineFree<void, freeBytes>>;

// The engine's zip reader trusts the archive's directory: offsets and sizes that point outside
// the data make it read past the end, and a huge unpacked size makes it allocate that much. So
// the archive is walked first as the reader walks it: the end record (the last one in the data,
// whole), the central directory right before it (nothing in front of the archive), and for each
// entry its local header and packed data inside the data and an unpacked size within reason.

uint32_t zipNumber(const uint8_t* p, int bytes) {
    uint32_t value = 0;
    for (int i = bytes - 1; i >= 0; --i) value = (value << 8) | p[i];
    return value;
}

bool zipSignature(const uint8_t* p, uint8_t third, uint8_t fourth) {
    return p[0] == 'P' && p[1] == 'K' && p[2] == third && p[3] == fourth;
}

bool zipIsWhole(const uint8_t* data, std::size_t size) {
    constexpr std::size_t kEndRecord = 22;
    constexpr std::size_t kDirectoryEntry = 46;
    constexpr std::size_t kLocalHeader = 30;
    if (size < kEndRecord) return false;
    std::size_t end = size - 4;
    while (end > 0 && !zipSignature(data + end, 5, 6)) --end;
    if (!zipSignature(data + end, 5, 6) || end + kEndRecord > size) return false;
    const uint32_t entries = zipNumber(data + end + 10, 2);
    const uint64_t directorySize = zipNumber(data + end + 12, 4);
    const uint64_t directory = zipNumber(data + end + 16, 4);
    if (directory + directorySize != end) return false;
    uint64_t at = directory;
    for (uint32_t i = 0; i < entries; ++i) {
        if (at + kDirectoryEntry > end || !zipSignature(data + at, 1, 2)) return false;
        const uint8_t* entry = data + at;
        const uint64_t packed = zipNumber(entry + 20, 4);
        const uint64_t unpacked = zipNumber(entry + 24, 4);
        const uint64_t local = zipNumber(entry + 42, 4);
        at += kDirectoryEntry + zipNumber(entry + 28, 2) + zipNumber(entry + 30, 2) + zipNumber(entry + 32, 2);
        if (at > end || unpacked > kMaxDescriptionSize) return false;
        if (local + kLocalHeader > directory || !zipSignature(data + local, 3, 4)) return false;
        const uint64_t start = local + kLocalHeader + zipNumber(data + local + 26, 2) + zipNumber(data + local + 28, 2);
        if (start + packed > directory) return false;
    }
    return true;
}

using Symbolics = std::map<std::string, std::string>;

// Texts are read in place from the parsed tree: nothing is handed back to libxml2 to free, as
// its allocator is a variable of the library that a Windows build cannot call through.
std::string elementText(xmlNodePtr element) {
    std::string text;
    for (xmlNodePtr part = element->children; part; part = part->next)
        if ((part->type == XML_TEXT_NODE || part->type == XML_CDATA_SECTION_NODE) && part->content)
            text += reinterpret_cast<const char*>(part->content);
    return text;
}

std::string attributeText(xmlNodePtr element, const char* name) {
    xmlAttrPtr attribute = xmlHasProp(element, BAD_CAST name);
    return attribute ? elementText(reinterpret_cast<xmlNodePtr>(attribute)) : "";
}

// The <Symbolic> of every enumeration entry below `node`, by entry name.
void collectSymbolics(xmlNodePtr node, Symbolics& symbolics) {
    for (xmlNodePtr child = node->children; child; child = child->next) {
        if (child->type != XML_ELEMENT_NODE) continue;
        if (xmlStrcmp(child->name, BAD_CAST "Symbolic") == 0 && xmlStrcmp(node->name, BAD_CAST "EnumEntry") == 0) {
            const std::string name = attributeText(node, "Name");
            if (!name.empty()) symbolics[name] = elementText(child);
        }
        collectSymbolics(child, symbolics);
    }
}

// The engine builds what it can from broken XML (a truncated description loads without
// complaint), so well-formedness is checked first, with the parser's own words for a failure.
// What the engine leaves out (the entries' symbols) is taken from this reading.
Symbolics readDescription(const char* xml, std::size_t size) {
    if (size == 0) throw GenericException("Invalid camera description: empty");
    if (size > kMaxDescriptionSize) throw GenericException("Invalid camera description: too large");
    xmlInitParser();
    std::unique_ptr<xmlParserCtxt, EngineFree<xmlParserCtxt, xmlFreeParserCtxt>> parser(xmlNewParserCtxt());
    if (!parser) throw GenericException("Invalid camera description: no XML parser");
    xmlDocPtr document = xmlCtxtReadMemory(parser.get(), xml, int(size), "description.xml", nullptr,
                                           XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE);
    if (document) {
        // The engine asserts on XML of another kind: stop it here.
        xmlNodePtr root = xmlDocGetRootElement(document);
        bool isDescription = root && xmlStrcmp(root->name, BAD_CAST "RegisterDescription") == 0;
        Symbolics symbolics;
        if (isDescription) collectSymbolics(root, symbolics);
        xmlFreeDoc(document);
        if (!isDescription)
            throw GenericException("Invalid camera description: the XML is not a GenICam register description");
        return symbolics;
    }
    const xmlError* error = xmlCtxtGetLastError(parser.get());
    std::string reason = error && error->message ? error->message : "not well-formed";
    while (!reason.empty() && (reason.back() == '\n' || reason.back() == ' ')) reason.pop_back();
    throw GenericException("Invalid camera description: " + reason);
}

std::string readWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw GenericException("Cannot open the camera description file '" + path + "'");
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) throw GenericException("Cannot read the camera description file '" + path + "'");
    return bytes;
}

}  // namespace

void NodeMap::Impl::build(const char* xml, std::size_t size) {
    if (genicam) throw GenericException("Node map already created");
    Symbolics symbolics = readDescription(xml, size);
    device = newPortDevice();
    genicam = arv_gc_new(device, xml, size);
    if (!genicam) {
        release();
        throw GenericException("Invalid camera description: the engine refused it");
    }
    // Access and range are checked by the nodes as GenApi checks them (along the whole pValue
    // chain, with GenApi's default limits); the engine's own checks stop at the first node.
    arv_gc_set_access_check_policy(genicam, ARV_ACCESS_CHECK_POLICY_DISABLE);
    arv_gc_set_range_check_policy(genicam, ARV_RANGE_CHECK_POLICY_DISABLE);
    arv_gc_set_register_cache_policy(genicam, ARV_REGISTER_CACHE_POLICY_DISABLE);
    groupFormulasAsGenApi(genicam);
    setPortDeviceTarget(device, nullptr, genicam);
    nodes = std::make_unique<NodeCache>(genicam, std::move(symbolics));
}

void NodeMap::Impl::release() {
    nodes.reset();
    if (genicam) g_object_unref(genicam);
    genicam = nullptr;
    if (device) g_object_unref(device);
    device = nullptr;
}

NodeMap::NodeMap(std::string deviceName) : impl_(std::make_unique<Impl>()) {
    impl_->deviceName = std::move(deviceName);
}

NodeMap::~NodeMap() { impl_->release(); }

void NodeMap::loadXml(const char* text, std::size_t length) {
    std::lock_guard lock(impl_->mutex);
    if (!text) throw GenericException("Invalid camera description: no XML text");
    // A description read from the camera's memory ends at its first NUL.
    const char* end = std::find(text, text + length, '\0');
    impl_->build(text, std::size_t(end - text));
}

void NodeMap::loadZippedXml(const void* data, std::size_t size) {
    std::lock_guard lock(impl_->mutex);
    if (impl_->genicam) throw GenericException("Node map already created");
    if (!data || size == 0) throw GenericException("Invalid zipped camera description: no data");
    if (!zipIsWhole(static_cast<const uint8_t*>(data), size))
        throw GenericException("Invalid zipped camera description: damaged archive");
    ZipPtr zip(arv_zip_new(data, size));
    const GSList* files = zip ? arv_zip_get_file_list(zip.get()) : nullptr;
    if (!files) throw GenericException("Invalid zipped camera description: no file in the archive");
    const char* name = arv_zip_file_get_name(static_cast<ArvZipFile*>(files->data));
    std::size_t xmlSize = 0;
    BytesPtr xml(arv_zip_get_file(zip.get(), name, &xmlSize));
    if (!xml)
        throw GenericException(std::string("Invalid zipped camera description: cannot unpack '") + (name ? name : "") +
                               "'");
    loadXml(static_cast<const char*>(xml.get()), xmlSize);
}

void NodeMap::loadXmlFile(const std::string& path) {
    std::string xml = readWholeFile(path);
    loadXml(xml.data(), xml.size());
}

void NodeMap::loadZippedXmlFile(const std::string& path) {
    std::string zip = readWholeFile(path);
    loadZippedXml(zip.data(), zip.size());
}

bool NodeMap::connect(RegisterPort* port) {
    std::lock_guard lock(impl_->mutex);
    if (!impl_->genicam || !port) return false;
    setPortDeviceTarget(impl_->device, port, impl_->genicam);
    return true;
}

void NodeMap::destroy() {
    std::lock_guard lock(impl_->mutex);
    impl_->release();
}

bool NodeMap::isLoaded() const { return impl_->genicam != nullptr; }

Node* NodeMap::getNode(const std::string& name) {
    std::lock_guard lock(impl_->mutex);
    return impl_->nodes ? impl_->nodes->find(name) : nullptr;
}

namespace {

// Depth-first below one category; a name listed twice in the tree (a feature in two
// categories) is given every time, a category already walked is not walked again.
void walkCategory(ArvGc* genicam, const char* name, int depth, std::vector<NodeMap::TreeEntry>& out,
                  std::vector<std::string>& walked) {
    ArvGcNode* node = arv_gc_get_node(genicam, name);
    if (!ARV_IS_GC_CATEGORY(node)) return;
    if (std::find(walked.begin(), walked.end(), name) != walked.end()) return;
    walked.emplace_back(name);
    for (const GSList* item = arv_gc_category_get_features(ARV_GC_CATEGORY(node)); item; item = item->next) {
        const char* feature = static_cast<const char*>(item->data);
        const bool isCategory = ARV_IS_GC_CATEGORY(arv_gc_get_node(genicam, feature));
        out.push_back({feature, depth, isCategory});
        if (isCategory) walkCategory(genicam, feature, depth + 1, out, walked);
    }
}

}  // namespace

std::vector<NodeMap::TreeEntry> NodeMap::featureTree() {
    std::lock_guard lock(impl_->mutex);
    std::vector<TreeEntry> tree;
    std::vector<std::string> walked;
    if (impl_->genicam) walkCategory(impl_->genicam, "Root", 0, tree, walked);
    return tree;
}

std::recursive_mutex& NodeMap::mutex() { return impl_->mutex; }

void NodeMap::setRegisterCacheEnabled(bool enabled) {
    std::lock_guard lock(impl_->mutex);
    if (impl_->genicam)
        arv_gc_set_register_cache_policy(
            impl_->genicam, enabled ? ARV_REGISTER_CACHE_POLICY_ENABLE : ARV_REGISTER_CACHE_POLICY_DISABLE);
}

}  // namespace tq4::features
