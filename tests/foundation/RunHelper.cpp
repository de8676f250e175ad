#include "foundation/RunHelper.h"

#include <cstdlib>

#if defined(_WIN32)
#include <windows.h>

#include <fstream>
#include <thread>
#include <utility>
#include <vector>
#endif

namespace tq4::test {

#if !defined(_WIN32)
int runHelper(const std::string& environment, const std::string& arguments, bool background) {
    std::string command = environment + " " TQ4_HELPER " " + arguments;
    if (background) command = "(" + command + ") &";
    return std::system(command.c_str());
}
#else
// Without a POSIX shell: the overrides ("NAME=value" or "NAME='value'", separated by blanks)
// are set around CreateProcess, which the helper inherits, and a trailing "; touch FILE"
// creates FILE once the helper has ended.
namespace {

std::vector<std::pair<std::string, std::string>> parseOverrides(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> pairs;
    std::size_t pos = 0;
    while (pos < text.size()) {
        while (pos < text.size() && text[pos] == ' ') ++pos;
        const std::size_t eq = text.find('=', pos);
        if (eq == std::string::npos) break;
        std::string name = text.substr(pos, eq - pos), value;
        pos = eq + 1;
        const bool quoted = pos < text.size() && text[pos] == '\'';
        const std::size_t end = quoted ? text.find('\'', pos + 1) : text.find(' ', pos);
        value = text.substr(quoted ? pos + 1 : pos, (end == std::string::npos ? text.size() : end) - pos - quoted);
        pos = end == std::string::npos ? text.size() : end + 1;
        pairs.emplace_back(std::move(name), std::move(value));
    }
    return pairs;
}

int waitAndTouch(HANDLE process, const std::string& touch) {
    WaitForSingleObject(process, INFINITE);
    DWORD code = 1;
    GetExitCodeProcess(process, &code);
    CloseHandle(process);
    if (!touch.empty()) std::ofstream(touch).close();
    return static_cast<int>(code);
}

}  // namespace

int runHelper(const std::string& environment, const std::string& arguments, bool background) {
    std::string args = arguments, touch;
    const std::size_t then = args.find("; touch ");
    if (then != std::string::npos) {
        touch = args.substr(then + 8);
        args.resize(then);
    }
    std::vector<std::pair<std::string, std::string>> saved;
    for (const auto& [name, value] : parseOverrides(environment)) {
        char old[4096] = {};
        saved.emplace_back(name, GetEnvironmentVariableA(name.c_str(), old, sizeof old) ? old : "");
        SetEnvironmentVariableA(name.c_str(), value.c_str());
    }
    std::string commandLine = std::string("\"" TQ4_HELPER "\" ") + args;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    const bool ok =
        CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started);
    for (const auto& [name, value] : saved)
        SetEnvironmentVariableA(name.c_str(), value.empty() ? nullptr : value.c_str());
    if (!ok) return -1;
    CloseHandle(started.hThread);
    if (!background) return waitAndTouch(started.hProcess, touch);
    std::thread(waitAndTouch, started.hProcess, touch).detach();
    return 0;
}
#endif

}  // namespace tq4::test
