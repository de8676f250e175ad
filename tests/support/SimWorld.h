// Test world around the simulated producer: a private application data folder, the producer's
// folder on the search path, a configuration file for the producer, and every log message.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestFolder.h"

namespace tq4::test {

namespace fs = std::filesystem;

class SimWorld : public ::testing::Test {
protected:
    void SetUp() override {
        static std::atomic<int> counter{0};
        // A parameterised case's name holds a '/': the folder stays one level below the temporary one.
        std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        std::replace(name.begin(), name.end(), '/', '_');
        root_ = fs::temp_directory_path() /
                ("tq4_test_" + name + "_" + std::to_string(counter++) + "_" + std::to_string(std::random_device{}()));
        fs::remove_all(root_);
        fs::create_directories(root_ / "appdata");
        fs::create_directories(root_ / "cwd");
        previousDirectory_ = fs::current_path();
        fs::current_path(root_ / "cwd");
        ::setenv("TQ4_COMMON_APPDATA", (root_ / "appdata").c_str(), 1);
        ::setenv("GENICAM_GENTL64_PATH", TQ4_SIM_DIR, 1);
        configure("");
        log_ = std::make_unique<LogCapture>();
    }

    void TearDown() override {
        log_.reset();
        fs::current_path(previousDirectory_);
        ::unsetenv("ZEVO_SIM_CONFIG");
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }

    // Writes the producer's configuration (key=value lines); read at its next GCInitLib. A
    // description served as a file goes into the test's folder unless `text` names another.
    void configure(const std::string& text) {
        const fs::path file = root_ / "sim.cfg";
        std::ofstream(file) << "xml_file_dir = " << (root_ / "sim").string() << "\n" << text;
        ::setenv("ZEVO_SIM_CONFIG", file.c_str(), 1);
    }

    fs::path dataDirectory() const { return root_ / "appdata" / "zevo" / "genicam"; }

    using Line = LogCapture::Line;
    std::vector<Line> lines() const { return log_->lines(); }
    void clearLines() { log_->clear(); }
    int count(const std::string& part) const { return log_->count(part); }
    bool logged(const std::string& exact, uint32_t cls) const { return log_->logged(exact, cls); }
    std::vector<std::string> messagesStartingWith(const std::string& prefix) const {
        return log_->messagesStartingWith(prefix);
    }
    std::string dump() const { return log_->dump(); }

    fs::path root_;
    fs::path previousDirectory_;
    std::unique_ptr<LogCapture> log_;
};

}  // namespace tq4::test
