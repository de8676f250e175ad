// A camera opened through the driver's exports, as the camera SDK opens it, with the state the
// preparation at open leaves behind: the configuration file, the correction folder and the
// question the user was asked.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "support/DriverWorld.h"

namespace tq4::test {

namespace fs = std::filesystem;

// Questions asked while a test runs, and the answer they get.
struct AskedQuestion {
    std::string caption;
    std::string text;
};

class CameraWorld : public DriverWorld {
protected:
    void SetUp() override {
        DriverWorld::SetUp();
        questions().clear();
        answer() = platform::Answer::No;
        platform::setQuestionHandler(&recordQuestion);
    }
    void TearDown() override {
        DriverWorld::TearDown();
        platform::setQuestionHandler(nullptr);
    }

    void writeIni(const std::string& text) { writeFile(iniFile(), text); }
    fs::path correctionFolder() const { return dataDirectory() / "correction_data"; }

    // The depth GET_CAMERA_DESCRIPTION reports (offset 16) and its cooling set point (106).
    static uint16_t describedBits(TQ4_HANDLE h) { return u16(ask(h, GET_CAMERA_DESCRIPTION).bytes.data() + 16); }
    static int16_t describedSetpoint(TQ4_HANDLE h) {
        return int16_t(u16(ask(h, GET_CAMERA_DESCRIPTION).bytes.data() + 106));
    }
    static uint16_t bitAlignment(TQ4_HANDLE h) { return u16(ask(h, GET_BIT_ALIGNMENT).bytes.data() + 4); }

    static std::vector<AskedQuestion>& questions() {
        static std::vector<AskedQuestion> asked;
        return asked;
    }
    static platform::Answer& answer() {
        static platform::Answer given = platform::Answer::No;
        return given;
    }

private:
    static platform::Answer recordQuestion(const std::string& caption, const std::string& text) {
        questions().push_back({caption, text});
        return answer();
    }
};

}  // namespace tq4::test
