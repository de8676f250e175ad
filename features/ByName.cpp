#include "features/ByName.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <mutex>

#include "features/Features.h"

namespace tq4::features {
namespace {

// The kinds that take text in a form of their own: strings, enumerations, booleans and integers
// shown as hex digits or an address (192.168.0.2), converted by setString.
bool takesOwnTextForm(Node& node) {
    if (node.GetPrincipalInterfaceType() != intfIInteger) return node.GetPrincipalInterfaceType() != intfIFloat;
    const Representation shown = static_cast<IntegerNode&>(node).GetRepresentation();
    return shown == HexNumber || shown == IPV4Address || shown == MACAddress;
}

// Writes a number from its whole text in full precision (integers also as 0x..) and reads it
// back: the camera must hold it, not a value it rounded or clamped to. Other kinds are written
// by setString and, where readable, must show the text afterwards.
bool writeText(NodeMap& map, const char* name, Node& node, const std::string& value) {
    const InterfaceType type = node.GetPrincipalInterfaceType();
    if (takesOwnTextForm(node)) {
        if (type == intfIEnumeration && !hasEnumEntry(map, name, value, true)) return false;
        if (!setString(map, name, value)) return false;
        if (type == intfIInteger || type == intfIBoolean || !isFeatureReadable(map, name)) return true;
        return getString(map, name) == value;
    }
    char* end = nullptr;
    if (type == intfIInteger) {
        const long long integer = std::strtoll(value.c_str(), &end, 0);
        return !value.empty() && *end == '\0' && setInteger(map, name, integer) &&
               (!isFeatureReadable(map, name) || getInteger(map, name) == integer);
    }
    const double number = std::strtod(value.c_str(), &end);
    return !value.empty() && *end == '\0' && setFloat(map, name, number) &&
           (!isFeatureReadable(map, name) ||
            std::abs(getFloat(map, name) - number) <= 1e-6 * std::max(1.0, std::abs(number)));
}

}  // namespace

FeatureText readFeatureText(NodeMap& map, const std::string& name) {
    std::lock_guard<std::recursive_mutex> lock(map.mutex());
    FeatureText text;
    Node* node = featureNode(map, name);
    if (!node) return text;
    text.found = true;
    text.name = node->GetName();
    text.type = node->GetPrincipalInterfaceType();
    text.access = node->GetAccessMode();
    if (!IsReadable(text.access) || text.type == intfICommand || text.type == intfICategory) return text;
    text.value = getString(map, text.name.c_str());
    if (text.type == intfIFloat) getFloat(map, name.c_str(), nullptr, nullptr, nullptr, &text.unit);
    return text;
}

WriteOutcome writeFeatureText(NodeMap& map, const std::string& name, const std::string& value) {
    std::lock_guard<std::recursive_mutex> lock(map.mutex());
    Node* node = featureNode(map, name);
    if (!node) return WriteOutcome::Absent;
    if (!isFeatureWritable(map, name.c_str())) return WriteOutcome::NotWritable;
    const InterfaceType type = node->GetPrincipalInterfaceType();
    if (type == intfICommand) return callCommand(map, name.c_str()) ? WriteOutcome::Done : WriteOutcome::Refused;
    try {
        return writeText(map, name.c_str(), *node, value) ? WriteOutcome::Done : WriteOutcome::Refused;
    } catch (const std::exception&) {  // the text does not convert
        return WriteOutcome::Refused;
    }
}

}  // namespace tq4::features
