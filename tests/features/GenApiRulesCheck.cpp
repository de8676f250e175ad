// Every feature of the simulated camera's descriptions (both models) held to GenApi's documented
// rules, worked out here from the XML the camera serves, not through the node map: the access
// mode along the pValue chain (register AccessMode, ImposedAccessMode, pIsImplemented,
// pIsAvailable, pIsLocked; formulas read-only), an integer's limits (its own or pMin/pMax/pInc,
// else its register's: the bytes or bits and the sign, a formula's the whole type; increment 1),
// a float's (its own or the type's; no increment unless one is given) and an enumeration's
// symbols (<Symbolic>, else the entry's name; available entries only). The values these rules
// need (locks, pMin...) are read through the node map. Prints how many features were compared
// and how many agree, and fails on the first that does not.
#include <libxml/parser.h>

#include <cfloat>
#include <climits>
#include <map>
#include <sstream>
#include <type_traits>

#include "features/NodeMap.h"
#include "support/World.h"

namespace tq4::features {
namespace {

using Element = xmlNodePtr;

// Read in place (libxml2's free is a variable of the library that the Windows build cannot call).
std::string text(Element e) {
    std::string all;
    for (Element part = e->children; part; part = part->next)
        if (part->type == XML_TEXT_NODE && part->content) all += reinterpret_cast<const char*>(part->content);
    return all;
}

std::string attribute(Element e, const char* name) {
    xmlAttrPtr value = xmlHasProp(e, BAD_CAST name);
    return value ? text(reinterpret_cast<Element>(value)) : "";
}

// The text of child `name`, empty when there is none.
std::string child(Element e, const char* name) {
    for (Element c = e->children; c; c = c->next)
        if (c->type == XML_ELEMENT_NODE && xmlStrcmp(c->name, BAD_CAST name) == 0) return text(c);
    return "";
}

bool is(Element e, const char* kind) { return xmlStrcmp(e->name, BAD_CAST kind) == 0; }

AccessMode accessFromText(const std::string& text, AccessMode fallback) {
    if (text == "RO") return RO;
    if (text == "WO") return WO;
    if (text == "RW") return RW;
    return fallback;
}

AccessMode narrower(AccessMode a, AccessMode b) {
    if (a == NI || b == NI) return NI;
    if (a == NA || b == NA) return NA;
    if ((a == RO && b == WO) || (a == WO && b == RO)) return NA;
    if (a == RO || b == RO) return RO;
    return a == WO || b == WO ? WO : RW;
}

class Rules {
public:
    Rules(const std::string& xml, NodeMap& map) : map_(map) {
        document_ = xmlReadMemory(xml.data(), int(xml.size()), "served.xml", nullptr, XML_PARSE_NONET);
        if (document_) collect(xmlDocGetRootElement(document_), nullptr);
    }
    ~Rules() { xmlFreeDoc(document_); }
    Rules(const Rules&) = delete;
    Rules& operator=(const Rules&) = delete;

    // "" when `name` behaves as the rules say, else what differs.
    std::string check(const std::string& name) {
        Node* node = map_.getNode(name);
        Element e = find(name);
        if (!node || !e) return "missing";
        std::ostringstream differs;
        const AccessMode mode = access(e);
        if (node->GetAccessMode() != mode) differs << "access " << node->GetAccessMode() << " not " << mode << "; ";
        if (!IsReadable(mode)) return differs.str();
        if (auto* integer = dynamic_cast<IntegerNode*>(node)) {
            compareLimits(*integer, integerLimits(e), differs);
        } else if (auto* number = dynamic_cast<FloatNode*>(node)) {
            compareLimits(*number, floatLimits(e), differs);
        } else if (auto* enumeration = dynamic_cast<EnumerationNode*>(node)) {
            std::vector<std::string> symbolics;
            enumeration->GetSymbolics(symbolics);
            if (symbolics != availableSymbols(e)) differs << "entries; ";
        }
        return differs.str();
    }

private:
    // Reads the value and notes limits that differ from `expected` (min, max, inc).
    template <class Typed, class Limits>
    static void compareLimits(Typed& node, const Limits& expected, std::ostringstream& differs) {
        node.GetValue();
        if (node.GetMin() != expected.min || node.GetMax() != expected.max || node.GetInc() != expected.inc)
            differs << "limits " << node.GetMin() << ".." << node.GetMax() << "/" << node.GetInc() << " not "
                    << expected.min << ".." << expected.max << "/" << expected.inc << "; ";
    }

