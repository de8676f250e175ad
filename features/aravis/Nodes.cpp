// Node, its typed kinds and their cache over Aravis' feature nodes.
#include <algorithm>

#include "features/aravis/Engine.h"

namespace tq4::features {

void throwEngineError(GError* error) {
    std::string description = error->message ? error->message : "unknown engine error";
    g_error_free(error);
    throw GenericException(description);
}

namespace {

// Enumerations also implement the engine's integer interface and plain registers sit at the
// root of the integer, float and string registers: the order of these tests matters.
InterfaceType classify(ArvGcNode* node) {
    if (ARV_IS_GC_ENUMERATION(node)) return intfIEnumeration;
    if (ARV_IS_GC_ENUM_ENTRY(node)) return intfIEnumEntry;
    if (ARV_IS_GC_COMMAND(node)) return intfICommand;
    if (ARV_IS_GC_BOOLEAN(node)) return intfIBoolean;
    if (ARV_IS_GC_CATEGORY(node)) return intfICategory;
    if (ARV_IS_GC_PORT(node)) return intfIPort;
    if (G_OBJECT_TYPE(node) == ARV_TYPE_GC_REGISTER_NODE) return intfIRegister;
    if (ARV_IS_GC_INTEGER(node)) return intfIInteger;
    if (ARV_IS_GC_FLOAT(node)) return intfIFloat;
    if (ARV_IS_GC_STRING(node)) return intfIString;
    if (ARV_IS_GC_REGISTER(node)) return intfIRegister;
    return intfIBase;
}

AccessMode fromEngine(ArvGcAccessMode mode) {
    switch (mode) {
        case ARV_GC_ACCESS_MODE_RO: return RO;
        case ARV_GC_ACCESS_MODE_WO: return WO;
        default: return RW;
    }
}

// A locked feature can still be read but no longer written.
AccessMode lockedMode(AccessMode mode) { return mode == WO ? NA : RO; }

ArvGcInteger* integerOf(const Node& node) { return ARV_GC_INTEGER(node.engineNode()); }
ArvGcFloat* floatOf(const Node& node) { return ARV_GC_FLOAT(node.engineNode()); }
ArvGcEnumeration* enumerationOf(const Node& node) { return ARV_GC_ENUMERATION(node.engineNode()); }

std::string text(const char* engineText) { return engineText ? engineText : ""; }

}  // namespace

// ---------------------------------------------------------------------------------- cache

Node* NodeCache::find(const std::string& name) {
    ArvGcNode* node = arv_gc_get_node(genicam_, name.c_str());
    return node && ARV_IS_GC_FEATURE_NODE(node) ? wrap(node) : nullptr;
}

Node* NodeCache::wrap(ArvGcNode* engineNode) {
    auto& slot = nodes_[engineNode];
    if (slot) return slot.get();
    InterfaceType type = classify(engineNode);
    switch (type) {
        case intfIInteger: slot.reset(new IntegerNode(engineNode, type, *this)); break;
        case intfIFloat: slot.reset(new FloatNode(engineNode, type, *this)); break;
        case intfIBoolean: slot.reset(new BooleanNode(engineNode, type, *this)); break;
        case intfIString: slot.reset(new StringNode(engineNode, type, *this)); break;
        case intfICommand: slot.reset(new CommandNode(engineNode, type, *this)); break;
        case intfIEnumeration: slot.reset(new EnumerationNode(engineNode, type, *this)); break;
        case intfIEnumEntry: slot.reset(new EnumEntryNode(engineNode, type, *this)); break;
        default: slot.reset(new Node(engineNode, type, *this)); break;
    }
    return slot.get();
}

// ----------------------------------------------------------------------------------- Node

std::string Node::GetName() const { return text(arv_gc_feature_node_get_name(NodeCache::feature(*this))); }

AccessMode Node::GetAccessMode() const {
    ArvGcFeatureNode* node = NodeCache::feature(*this);
    if (!engineCall([&](GError** e) { return arv_gc_feature_node_is_implemented(node, e); })) return NI;
    if (!engineCall([&](GError** e) { return arv_gc_feature_node_is_available(node, e); })) return NA;
    // The engine's own mode ignores pIsLocked (and its writes accept locked features).
    AccessMode mode = fromEngine(arv_gc_feature_node_get_actual_access_mode(node));
    if (engineCall([&](GError** e) { return arv_gc_feature_node_is_locked(node, e); })) return lockedMode(mode);
    return mode;
}

void Node::requireReadable() const {
    if (!IsReadable(GetAccessMode())) throw GenericException("Node '" + GetName() + "' is not readable");
}

void Node::requireWritable() const {
    if (!IsWritable(GetAccessMode())) throw GenericException("Node '" + GetName() + "' is not writable");
}

// -------------------------------------------------------------------------------- Integer

int64_t IntegerNode::GetValue(bool, bool) {
    requireReadable();
    return engineCall([&](GError** e) { return arv_gc_integer_get_value(integerOf(*this), e); });
}

void IntegerNode::SetValue(int64_t value, bool verify) {
    requireWritable();
    if (verify) {
        int64_t inc = GetInc();
        if (inc > 1 && (value - GetMin()) % inc != 0)
            throw GenericException("Value " + std::to_string(value) + " of node '" + GetName() +
                                   "' is not on the increment " + std::to_string(inc));
    }
    engineCall([&](GError** e) { arv_gc_integer_set_value(integerOf(*this), value, e); });
}

int64_t IntegerNode::GetMin() {
    return engineCall([&](GError** e) { return arv_gc_integer_get_min(integerOf(*this), e); });
}

int64_t IntegerNode::GetMax() {
    return engineCall([&](GError** e) { return arv_gc_integer_get_max(integerOf(*this), e); });
}

int64_t IntegerNode::GetInc() {
    return engineCall([&](GError** e) { return arv_gc_integer_get_inc(integerOf(*this), e); });
}

Representation IntegerNode::GetRepresentation() {
    switch (arv_gc_integer_get_representation(integerOf(*this))) {
        case ARV_GC_REPRESENTATION_LINEAR: return Linear;
        case ARV_GC_REPRESENTATION_LOGARITHMIC: return Logarithmic;
        case ARV_GC_REPRESENTATION_BOOLEAN: return Boolean;
        case ARV_GC_REPRESENTATION_HEX_NUMBER: return HexNumber;
        case ARV_GC_REPRESENTATION_IPV4_ADDRESS: return IPV4Address;
        case ARV_GC_REPRESENTATION_MAC_ADDRESS: return MACAddress;
        default: return PureNumber;
    }
}

std::string IntegerNode::GetUnit() { return text(arv_gc_integer_get_unit(integerOf(*this))); }

// ---------------------------------------------------------------------------------- Float

double FloatNode::GetValue(bool, bool) {
    requireReadable();
    return engineCall([&](GError** e) { return arv_gc_float_get_value(floatOf(*this), e); });
}

void FloatNode::SetValue(double value, bool) {
    requireWritable();
    engineCall([&](GError** e) { arv_gc_float_set_value(floatOf(*this), value, e); });
}

double FloatNode::GetMin() {
    return engineCall([&](GError** e) { return arv_gc_float_get_min(floatOf(*this), e); });
}

double FloatNode::GetMax() {
    return engineCall([&](GError** e) { return arv_gc_float_get_max(floatOf(*this), e); });
}

double FloatNode::GetInc() {
    GError* error = nullptr;
    double inc = arv_gc_float_get_inc(floatOf(*this), &error);
    if (error && g_error_matches(error, ARV_GC_ERROR, ARV_GC_ERROR_PROPERTY_NOT_DEFINED)) {
        g_error_free(error);  // most floats have no increment: not an error
        return 0.0;
    }
    if (error) throwEngineError(error);
    return inc;
}

std::string FloatNode::GetUnit() { return text(arv_gc_float_get_unit(floatOf(*this))); }

// ------------------------------------------------------------------- Boolean, String, Command

bool BooleanNode::GetValue(bool, bool) {
    requireReadable();
    return engineCall([&](GError** e) { return arv_gc_boolean_get_value(ARV_GC_BOOLEAN(engineNode_), e); });
}

void BooleanNode::SetValue(bool value, bool) {
    requireWritable();
    engineCall([&](GError** e) { arv_gc_boolean_set_value(ARV_GC_BOOLEAN(engineNode_), value, e); });
}

std::string StringNode::GetValue(bool, bool) {
    requireReadable();
    return text(engineCall([&](GError** e) { return arv_gc_string_get_value(ARV_GC_STRING(engineNode_), e); }));
}

void StringNode::SetValue(const std::string& value, bool) {
    requireWritable();
    engineCall([&](GError** e) { arv_gc_string_set_value(ARV_GC_STRING(engineNode_), value.c_str(), e); });
}

void CommandNode::Execute(bool) {
    requireWritable();
    engineCall([&](GError** e) { arv_gc_command_execute(ARV_GC_COMMAND(engineNode_), e); });
}

// ------------------------------------------------------------------------------ Enumeration

int64_t EnumEntryNode::GetValue() {
    return engineCall([&](GError** e) { return arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(engineNode_), e); });
}

