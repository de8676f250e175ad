// Node, its typed kinds and their cache over Aravis' feature nodes.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>

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
AccessMode lockedMode(AccessMode mode) {
    if (mode == RW) return RO;
    return mode == WO ? NA : mode;
}

// Two access modes along a chain of nodes: the narrower wins; reading at one end and writing at
// the other leaves nothing.
AccessMode combine(AccessMode a, AccessMode b) {
    if (a == NI || b == NI) return NI;
    if (a == NA || b == NA) return NA;
    if ((a == RO && b == WO) || (a == WO && b == RO)) return NA;
    if (a == RO || b == RO) return RO;
    if (a == WO || b == WO) return WO;
    return RW;
}

// The engine keeps each element of a node as a child property node.
ArvGcPropertyNode* propertyOf(void* engineNode, ArvGcPropertyNodeType type) {
    for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(engineNode)); child;
         child = arv_dom_node_get_next_sibling(child))
        if (ARV_IS_GC_PROPERTY_NODE(child) && arv_gc_property_node_get_node_type(ARV_GC_PROPERTY_NODE(child)) == type)
            return ARV_GC_PROPERTY_NODE(child);
    return nullptr;
}

ArvGcNode* linkedNode(void* engineNode, ArvGcPropertyNodeType type) {
    ArvGcPropertyNode* property = propertyOf(engineNode, type);
    return property ? arv_gc_property_node_get_linked_node(property) : nullptr;
}

bool flagIs(ArvGcFeatureNode* node, gboolean (*test)(ArvGcFeatureNode*, GError**), bool expected) {
    return bool(engineCall([&](GError** e) { return test(node, e); })) == expected;
}

// The access mode as GenApi gives it: a node's own pIsImplemented, pIsAvailable, its imposed
// mode (a register's with its AccessMode), then the node its pValue names, down to the register,
// and last its own pIsLocked. The depth stops a description whose pValues run in a circle.
AccessMode chainAccessMode(ArvGcNode* node, int depth = 0) {
    ArvGcFeatureNode* feature = ARV_GC_FEATURE_NODE(node);
    if (flagIs(feature, arv_gc_feature_node_is_implemented, false)) return NI;
    if (flagIs(feature, arv_gc_feature_node_is_available, false)) return NA;
    ArvGcNode* value = linkedNode(node, ARV_GC_PROPERTY_NODE_TYPE_P_VALUE);
    AccessMode mode = fromEngine(value ? arv_gc_feature_node_get_imposed_access_mode(feature)
                                       : arv_gc_feature_node_get_actual_access_mode(feature));
    constexpr int kDeepestChain = 16;
    if (value && ARV_IS_GC_FEATURE_NODE(value) && depth < kDeepestChain)
        mode = combine(mode, chainAccessMode(value, depth + 1));
    if (flagIs(feature, arv_gc_feature_node_is_locked, true)) mode = lockedMode(mode);
    return mode;
}

// A limit the node's chain does not define (a formula or a bit field has no increment, a formula
// no range) takes GenApi's default: the type's range, increment 1, no float increment.
template <class Value, class Getter>
Value limitOr(Value fallback, Getter&& get) {
    GError* error = nullptr;
    Value value = get(&error);
    if (error && g_error_matches(error, ARV_GC_ERROR, ARV_GC_ERROR_PROPERTY_NOT_DEFINED)) {
        g_error_free(error);
        return fallback;
    }
    if (error) throwEngineError(error);
    return value;
}

// A converter computed as GenApi does: its formulas see its variables, constants and
// expressions; a value written into an integer is rounded, not cut.
class ConverterFormula {
public:
    ConverterFormula(ArvGcNode* converter, ArvGcPropertyNodeType formula)
        : evaluator_(arv_evaluator_new(propertyText(converter, formula))) {
        for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(converter)); child;
             child = arv_dom_node_get_next_sibling(child)) {
            if (!ARV_IS_GC_PROPERTY_NODE(child)) continue;
            auto* property = ARV_GC_PROPERTY_NODE(child);
            const char* name = arv_gc_property_node_get_name(property);
            switch (arv_gc_property_node_get_node_type(property)) {
                case ARV_GC_PROPERTY_NODE_TYPE_P_VARIABLE: setVariable(name, property); break;
                case ARV_GC_PROPERTY_NODE_TYPE_CONSTANT:
                    arv_evaluator_set_constant(evaluator_, name, arv_gc_property_node_get_string(property, nullptr));
                    break;
                case ARV_GC_PROPERTY_NODE_TYPE_EXPRESSION:
                    arv_evaluator_set_sub_expression(evaluator_, name,
                                                     arv_gc_property_node_get_string(property, nullptr));
                    break;
                default: break;
            }
        }
    }
    ~ConverterFormula() { g_object_unref(evaluator_); }
    ConverterFormula(const ConverterFormula&) = delete;
    ConverterFormula& operator=(const ConverterFormula&) = delete;

    double at(const char* variable, double value) {
        arv_evaluator_set_double_variable(evaluator_, variable, value);
        return engineCall([&](GError** e) { return arv_evaluator_evaluate_as_double(evaluator_, e); });
    }

private:
    static const char* propertyText(ArvGcNode* node, ArvGcPropertyNodeType type) {
        ArvGcPropertyNode* property = propertyOf(node, type);
        return property ? arv_gc_property_node_get_string(property, nullptr) : "0";
    }
    void setVariable(const char* name, ArvGcPropertyNode* property) {
        ArvGcNode* node = arv_gc_property_node_get_linked_node(property);
        if (ARV_IS_GC_FLOAT(node))
            arv_evaluator_set_double_variable(evaluator_, name, engineCall([&](GError** e) {
                                                  return arv_gc_float_get_value(ARV_GC_FLOAT(node), e);
                                              }));
        else if (ARV_IS_GC_INTEGER(node))
            arv_evaluator_set_int64_variable(evaluator_, name, engineCall([&](GError** e) {
                                                 return arv_gc_integer_get_value(ARV_GC_INTEGER(node), e);
                                             }));
    }
    ArvEvaluator* evaluator_;
};