    void collect(Element parent, Element structReg) {
        for (Element e = parent->children; e; e = e->next) {
            if (e->type != XML_ELEMENT_NODE) continue;
            if (is(e, "StructReg")) collect(e, e);
            if (!attribute(e, "Name").empty()) {
                nodes_[attribute(e, "Name")] = e;
                if (structReg) structOf_[e] = structReg;
            }
        }
    }
    Element find(const std::string& name) const {
        auto found = nodes_.find(name);
        return found == nodes_.end() ? nullptr : found->second;
    }
    int64_t integerOf(const std::string& name) {
        Node* node = map_.getNode(name);
        if (auto* integer = dynamic_cast<IntegerNode*>(node)) return integer->GetValue();
        if (auto* flag = dynamic_cast<BooleanNode*>(node)) return flag->GetValue();
        if (auto* enumeration = dynamic_cast<EnumerationNode*>(node)) return enumeration->GetIntValue();
        return 0;
    }
    double floatOf(const std::string& name) {
        if (auto* number = dynamic_cast<FloatNode*>(map_.getNode(name))) return number->GetValue();
        return double(integerOf(name));
    }

    AccessMode access(Element e, int depth = 0) {
        const std::string implemented = child(e, "pIsImplemented"), available = child(e, "pIsAvailable");
        if (!implemented.empty() && integerOf(implemented) == 0) return NI;
        if (!available.empty() && integerOf(available) == 0) return NA;
        AccessMode mode = accessFromText(child(e, "ImposedAccessMode"), RW);
        const std::string value = child(e, "pValue");
        if (is(e, "SwissKnife") || is(e, "IntSwissKnife")) {
            mode = narrower(mode, RO);
        } else if (structOf_.count(e)) {
            const std::string own = child(e, "AccessMode");
            mode = narrower(mode, accessFromText(own.empty() ? child(structOf_[e], "AccessMode") : own, RO));
        } else if (!child(e, "Address").empty() || !child(e, "pAddress").empty()) {
            mode = narrower(mode, accessFromText(child(e, "AccessMode"), RO));
        } else if (!value.empty() && find(value) && depth < 16) {
            mode = narrower(mode, access(find(value), depth + 1));
        }
        const std::string locked = child(e, "pIsLocked");
        if (!locked.empty() && integerOf(locked) != 0) mode = mode == RW ? RO : mode == WO ? NA : mode;
        return mode;
    }

