// The driver seen as the camera SDK sees it: only the exported functions, against the
// simulated producer, with a private data folder and every log message captured. Handles
// opened through open() are closed again after the test, so that the registry of this process
// is gone before the next test starts.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "support/Control.h"
#include "support/SimWorld.h"
#include "tq4_genicam.h"

namespace tq4::test {

namespace fs = std::filesystem;

class DriverWorld : public SimWorld {
protected:
    // The library's load creates the data folder; these tests link the driver without it.
    void SetUp() override {
        SimWorld::SetUp();
        fs::create_directories(iniFile().parent_path());
    }

    void TearDown() override {
        for (TQ4_HANDLE& h : opened_)
            while (h && Close_Cam(&h) == ZEVO_NOERROR) {}
        opened_.clear();
        SimWorld::TearDown();
    }

    // Opens camera `num` (through the configuration file's producers). The handle variable
    // lives in the fixture: closing through it (Close_Cam writes the new value back) keeps
    // the clean-up from closing twice.
    TQ4_HANDLE& open(uint32_t num = 0) {
        TQ4_HANDLE& h = opened_.emplace_back(nullptr);
        EXPECT_EQ(Open_Cam(num, &h), ZEVO_NOERROR) << dump();
        EXPECT_NE(h, nullptr);
        return h;
    }

    fs::path iniFile() const { return root_ / "appdata" / "zevo" / "tq4_genicam_param.ini"; }

    // A request telegram of `size` bytes (at least 5, payload zero) with its checksum, inside a
    // 512-byte buffer so that a size_in larger than the telegram stays readable.
    static Bytes telegram(uint16_t code, uint16_t size = 5) {
        Bytes t = test::telegram(code, Bytes(size - 5u, 0));
        t.resize(512, 0);
        return t;
    }

    // Sends a telegram with an optional u16 value at offset 4 through Control_Command; the
    // response buffer of `sizeOut` bytes is prefilled with 0xEE.
    static Answer ask(TQ4_HANDLE h, uint16_t code, int value = -1, uint32_t sizeOut = 512) {
        return sendTelegram(h, value < 0 ? test::telegram(code) : valueTelegram(code, uint16_t(value)), sizeOut);
    }

    static uint16_t u16(const uint8_t* p) { return uint16_t(p[0] | (p[1] << 8)); }
    static uint32_t u32(const uint8_t* p) { return uint32_t(u16(p)) | (uint32_t(u16(p + 2)) << 16); }

    std::deque<TQ4_HANDLE> opened_;
};

}  // namespace tq4::test
