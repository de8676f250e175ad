#include "features/Features.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "log/Log.h"

namespace tq4::features {

namespace {

enum class Need { Readable, Writable };

// What one helper checks and how it words its failures.
struct Frame {
    const char* helper;
    Need need;
    const char* accessFailure;  // "not writable." or "not readable." (and the two exceptions)
    const char* typeFailure;
};

void logFeature(const char* helper, const char* name, const char* failure) {
    TQ4_LOG(log::kError, nullptr, "%s: Feature <%s> %s", helper, name, failure);
}

bool allows(Need need, AccessMode mode) { return need == Need::Readable ? IsReadable(mode) : IsWritable(mode); }

// A feature under its current SFNC name, the names older cameras give the same feature (SFNC
// 1.x names that GigE Vision cameras still carry, and the like), and the unit SFNC defines for
// its value.
struct StandardFeature {
    const char* name;
    std::vector<std::string> alternatives;
    const char* unit;  // a float's unit when the camera names none; empty when SFNC has none
};

const StandardFeature kStandardFeatures[] = {
    {"ExposureTime", {"ExposureTimeAbs"}, "us"},
    {"AcquisitionFrameRate", {"AcquisitionFrameRateAbs"}, "Hz"},
    {"AcquisitionFrameRateEnable", {"AcquisitionFrameRateEnabled"}, ""},
    {"DeviceSerialNumber", {"DeviceID"}, ""},
};

// The standard feature `name` is, under its current name or an older one.
const StandardFeature* standardFeature(const std::string& name) {
    for (const StandardFeature& feature : kStandardFeatures)
        if (name == feature.name ||
            std::find(feature.alternatives.begin(), feature.alternatives.end(), name) != feature.alternatives.end())
            return &feature;
    return nullptr;
}

// The node of `name`, else of the first alternative name the camera has; null when none.
Node* findFeature(NodeMap& map, const char* name) {
    const std::string wanted = name ? name : "";
    if (Node* node = map.getNode(wanted)) return node;
    if (const StandardFeature* feature = standardFeature(wanted))
        for (const std::string& alternative : feature->alternatives)
            if (Node* node = map.getNode(alternative)) return node;
    return nullptr;
}

// The "cast" of the frame: the node seen as the helper's interface, or null.
template <class Typed>
struct As {
    Typed* operator()(Node& node) const { return dynamic_cast<Typed*>(&node); }
};

// The helpers that decide by the node's kind themselves take any node.
struct AnyNode {
    Node* operator()(Node& node) const { return &node; }
};

// getInteger also reads enumerations (as their current entry's value).
struct IntegerOrEnumeration {
    Node* operator()(Node& node) const {
        bool integer = dynamic_cast<IntegerNode*>(&node) || dynamic_cast<EnumerationNode*>(&node);
        return integer ? &node : nullptr;
    }
};

// The common frame: lookup, access, kind, operation; engine exceptions end in the log.
template <class Cast, class Result, class Operation>
Result withFeature(NodeMap& map, const char* name, const Frame& frame, Result failed, Operation&& operation) {
    std::lock_guard lock(map.mutex());
    try {
        Node* node = findFeature(map, name);
        if (!node) {
            logFeature(frame.helper, name, "not found.");
            return failed;
        }
        if (!allows(frame.need, node->GetAccessMode())) {
            logFeature(frame.helper, name, frame.accessFailure);
            return failed;
        }
        auto* typed = Cast()(*node);
        if (!typed) {
            logFeature(frame.helper, name, frame.typeFailure);
            return failed;
        }
        return operation(*typed);
    } catch (const GenericException& e) {
        TQ4_LOG(log::kError, nullptr, "%s: Exception: %s", frame.helper, e.GetDescription());
        return failed;
    }
}

template <class Test>
bool featureHolds(NodeMap& map, const char* name, Test&& test) {
    std::lock_guard lock(map.mutex());
    try {
        Node* node = findFeature(map, name);
        return node && test(*node);
    } catch (const GenericException&) {
        return false;
    }
}

// -------------------------------------------------------------- text conversions of setString

// Reads exactly four `separator`-separated parts in `base`, the first as the most significant
// byte. A missing part is an empty text, which the standard parse rejects.
int64_t parseFourBytes(const std::string& text, char separator, int base) {
    std::istringstream in(text);
    int64_t value = 0;
    for (int i = 0; i < 4; ++i) {
        std::string part;
        std::getline(in, part, separator);
        value = (value << 8) | (std::stoi(part, nullptr, base) & 0xFF);
    }
    return value;
}

int64_t parseInteger(IntegerNode& node, const std::string& text) {
    switch (node.GetRepresentation()) {
        case HexNumber: return std::stoll(text, nullptr, 16);
        case IPV4Address: return parseFourBytes(text, '.', 10);
        // Only four groups, although getString writes six.
        case MACAddress: return parseFourBytes(text, ':', 16);
        default: return std::stoll(text, nullptr, 10);
    }
}

bool parseBoolean(const std::string& text) {
    if (text == "true" || text == "True" || text == "TRUE") return true;
    if (text == "false" || text == "False" || text == "FALSE") return false;
    return std::stoi(text) != 0;
}

void setEnumFromText(EnumerationNode& node, const char* name, const std::string& text) {
    if (EnumEntryNode* entry = node.GetEntryByName(text))
        node.SetIntValue(entry->GetValue(), true);
    else
        TQ4_LOG(log::kError, nullptr, "setString: Enumeration <%s> does not contain <%s>", name, text.c_str());
}

// -------------------------------------------------------------- text conversions of getString

std::string formatBytes(int64_t value, int count, const char* separator, bool hex) {
    std::ostringstream out;
    for (int i = count - 1; i >= 0; --i) {
        int byte = int((value >> (8 * i)) & 0xFF);
        if (hex)
            out << std::hex << std::setw(2) << std::setfill('0') << byte;
        else
            out << byte;
        if (i > 0) out << separator;
    }
    return out.str();
}

std::string formatInteger(IntegerNode& node) {
    int64_t value = node.GetValue(false, false);
    std::ostringstream out;
    switch (node.GetRepresentation()) {
        case HexNumber: out << std::hex << value; return out.str();
        case IPV4Address: return formatBytes(value, 4, ".", false);
        case MACAddress: return formatBytes(value, 6, ":", true);
        default: out << value; return out.str();
    }
}

std::string formatFloat(double value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

EnumEntryNode& currentEntry(EnumerationNode& node) {
    EnumEntryNode* entry = node.GetCurrentEntry();
    if (!entry) throw GenericException("Current value of '" + node.GetName() + "' matches no entry");
    return *entry;
}

}  // namespace

// ------------------------------------------------------------------------------- the helpers

bool callCommand(NodeMap& map, const char* name) {
    static const Frame frame{"callCommand", Need::Writable, "not writable.", "not a command."};
    return withFeature<As<CommandNode>>(map, name, frame, false, [](CommandNode& node) {
        node.Execute(true);
        return true;
    });
}

bool setBoolean(NodeMap& map, const char* name, bool value) {
    static const Frame frame{"setBoolean", Need::Writable, "not writable.", "not boolean."};
    return withFeature<As<BooleanNode>>(map, name, frame, false, [&](BooleanNode& node) {
        node.SetValue(value, true);
        return true;
    });
}

bool setInteger(NodeMap& map, const char* name, int64_t value) {
    static const Frame frame{"setInteger", Need::Writable, "not writable.", "not integer"};
    return withFeature<As<IntegerNode>>(map, name, frame, false, [&](IntegerNode& node) {
        node.SetValue(value, true);
        return true;
    });
}

bool setFloat(NodeMap& map, const char* name, double value) {
    static const Frame frame{"setFloat", Need::Writable, "not writable.", "not float"};
    return withFeature<As<FloatNode>>(map, name, frame, false, [&](FloatNode& node) {
        node.SetValue(value, true);
        return true;
    });
}

bool setEnum(NodeMap& map, const char* name, const std::string& symbol) {
    static const Frame frame{"setEnum", Need::Writable, "not writable.", "not enumeration"};
    return withFeature<As<EnumerationNode>>(map, name, frame, false, [&](EnumerationNode& node) {
        EnumEntryNode* entry = node.GetEntryByName(symbol);
        if (!entry) {
            TQ4_LOG(log::kError, nullptr, "setEnum: Enumeration <%s> does not contain <%s>", name, symbol.c_str());
            return false;
        }
        node.SetIntValue(entry->GetValue(), true);
        return true;
    });
}

// Tests readability but words its failure "not writable.", as the callers' logs expect.
bool hasEnumEntry(NodeMap& map, const char* name, const std::string& symbol, bool onlyAvailable) {
    static const Frame frame{"hasEnumEntry", Need::Readable, "not writable.", "not enumeration"};
    return withFeature<As<EnumerationNode>>(map, name, frame, false, [&](EnumerationNode& node) {
        EnumEntryNode* entry = node.GetEntryByName(symbol);
        if (!entry) return false;
        if (!onlyAvailable) return true;
        AccessMode mode = entry->GetAccessMode();
        return mode != NI && mode != NA;
    });
}

bool getEnumEntries(NodeMap& map, const char* name, std::vector<std::string>& out) {
    static const Frame frame{"getEnumEntries", Need::Readable, "not writable.", "not enumeration"};
    return withFeature<As<EnumerationNode>>(map, name, frame, false, [&](EnumerationNode& node) {
        node.GetSymbolics(out);
        return false;  // on purpose: callers judge by the list
    });
}

bool setString(NodeMap& map, const char* name, const std::string& value) {
    static const Frame frame{"setString", Need::Writable, "not writable.", ""};
    return withFeature<AnyNode>(map, name, frame, false, [&](Node& node) {
        switch (node.GetPrincipalInterfaceType()) {
            case intfIInteger: {
                auto& integer = static_cast<IntegerNode&>(node);
                integer.SetValue(parseInteger(integer, value), true);
                break;
            }
            case intfIBoolean: static_cast<BooleanNode&>(node).SetValue(parseBoolean(value), true); break;
            // Single precision on purpose.
            case intfIFloat: static_cast<FloatNode&>(node).SetValue(double(std::stof(value)), true); break;
            case intfIString: static_cast<StringNode&>(node).SetValue(value, true); break;
            case intfIEnumeration: setEnumFromText(static_cast<EnumerationNode&>(node), name, value); break;
            default: break;
        }
        return true;
    });
}

bool getBoolean(NodeMap& map, const char* name) {
    static const Frame frame{"getBoolean", Need::Readable, "not readable.", "not boolean."};
    return withFeature<As<BooleanNode>>(map, name, frame, false,
                                        [](BooleanNode& node) { return node.GetValue(false, false); });
}

int64_t getInteger(NodeMap& map, const char* name, int64_t* min, int64_t* max, int64_t* inc) {
    static const Frame frame{"getInteger", Need::Readable, "not readable.", "not integer."};
    for (int64_t* out : {min, max, inc})
        if (out) *out = 0;
    return withFeature<IntegerOrEnumeration>(map, name, frame, int64_t(0), [&](Node& node) -> int64_t {
        if (node.GetPrincipalInterfaceType() == intfIEnumeration) {
            // The register's number, also when no entry has it.
            int64_t value = static_cast<EnumerationNode&>(node).GetIntValue();
            for (int64_t* out : {min, max, inc})
                if (out) *out = value;
            return value;
        }
        auto& integer = static_cast<IntegerNode&>(node);
        int64_t value = integer.GetValue(false, false);
        if (min) *min = integer.GetMin();
        if (max) *max = integer.GetMax();
        if (inc) *inc = integer.GetInc();
        return value;
    });
}

double getFloat(NodeMap& map, const char* name, double* min, double* max, double* inc, std::string* unit) {
    static const Frame frame{"getFloat", Need::Readable, "not readable.", "not float."};
    for (double* out : {min, max, inc})
        if (out) *out = 0.0;
    if (unit) unit->clear();
    return withFeature<As<FloatNode>>(map, name, frame, 0.0, [&](FloatNode& node) {
        double value = node.GetValue(false, false);
        if (min) *min = node.GetMin();
        if (max) *max = node.GetMax();
        if (unit) {
            *unit = node.GetUnit();
            const StandardFeature* feature = standardFeature(name ? name : "");
            if (unit->empty() && feature) *unit = feature->unit;
        }
        if (inc) *inc = node.GetInc();
        return value;
    });
}

std::string getEnum(NodeMap& map, const char* name) {
    static const Frame frame{"getEnum", Need::Readable, "not readable.", "not enumeration."};
    return withFeature<As<EnumerationNode>>(map, name, frame, std::string(), [&](EnumerationNode& node) {
        EnumEntryNode* entry = node.GetCurrentEntry();
        if (!entry) {
            TQ4_LOG(log::kError, nullptr, "getEnum: Current value is not defined: %s", name);
            return std::string();
        }
        return entry->GetSymbolic();
    });
}

std::string getString(NodeMap& map, const char* name) {
    static const Frame frame{"getString", Need::Readable, "not readable.", ""};
    return withFeature<AnyNode>(map, name, frame, std::string(), [&](Node& node) {
        switch (node.GetPrincipalInterfaceType()) {
            case intfIEnumeration: return currentEntry(static_cast<EnumerationNode&>(node)).GetSymbolic();
            case intfIString: return static_cast<StringNode&>(node).GetValue(false, false);
            case intfIFloat: return formatFloat(static_cast<FloatNode&>(node).GetValue(false, false));
            case intfIBoolean: return std::string(static_cast<BooleanNode&>(node).GetValue(false, false) ? "1" : "0");
            case intfIInteger: return formatInteger(static_cast<IntegerNode&>(node));
            default: logFeature("getString", name, "of unknown datatype."); return std::string();
        }
    });
}

Node* featureNode(NodeMap& map, const std::string& name) { return findFeature(map, name.c_str()); }

bool isFeaturePresent(NodeMap& map, const char* name) {
    return featureHolds(map, name, [](Node&) { return true; });
}

bool isFeatureReadable(NodeMap& map, const char* name) {
    return featureHolds(map, name, [](Node& node) { return IsReadable(node.GetAccessMode()); });
}

bool isFeatureWritable(NodeMap& map, const char* name) {
    return featureHolds(map, name, [](Node& node) { return IsWritable(node.GetAccessMode()); });
}

}  // namespace tq4::features