    template <typename T>
    struct Limits {
        T min, max, inc;
    };
    using IntegerLimits = Limits<int64_t>;
    using FloatLimits = Limits<double>;
    // `limits` with the node's own Min, Max and Inc, or its pMin, pMax and pInc, over them.
    template <typename T>
    Limits<T> own(Element e, Limits<T> limits) {
        T* fields[] = {&limits.min, &limits.max, &limits.inc};
        const char* names[] = {"Min", "Max", "Inc"};
        for (int i = 0; i < 3; ++i) {
            const std::string fixed = child(e, names[i]), pointer = child(e, ("p" + std::string(names[i])).c_str());
            if (!fixed.empty())
                *fields[i] = std::is_integral_v<T> ? T(std::stoll(fixed, nullptr, 0)) : T(std::stod(fixed));
            if (!pointer.empty()) *fields[i] = std::is_integral_v<T> ? T(integerOf(pointer)) : T(floatOf(pointer));
        }
        return limits;
    }
    IntegerLimits integerLimits(Element e) { return own(e, fromTarget(e)); }
    // Without limits of its own: those of the node its pValue names, by that node's kind.
    IntegerLimits fromTarget(Element e) {
        const bool isRegister = !child(e, "Address").empty() || structOf_.count(e);
        Element target = isRegister ? e : find(child(e, "pValue"));
        if (!target || is(target, "IntSwissKnife") || is(target, "IntConverter") || is(target, "Enumeration"))
            return {INT64_MIN, INT64_MAX, 1};
        if (is(target, "Integer")) return integerLimits(target);
        const bool isSigned = child(target, "Sign") == "Signed";
        int bits = 0;
        if (!child(target, "LSB").empty() || !child(target, "Bit").empty()) {
            const std::string bit = child(target, "Bit");
            bits = bit.empty() ? std::abs(std::stoi(child(target, "MSB")) - std::stoi(child(target, "LSB"))) + 1 : 1;
        } else {
            bits = 8 * std::stoi(child(target, "Length"), nullptr, 0);
        }
        if (bits >= 64) return {isSigned ? INT64_MIN : 0, INT64_MAX, 1};
        return isSigned ? IntegerLimits{-(int64_t(1) << (bits - 1)), (int64_t(1) << (bits - 1)) - 1, 1}
                        : IntegerLimits{0, (int64_t(1) << bits) - 1, 1};
    }

    FloatLimits floatLimits(Element e) {
        Element target = find(child(e, "pValue"));
        if (target && is(e, "Converter")) return converterLimits(e, target);
        return own(e, target && is(target, "Float") ? floatLimits(target) : FloatLimits{-DBL_MAX, DBL_MAX, 0.0});
    }
    // The converters here read their target as it is (FormulaFrom "TO"): the target's limits.
    FloatLimits converterLimits(Element e, Element target) {
        EXPECT_EQ(child(e, "FormulaFrom"), "TO") << "the rules check knows identity converters only";
        if (is(target, "Float")) return floatLimits(target);
        const IntegerLimits limits = integerLimits(target);
        return {double(limits.min), double(limits.max), 0.0};
    }

    std::vector<std::string> availableSymbols(Element e) {
        std::vector<std::string> symbols;
        for (Element entry = e->children; entry; entry = entry->next) {
            if (entry->type != XML_ELEMENT_NODE || !is(entry, "EnumEntry")) continue;
            const AccessMode mode = access(entry);
            if (mode == NI || mode == NA) continue;
            const std::string symbolic = child(entry, "Symbolic");
            symbols.push_back(symbolic.empty() ? attribute(entry, "Name") : symbolic);
        }
        return symbols;
    }

    NodeMap& map_;
    xmlDocPtr document_ = nullptr;
    std::map<std::string, Element> nodes_;
    std::map<Element, Element> structOf_;
};

class GenApiRulesCheck : public test::World, public ::testing::WithParamInterface<const char*> {};

TEST_P(GenApiRulesCheck, EveryFeatureBehavesAsTheRulesSay) {
    auto map = device(camera(std::string("model=") + GetParam() + "\nxml_zipped=0\n"))->nodeMap();
    const std::string xml = test::readFile(dataDirectory() / "ZEVO_quillon13SWIR.xml");
    std::lock_guard lock(map->mutex());
    Rules rules(xml, *map);
    int compared = 0, agreeing = 0;
    for (const auto& feature : map->featureTree()) {
        if (feature.isCategory) continue;
        ++compared;
        std::string differs;
        try {
            differs = rules.check(feature.name);
        } catch (const GenericException& e) {
            differs = std::string("exception: ") + e.GetDescription();
        }
        EXPECT_EQ(differs, "") << feature.name;
        agreeing += differs.empty();
    }
    std::printf("%s model: %d features compared, %d as GenApi's rules say\n", GetParam(), compared, agreeing);
}

INSTANTIATE_TEST_SUITE_P(Models, GenApiRulesCheck, ::testing::Values("default", "conformance"));

}  // namespace
}  // namespace tq4::features
