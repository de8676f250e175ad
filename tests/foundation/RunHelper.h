// The foundation tests' second process: the helper program, started with environment overrides.
#pragma once

#include <string>

namespace tq4::test {

// Runs the helper program with the given environment overrides; returns its exit status
// (0 on a clean exit). With background=true it returns at once.
int runHelper(const std::string& environment, const std::string& arguments, bool background = false);

}  // namespace tq4::test
