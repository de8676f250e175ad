// Internal to the node-map adapter: the Aravis side of NodeMap and Node. Nothing outside
// features/aravis includes this header.
#pragma once

#include <arv.h>

#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "features/NodeMap.h"

namespace tq4::features {

// Turns a GLib error into the adapter's exception; frees the error.
[[noreturn]] void throwEngineError(GError* error);

// Runs an engine call that reports through a GError** last argument and throws its error.
template <class Call>
auto engineCall(Call&& call) {
    GError* error = nullptr;
    if constexpr (std::is_void_v<decltype(call(&error))>) {
        call(&error);
        if (error) throwEngineError(error);
    } else {
        auto result = call(&error);
        if (error) throwEngineError(error);
        return result;
    }
}

// The ArvDevice whose memory is the RegisterPort. Reads and writes always succeed as far as
// Aravis can tell: a port that fails leaves the buffer as it was, as GenApi ports do.
ArvDevice* newPortDevice();
void setPortDeviceTarget(ArvDevice* device, RegisterPort* port, ArvGc* genicam);

// A formula with its `&&`/`||` and `&`/`|`/`^` groups in parentheses as GenApi groups them
// (each pair one level, left to right); other formulas as they are.
std::string groupedAsGenApi(const std::string& formula);
// Regroups every formula and expression of a loaded description so.
void groupFormulasAsGenApi(ArvGc* genicam);

// Owns the Node objects of one loaded description, one per engine node, created on first use.
class NodeCache {
public:
    // `symbolics`: the <Symbolic> of each enumeration entry that has one, by entry name (the
    // engine drops that element).
    NodeCache(ArvGc* genicam, std::map<std::string, std::string> symbolics)
        : genicam_(genicam), symbolics_(std::move(symbolics)) {}
    Node* find(const std::string& name);
    Node* wrap(ArvGcNode* engineNode);
    // An entry's symbol: its <Symbolic>, else its name.
    std::string symbolic(const std::string& entryName) const {
        auto found = symbolics_.find(entryName);
        return found == symbolics_.end() ? entryName : found->second;
    }

    static ArvGcFeatureNode* feature(const Node& node) { return ARV_GC_FEATURE_NODE(node.engineNode()); }

private:
    ArvGc* genicam_;
    std::map<std::string, std::string> symbolics_;
    std::map<ArvGcNode*, std::unique_ptr<Node>> nodes_;
};

}  // namespace tq4::features
