#include "foundation/RunHelper.h"

#include <cstdlib>

namespace tq4::test {

int runHelper(const std::string& environment, const std::string& arguments, bool background) {
    std::string command = environment + " " TQ4_HELPER " " + arguments;
    if (background) command = "(" + command + ") &";
    return std::system(command.c_str());
}

}  // namespace tq4::test
