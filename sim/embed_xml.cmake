# Turns the camera description into a C++ source, so that ZEVO.cti carries it inside.
# Usage: cmake -DINPUT=<xml> -DOUTPUT=<cpp> -P embed_xml.cmake
file(READ "${INPUT}" hex HEX)
string(LENGTH "${hex}" hexLength)
math(EXPR size "${hexLength} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" bytes "${bytes}")
file(WRITE "${OUTPUT}" "// Generated from ${INPUT}; do not edit.\n#include <cstddef>\nnamespace zevo {\nextern const unsigned char kCameraXml[] = {\n${bytes}0x00};\nextern const std::size_t kCameraXmlSize = ${size};\n}  // namespace zevo\n")
