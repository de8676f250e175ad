// Any feature by name as text, for people and scripts: what `tq4cam get`/`set` and the driver's
// feature exports read and write. A name is found as the helpers find it (a standard feature
// also under an older name the camera gives it).
#pragma once

#include <string>

#include "features/NodeMap.h"

namespace tq4::features {

struct FeatureText {
    bool found = false;
    std::string name;  // the camera's name for the feature
    InterfaceType type = intfIValue;
    AccessMode access = NI;
    std::string value;  // as getString writes it; empty unless readable (never for commands)
    std::string unit;   // a readable float's unit, the standard's where the camera gives none
};
FeatureText readFeatureText(NodeMap& map, const std::string& name);

enum class WriteOutcome { Done, Absent, NotWritable, Refused };
// Writes `value`, converted by the feature's kind (integers also as 0x.. and in the address
// form their representation gives, floats in double precision, booleans as 0/1/true/false,
// enumerations by an entry available now); a command is executed whatever the text. Refused
// when the text does not convert, or a readable feature does not hold the value afterwards
// (numbers and booleans compared by value).
WriteOutcome writeFeatureText(NodeMap& map, const std::string& name, const std::string& value);

}  // namespace tq4::features
