#include "telegram/TelegramTestSupport.h"

#include <atomic>
#include <filesystem>
#include <fstream>

#include "include/tq4_genicam.h"
#include "log/Log.h"
#include "platform/Platform.h"

namespace telegram_test {

Bytes u16Bytes(uint16_t v) { return {uint8_t(v), uint8_t(v >> 8)}; }
Bytes u32Bytes(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }

Bytes telegram(uint16_t code, const Bytes& payload) {
    Bytes t = u16Bytes(code);
    const Bytes size = u16Bytes(static_cast<uint16_t>(payload.size() + 5));
    t.insert(t.end(), size.begin(), size.end());
    t.insert(t.end(), payload.begin(), payload.end());
    uint8_t sum = 0;
    for (uint8_t b : t) sum = uint8_t(sum + b);
    t.push_back(sum);
    return t;
}

uint16_t u16At(const Bytes& b, std::size_t o) { return uint16_t(b.at(o) | (b.at(o + 1) << 8)); }
int16_t s16At(const Bytes& b, std::size_t o) { return int16_t(u16At(b, o)); }
uint32_t u32At(const Bytes& b, std::size_t o) { return u16At(b, o) | (uint32_t(u16At(b, o + 2)) << 16); }

std::string textAt(const Bytes& b, std::size_t offset, std::size_t field) {
    std::string text(reinterpret_cast<const char*>(b.data() + offset), field);
    return text.substr(0, text.find('\0'));
}

uint8_t checksumWithoutFlags(const Bytes& response) {
    const std::size_t size = u16At(response, 2);
    uint8_t sum = uint8_t(response.at(0) & ~0xC0) + response.at(1);
    for (std::size_t i = 2; i + 1 < size; ++i) sum = uint8_t(sum + response.at(i));
    return sum;
}

LogCapture::LogCapture() {
    tq4::log::setLineObserver([this](uint32_t, const std::string& line) {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(line);
    });
}

LogCapture::~LogCapture() { tq4::log::setLineObserver(nullptr); }

bool LogCapture::contains(const std::string& text) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& line : lines_)
        if (line.find(text) != std::string::npos) return true;
    return false;
}

std::string LogCapture::all() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string text;
    for (const auto& line : lines_) text += line + "\n";
    return text;
}

namespace {
// Every test case runs in a process of its own, several at once: the process id keeps their
// folders apart (a clock in seconds does not).
std::string freshFolder() {
    static std::atomic<int> counter{0};
    const auto folder = std::filesystem::temp_directory_path() /
                        ("tq4_telegram_test_" + std::to_string(tq4::platform::currentProcessId()) + "_" +
                         std::to_string(counter++));
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder.string();
}
}  // namespace

SimCamera::SimCamera(const std::string& simConfig) : folder_(freshFolder()) {
    const std::string configPath = folder_ + "/sim.cfg";
    std::ofstream(configPath) << simConfig;
    tq4::platform::setEnvironment("TQ4_COMMON_APPDATA", folder_);
    tq4::platform::setEnvironment("GENICAM_GENTL64_PATH", TQ4_SIM_DIR);
    tq4::platform::setEnvironment("ZEVO_SIM_CONFIG", configPath);
    // The producer search also looks into the current directory: keep it private too.
    previousDirectory_ = std::filesystem::current_path().string();
    std::filesystem::current_path(folder_);
    Open_Cam(0, &handle_);
}

SimCamera::~SimCamera() {
    if (handle_ != nullptr) Close_Cam(&handle_);
    std::filesystem::current_path(previousDirectory_);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

Answer SimCamera::send(const Bytes& request, uint32_t sizeOut, int32_t sizeIn) {
    Answer answer;
    answer.bytes.assign(sizeOut, 0xEE);
    answer.result = Control_Command(handle_, request.data(),
                                    sizeIn < 0 ? static_cast<int32_t>(request.size()) : sizeIn,
                                    answer.bytes.data(), sizeOut);
    return answer;
}

}  // namespace telegram_test