std::string EnumEntryNode::GetSymbolic() const { return GetName(); }

// The engine lists entries in reverse; the description's order is the camera's preference.
void EnumerationNode::GetEntries(std::vector<EnumEntryNode*>& entries) {
    entries.clear();
    for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(engineNode_)); child;
         child = arv_dom_node_get_next_sibling(child)) {
        if (ARV_IS_GC_ENUM_ENTRY(child))
            entries.push_back(static_cast<EnumEntryNode*>(cache_.wrap(ARV_GC_NODE(child))));
    }
}

EnumEntryNode* EnumerationNode::GetEntryByName(const std::string& symbolic) {
    std::vector<EnumEntryNode*> entries;
    GetEntries(entries);
    for (EnumEntryNode* entry : entries)
        if (entry->GetSymbolic() == symbolic) return entry;
    return nullptr;
}

EnumEntryNode* EnumerationNode::GetCurrentEntry() {
    int64_t value = GetIntValue();
    std::vector<EnumEntryNode*> entries;
    GetEntries(entries);
    for (EnumEntryNode* entry : entries)
        if (entry->GetValue() == value) return entry;
    return nullptr;
}

void EnumerationNode::GetSymbolics(std::vector<std::string>& symbolics) {
    symbolics.clear();
    std::vector<EnumEntryNode*> entries;
    GetEntries(entries);
    for (EnumEntryNode* entry : entries) {
        AccessMode mode = entry->GetAccessMode();
        if (mode != NI && mode != NA) symbolics.push_back(entry->GetSymbolic());
    }
}

int64_t EnumerationNode::GetIntValue(bool, bool) {
    requireReadable();
    return engineCall([&](GError** e) { return arv_gc_enumeration_get_int_value(enumerationOf(*this), e); });
}

void EnumerationNode::SetIntValue(int64_t value, bool verify) {
    requireWritable();
    if (verify) {
        std::vector<EnumEntryNode*> entries;
        GetEntries(entries);
        auto matches = [&](EnumEntryNode* entry) { return entry->GetValue() == value; };
        auto found = std::find_if(entries.begin(), entries.end(), matches);
        if (found == entries.end())
            throw GenericException("Enumeration '" + GetName() + "' has no entry of value " + std::to_string(value));
        AccessMode mode = (*found)->GetAccessMode();
        if (mode == NI || mode == NA)
            throw GenericException("Entry '" + (*found)->GetSymbolic() + "' of enumeration '" + GetName() +
                                   "' is not available");
    }
    engineCall([&](GError** e) { arv_gc_enumeration_set_int_value(enumerationOf(*this), value, e); });
}

}  // namespace tq4::features
