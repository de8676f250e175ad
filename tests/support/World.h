// The test world: a folder of its own (application data, shared-memory names, the current
// directory, which the producer search also looks into), the simulated producer on the search
// path with its configuration file, every log message captured, and the driver as the camera
// SDK sees it. Cameras opened through open() are closed again after the test, so that the
// registry of this process is gone before the next test starts; caller buffers live until then
// (a buffer still queued when a test ends is written to by that close). The environment
// variable TQ4_SIM_MODEL picks the simulated camera's model (sim/README.md, key `model`).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "driver/Driver.h"
#include "gentl/Device.h"
#include "log/Log.h"
#include "stream/DataStream.h"
#include "support/CallerBuffer.h"
#include "support/Telegrams.h"
#include "support/TestFolder.h"
#include "tq4_genicam.h"

namespace tq4::test {

namespace fs = std::filesystem;

// Through Control_Command, with a response buffer of `sizeOut` bytes prefilled with 0xEE;
// `sizeIn` defaults to the request's length.
inline Answer sendTelegram(TQ4_HANDLE h, const Bytes& request, uint32_t sizeOut = 512, int32_t sizeIn = -1) {
    Answer answer{0, Bytes(sizeOut, 0xEE)};
    answer.result =
        Control_Command(h, request.data(), sizeIn < 0 ? int32_t(request.size()) : sizeIn, answer.bytes.data(), sizeOut);
    return answer;
}

class World : public ::testing::Test {
protected:
    void SetUp() override {
        folder_ = std::make_unique<TestFolder>();
        root_ = folder_->path();
        fs::create_directories(root_ / "cwd");
        fs::create_directories(iniFile().parent_path());  // the library's load makes it; these tests link the driver
        previousDirectory_ = fs::current_path();
        fs::current_path(root_ / "cwd");
#ifdef TQ4_SIM_DIR
        platform::setEnvironment("GENICAM_GENTL64_PATH", TQ4_SIM_DIR);
#endif
        configure("");
        log::setLineObserver([this](uint32_t cls, const std::string& text) {
            std::lock_guard<std::mutex> lock(linesMutex_);
            lines_.push_back({cls, text});
        });
    }

    void TearDown() override {
        for (TQ4_HANDLE& h : opened_)
            while (h && Close_Cam(&h) == ZEVO_NOERROR) {}
        opened_.clear();
        buffers_.clear();
        log::setLineObserver(nullptr);
        fs::current_path(previousDirectory_);
        platform::setEnvironment("ZEVO_SIM_CONFIG", "");
        folder_.reset();
    }

    // Writes the producer's configuration (key=value lines); read at its next GCInitLib. A
    // description served as a file goes into the test's folder unless `text` names another.
    void configure(const std::string& text) {
        const std::string model = platform::getEnvironment("TQ4_SIM_MODEL");
        writeFile(root_ / "sim.cfg", "xml_file_dir = " + (root_ / "sim").string() + "\n" +
                                         (model.empty() ? "" : "model=" + model + "\n") + text);
        platform::setEnvironment("ZEVO_SIM_CONFIG", (root_ / "sim.cfg").string());
    }
    fs::path dataDirectory() const { return root_ / "zevo" / "genicam"; }
    fs::path iniFile() const { return root_ / "zevo" / "tq4_genicam_param.ini"; }

    // ---- the log: every message given to the log facility, whatever its mask says ----
    struct Line {
        uint32_t cls;
        std::string text;
    };
    std::vector<Line> lines() const {
        std::lock_guard<std::mutex> lock(linesMutex_);
        return lines_;
    }
    void clearLines() {
        std::lock_guard<std::mutex> lock(linesMutex_);
        lines_.clear();
    }
    // The messages that contain `part`.
    int count(const std::string& part) const {
        int found = 0;
        for (const Line& l : lines()) found += l.text.find(part) != std::string::npos;
        return found;
    }
    // A message that is exactly `text`, of class `cls`.
    bool logged(const std::string& text, uint32_t cls) const {
        for (const Line& l : lines())
            if (l.text == text && l.cls == cls) return true;
        return false;
    }
    std::vector<std::string> messagesStartingWith(const std::string& prefix) const {
        std::vector<std::string> out;
        for (const Line& l : lines())
            if (l.text.rfind(prefix, 0) == 0) out.push_back(l.text);
        return out;
    }
    // One message a line, each after its class: for failure output.
    std::string dump() const {
        std::string out;
        for (const Line& l : lines()) out += std::to_string(l.cls) + " " + l.text + "\n";
        return out;
    }
    // Waits until a message containing `part` was logged.
    bool waitForLine(const std::string& part, int timeoutMs = 10000) {
        for (int waited = 0; waited < timeoutMs && count(part) == 0; waited += 5)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return count(part) > 0;
    }
    // Gives a thread that was just seen starting time to reach its wait.
    static void settle() { std::this_thread::sleep_for(std::chrono::milliseconds(100)); }

