# Turns a camera description into a C++ source, so that ZEVO.cti carries it inside: the bytes
# as the array <NAME>, their count as <NAME>Size.
# Usage: cmake -DINPUT=<xml> -DOUTPUT=<cpp> -DNAME=<symbol> -P embed_xml.cmake
file(READ "${INPUT}" hex HEX)
string(LENGTH "${hex}" hexLength)
math(EXPR size "${hexLength} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" bytes "${bytes}")
file(WRITE "${OUTPUT}" "// Generated from ${INPUT}; do not edit.\n#include <cstddef>\nnamespace zevo {\nextern const unsigned char ${NAME}[] = {\n${bytes}0x00};\nextern const std::size_t ${NAME}Size = ${size};\n}  // namespace zevo\n")
