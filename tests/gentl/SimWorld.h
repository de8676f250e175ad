// Test world around the simulated producer: a private application data folder, the producer's
// folder on the search path, a configuration file for the producer, and every log message.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "log/Log.h"

namespace tq4::gentl::test {

namespace fs = std::filesystem;

class SimWorld : public ::testing::Test {
protected:
    void SetUp() override {
        static std::atomic<int> counter{0};
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        root_ = fs::temp_directory_path() / ("tq4_gentl_" + std::string(info->name()) + "_" +
                                             std::to_string(counter++) + "_" + std::to_string(std::random_device{}()));
        fs::remove_all(root_);
        fs::create_directories(root_ / "appdata");
        fs::create_directories(root_ / "cwd");
        previousDirectory_ = fs::current_path();
        fs::current_path(root_ / "cwd");
        ::setenv("TQ4_COMMON_APPDATA", (root_ / "appdata").c_str(), 1);
        ::setenv("GENICAM_GENTL64_PATH", TQ4_SIM_DIR, 1);
        configure("");
        log::setLineObserver([this](uint32_t cls, const std::string& message) {
            std::lock_guard<std::mutex> lock(linesMutex_);
            lines_.push_back({cls, message});
        });
    }

    void TearDown() override {
        log::setLineObserver(nullptr);
        fs::current_path(previousDirectory_);
        ::unsetenv("ZEVO_SIM_CONFIG");
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }

    // Writes the producer's configuration (key=value lines); read at its next GCInitLib.
    void configure(const std::string& text) {
        const fs::path file = root_ / "sim.cfg";
        std::ofstream(file) << text;
        ::setenv("ZEVO_SIM_CONFIG", file.c_str(), 1);
    }

    static void writeFile(const fs::path& path, const std::string& content) {
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
    }
    static std::string readFile(const fs::path& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    fs::path dataDirectory() const { return root_ / "appdata" / "zevo" / "genicam"; }

    struct Line {
        uint32_t cls;
        std::string text;
    };
    std::vector<Line> lines() {
        std::lock_guard<std::mutex> lock(linesMutex_);
        return lines_;
    }
    void clearLines() {
        std::lock_guard<std::mutex> lock(linesMutex_);
        lines_.clear();
    }
    // Messages that contain `part`.
    int count(const std::string& part) {
        auto all = lines();
        return int(std::count_if(all.begin(), all.end(), [&](const Line& l) { return l.text.find(part) != std::string::npos; }));
    }
    bool logged(const std::string& exact, uint32_t cls) {
        auto all = lines();
        return std::any_of(all.begin(), all.end(), [&](const Line& l) { return l.text == exact && l.cls == cls; });
    }
    // The messages that start with `prefix`, in order.
    std::vector<std::string> messagesStartingWith(const std::string& prefix) {
        std::vector<std::string> out;
        for (const Line& l : lines())
            if (l.text.compare(0, prefix.size(), prefix) == 0) out.push_back(l.text);
        return out;
    }
    std::string dump() {
        std::string out;
        for (const Line& l : lines()) out += std::to_string(l.cls) + " " + l.text + "\n";
        return out;
    }

    fs::path root_;
    fs::path previousDirectory_;
    std::mutex linesMutex_;
    std::vector<Line> lines_;
};

}  // namespace tq4::gentl::test