// The node a converter's pValue names; null for any other node.
Node* converterTarget(void* engineNode, NodeCache& cache) {
    if (!ARV_IS_GC_CONVERTER(engineNode)) return nullptr;
    ArvGcNode* target = linkedNode(engineNode, ARV_GC_PROPERTY_NODE_TYPE_P_VALUE);
    return target && ARV_IS_GC_FEATURE_NODE(target) ? cache.wrap(target) : nullptr;
}

// A converter's limits are its target's, through the formula that reads it; a falling formula
// swaps them. An enumeration target has no range: its entries are the limits.
std::pair<double, double> convertedLimits(void* converter, Node& target) {
    double low = 0, high = 0;
    if (auto* integer = dynamic_cast<IntegerNode*>(&target)) {
        low = double(integer->GetMin());
        high = double(integer->GetMax());
    } else if (auto* number = dynamic_cast<FloatNode*>(&target)) {
        low = number->GetMin();
        high = number->GetMax();
    } else {
        return {-DBL_MAX, DBL_MAX};
    }
    ConverterFormula from(ARV_GC_NODE(converter), ARV_GC_PROPERTY_NODE_TYPE_FORMULA_FROM);
    const double first = from.at("TO", low), second = from.at("TO", high);
    return {std::min(first, second), std::max(first, second)};
}

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

// The engine's own mode ignores pIsLocked and stops at the node itself.
AccessMode Node::GetAccessMode() const { return chainAccessMode(ARV_GC_NODE(engineNode_)); }

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
    const int64_t min = GetMin(), max = GetMax();
    if (value < min || value > max)
        throw GenericException("Value " + std::to_string(value) + " of node '" + GetName() + "' is outside " +
                               std::to_string(min) + ".." + std::to_string(max));
    if (verify) {
        int64_t inc = GetInc();
        if (inc > 1 && (value - GetMin()) % inc != 0)
            throw GenericException("Value " + std::to_string(value) + " of node '" + GetName() +
                                   "' is not on the increment " + std::to_string(inc));
    }
    engineCall([&](GError** e) { arv_gc_integer_set_value(integerOf(*this), value, e); });
}

int64_t IntegerNode::GetMin() {
    return limitOr(INT64_MIN, [&](GError** e) { return arv_gc_integer_get_min(integerOf(*this), e); });
}

int64_t IntegerNode::GetMax() {
    return limitOr(INT64_MAX, [&](GError** e) { return arv_gc_integer_get_max(integerOf(*this), e); });
}

int64_t IntegerNode::GetInc() {
    return limitOr(int64_t(1), [&](GError** e) { return arv_gc_integer_get_inc(integerOf(*this), e); });
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
    const double min = GetMin(), max = GetMax();
    if (value < min || value > max)
        throw GenericException("Value " + std::to_string(value) + " of node '" + GetName() + "' is outside " +
                               std::to_string(min) + ".." + std::to_string(max));
    Node* target = converterTarget(engineNode_, cache_);
    if (!target) {
        engineCall([&](GError** e) { arv_gc_float_set_value(floatOf(*this), value, e); });
        return;
    }
    const double converted =
        ConverterFormula(ARV_GC_NODE(engineNode_), ARV_GC_PROPERTY_NODE_TYPE_FORMULA_TO).at("FROM", value);
    if (auto* integer = dynamic_cast<IntegerNode*>(target))
        integer->SetValue(std::llround(converted), false);
    else if (auto* enumeration = dynamic_cast<EnumerationNode*>(target))
        enumeration->SetIntValue(std::llround(converted));
    else if (auto* number = dynamic_cast<FloatNode*>(target))
        number->SetValue(converted);
    else
        throw GenericException("Converter '" + GetName() + "' writes to no number");
}

double FloatNode::GetMin() {
    if (Node* target = converterTarget(engineNode_, cache_)) return convertedLimits(engineNode_, *target).first;
    return limitOr(-DBL_MAX, [&](GError** e) { return arv_gc_float_get_min(floatOf(*this), e); });
}

double FloatNode::GetMax() {
    if (Node* target = converterTarget(engineNode_, cache_)) return convertedLimits(engineNode_, *target).second;
    return limitOr(DBL_MAX, [&](GError** e) { return arv_gc_float_get_max(floatOf(*this), e); });
}

// The engine reports the smallest double as the increment of a converter that has none.
double FloatNode::GetInc() {
    const double inc = limitOr(0.0, [&](GError** e) { return arv_gc_float_get_inc(floatOf(*this), e); });
    return inc == DBL_MIN ? 0.0 : inc;
}

std::string FloatNode::GetUnit() { return text(arv_gc_float_get_unit(floatOf(*this))); }

// ------------------------------------------------------------------- Boolean, String, Command

bool BooleanNode::GetValue(bool, bool) {
    requireReadable();
    // A constant written as "true" or "false", which the engine reads as the number 0.
    if (ArvGcPropertyNode* constant = propertyOf(engineNode_, ARV_GC_PROPERTY_NODE_TYPE_VALUE)) {
        const std::string value = text(arv_gc_property_node_get_string(constant, nullptr));
        if (g_ascii_strcasecmp(value.c_str(), "true") == 0) return true;
        if (g_ascii_strcasecmp(value.c_str(), "false") == 0) return false;
    }
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

std::string EnumEntryNode::GetSymbolic() const { return cache_.symbolic(GetName()); }

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
