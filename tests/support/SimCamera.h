// The simulated camera with the given configuration lines (the producer's key=value file),
// opened with Open_Cam in a private application-data folder and closed by the destructor.
// Needs TQ4_SIM_DIR, the simulated producer's folder (tq4_add_sim_test defines it). The
// environment variable TQ4_SIM_MODEL picks the camera's model (sim/README.md, key `model`).
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/Platform.h"
#include "support/Control.h"
#include "support/LogCapture.h"

namespace tq4::test {

class SimCamera {
public:
    explicit SimCamera(const std::string& simConfig = "") : folder_(freshFolder()) {
        const std::string configPath = folder_ + "/sim.cfg";
        const std::string model = platform::getEnvironment("TQ4_SIM_MODEL");
        std::ofstream(configPath) << (model.empty() ? "" : "model=" + model + "\n") << simConfig;
        platform::setEnvironment("TQ4_COMMON_APPDATA", folder_);
        platform::setEnvironment("GENICAM_GENTL64_PATH", TQ4_SIM_DIR);
        platform::setEnvironment("ZEVO_SIM_CONFIG", configPath);
        // The producer search also looks into the current directory: keep it private too.
        previousDirectory_ = std::filesystem::current_path().string();
        std::filesystem::current_path(folder_);
        Open_Cam(0, &handle_);
    }
    ~SimCamera() {
        if (handle_ != nullptr) Close_Cam(&handle_);
        std::filesystem::current_path(previousDirectory_);
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    SimCamera(const SimCamera&) = delete;
    SimCamera& operator=(const SimCamera&) = delete;

    bool isOpen() const { return handle_ != nullptr; }
    void* handle() const { return handle_; }

    // Through Control_Command, with a response buffer of `sizeOut` bytes prefilled with 0xEE.
    Answer send(const Bytes& request, uint32_t sizeOut = 512, int32_t sizeIn = -1) {
        return sendTelegram(handle_, request, sizeOut, sizeIn);
    }

private:
    // Every test case runs in a process of its own, several at once: the process id keeps
    // their folders apart.
    static std::string freshFolder() {
        static std::atomic<int> counter{0};
        const auto folder =
            std::filesystem::temp_directory_path() /
            ("tq4_simcamera_" + std::to_string(platform::currentProcessId()) + "_" + std::to_string(counter++));
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
        return folder.string();
    }

    std::string folder_;
    std::string previousDirectory_;
    void* handle_ = nullptr;
};

}  // namespace tq4::test
