// The GenICam node map of one camera: built from the camera description, connected to the
// camera's register port, and reached by feature name. This is the only interface to the
// node-map engine; no file outside features/ sees the engine itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace tq4::features {

// Every error of the node-map engine arrives as this one exception type.
class GenericException : public std::runtime_error {
public:
    explicit GenericException(const std::string& description) : std::runtime_error(description) {}
    const char* GetDescription() const noexcept { return what(); }
};

// The camera's register space as the node map sees it. Reads and writes never throw: a
// failure is logged by the implementation and the node map sees whatever is in the buffer.
class RegisterPort {
public:
    virtual ~RegisterPort() = default;
    virtual void Read(void* buffer, int64_t address, int64_t length) = 0;
    virtual void Write(const void* buffer, int64_t address, int64_t length) = 0;
};

// The largest description accepted, plain or unpacked from its archive (a camera's is a few
// hundred kilobytes); larger ones are refused before anything is read or stored.
constexpr std::size_t kMaxDescriptionSize = std::size_t(64) << 20;

class Node;  // a feature of the node map (features/Node.h, completed by the adapter)

class NodeMap {
public:
    explicit NodeMap(std::string deviceName = "Device");
    ~NodeMap();
    NodeMap(const NodeMap&) = delete;
    NodeMap& operator=(const NodeMap&) = delete;

    // Loading: a second load into the same map throws "Node map already created".
    void loadXml(const char* text, std::size_t length);      // plain XML text
    void loadZippedXml(const void* data, std::size_t size);  // zip archive holding the XML
    void loadXmlFile(const std::string& path);
    void loadZippedXmlFile(const std::string& path);

    // Connects the map to the camera's port; false when no node map was loaded.
    bool connect(RegisterPort* port);
    void destroy();  // drops the node map
    bool isLoaded() const;

    Node* getNode(const std::string& name);  // null when absent

    // The features as the description's categories order them, from "Root" down: each with
    // its depth below Root and whether it is a category itself.
    struct TreeEntry {
        std::string name;
        int depth;
        bool isCategory;
    };
    std::vector<TreeEntry> featureTree();

    // The node map may be reached from the SDK's thread and from the stream thread; callers
    // that touch nodes hold this lock for the whole access (the feature helpers do).
    std::recursive_mutex& mutex();

    // The register cache stays off in the driver: selector-indexed registers read stale
    // values through it. Switchable only so that its effect can be measured.
    void setRegisterCacheEnabled(bool enabled);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tq4::features

#include "features/Node.h"