    // ---- cameras and telegrams ----
    // Opens camera `num` (through the configuration file's producers unless `how` names them).
    // The handle variable lives in the world: closing through it (Close_Cam writes the new value
    // back) keeps the clean-up from closing twice.
    TQ4_HANDLE& open(uint32_t num = 0, TQ4_OpenStruct* how = nullptr) {
        TQ4_HANDLE& h = opened_.emplace_back(nullptr);
        EXPECT_EQ(how ? Open_Cam_Ext(num, &h, how) : Open_Cam(num, &h), ZEVO_NOERROR) << dump();
        EXPECT_NE(h, nullptr);
        return h;
    }
    // Opens the camera, arms it (buffers for its current image) and switches recording on.
    TQ4_HANDLE& openRecording(uint32_t num = 0) {
        TQ4_HANDLE& h = open(num);
        EXPECT_EQ(command(h, ARM_CAMERA), ZEVO_NOERROR) << dump();
        EXPECT_EQ(command(h, SET_RECORDING_STATE, 1), ZEVO_NOERROR) << dump();
        return h;
    }
    // The driver's objects behind a handle.
    static std::shared_ptr<gentl::Device> device(TQ4_HANDLE h) { return driver::Driver::instance()->getDevice(h); }
    static std::shared_ptr<stream::DataStream> stream(TQ4_HANDLE h) { return device(h)->activeStream(); }

    // Configures the producer and opens camera 0 with it.
    TQ4_HANDLE& camera(const std::string& config = "") {
        configure(config);
        return open();
    }
    // Through Control_Command to the camera opened last.
    Answer send(const Bytes& request, uint32_t sizeOut = 512, int32_t sizeIn = -1) {
        return sendTelegram(opened_.back(), request, sizeOut, sizeIn);
    }
    // A request telegram of `size` bytes (at least 5, payload zero) with its checksum, inside a
    // 512-byte buffer so that a size_in larger than the telegram stays readable.
    static Bytes paddedTelegram(uint16_t code, uint16_t size = 5) {
        Bytes t = test::telegram(code, Bytes(size - 5u, 0));
        t.resize(512, 0);
        return t;
    }
    // Sends a telegram with an optional u16 value at offset 4.
    static Answer ask(TQ4_HANDLE h, uint16_t code, int value = -1, uint32_t sizeOut = 512) {
        return sendTelegram(h, request(code, value), sizeOut);
    }
    static uint32_t command(TQ4_HANDLE h, uint16_t code, int value = -1) { return ask(h, code, value).result; }
    static uint16_t u16(const uint8_t* p) { return uint16_t(p[0] | (p[1] << 8)); }
    static uint32_t u32(const uint8_t* p) { return uint32_t(u16(p)) | (uint32_t(u16(p + 2)) << 16); }

    // ---- images ----
    CallerBuffer& buffer(std::size_t bytes, uint8_t fill = 0xAB) { return buffers_.emplace_back(bytes, fill); }
    static uint32_t queue(TQ4_HANDLE h, CallerBuffer& b, uint32_t bytes) { return b.queue(Set_Image_Buffer, h, bytes); }
    static uint32_t queue(TQ4_HANDLE h, CallerBuffer& b) { return queue(h, b, uint32_t(b.image.size())); }
    // Width and height of the stream's image, as Get_Image_Transfer_Mode reports them.
    static std::pair<uint32_t, uint32_t> imageSize(TQ4_HANDLE h) {
        uint8_t record[48] = {};
        EXPECT_EQ(Get_Image_Transfer_Mode(h, record, sizeof record), ZEVO_NOERROR);
        return {u16(record + 4), u16(record + 6)};
    }
    static uint32_t pending(TQ4_HANDLE h) {
        uint32_t count = 0xFFFFFFFF;
        EXPECT_EQ(Get_Pending_Buffer(h, &count), ZEVO_NOERROR);
        return count;
    }

    fs::path root_;
    std::deque<TQ4_HANDLE> opened_;

private:
    std::unique_ptr<TestFolder> folder_;
    fs::path previousDirectory_;
    mutable std::mutex linesMutex_;
    std::vector<Line> lines_;
    std::deque<CallerBuffer> buffers_;
};

}  // namespace tq4::test
