// Streaming through the driver library, loaded at run time as the camera SDK loads it, against
// the simulated camera ZEVO.cti. Only the exported functions are used: Open_Cam, telegrams
// (ARM_CAMERA, SET_RECORDING_STATE, SET_TIMESTAMP_MODE), Set_Image_Buffer with one event per
// caller buffer, Cancel_Images and Close_Cam.
//
// BM_MemcpyCold       one core copying full 1296 x 1032 Mono16 frames with memcpy, cycling
//                     over 1 GiB of sources and targets so that nothing comes from the caches.
//                     Its frames per second is the yardstick of the streaming rows.
// BM_StreamFullFrame  full Mono16 frames as fast as the camera fills them (no pacing), into a
//                     ring of 4, 8 or 16 caller buffers; each buffer is queued again as soon as
//                     its event is set. Counters: fps and bytes_per_second; memcpy_fps, the
//                     BM_MemcpyCold rate measured right before and right after the row, and
//                     x_memcpy = fps / memcpy_fps; memcpy2_fps, the rate each of two threads
//                     gets when both copy cold frames at once, and x_memcpy2 = fps / memcpy2_fps
//                     (every frame is written twice here, by the camera's fill and by the
//                     driver's copy, on two cores that share one memory system); frames_lost
//                     (gaps in the camera's frame id stamped into the first four pixels);
//                     bad_status (status words other than 0); cpu_cores (process CPU time over
//                     wall time); queue_call_us (mean time of one Set_Image_Buffer call).
// BM_StreamSmallFrame the same with a 64-byte payload (8 buffers): no copy worth the name, so
//                     us_per_frame is what one frame costs the camera, the driver and the
//                     caller together besides the copies: events, calls, thread switches.
// BM_DriverOverhead   the time from the producer's hand-over of a filled buffer to the caller
//                     seeing its status word turn 0, with a 64-byte payload so that the copy
//                     costs nothing, at the camera's own frame rate. The producer takes the
//                     buffer's time stamp (system clock) right before it puts the buffer into its
//                     output queue; the driver writes that moment into the first 14 pixels as its
//                     binary stamp (the camera offers no stamp of its own here). The caller spins
//                     on the status word and reads the system clock when it turns 0; the
//                     difference of the sub-second parts is the overhead (resolution 1 us, the
//                     stamp being cut to whole microseconds; it includes writing the stamp).
//                     Counters: median_us, p99_us, max_us over the frames, stamp_mismatch (stamps
//                     that do not fit the caller's clock), counter_gaps (gaps in the driver's
//                     image counter in the stamp), fps (the camera's own rate), cpu_cores.
// BM_WakeBaseline     the same three threads without driver or producer: a paced thread takes
//                     the clock and notifies a condition variable, a waiting thread wakes and
//                     writes a status word, the caller spins on it. The floor that waking a
//                     sleeping thread costs on this machine; driver_x_floor and
//                     driver_minus_floor_us compare BM_DriverOverhead's median with it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "platform/Platform.h"
#include "stream/Timestamp.h"
#include "tests/support/CallerBuffer.h"
#include "tests/support/Telegrams.h"
#include "tq4_genicam.h"

namespace {

namespace fs = std::filesystem;
using SteadyClock = std::chrono::steady_clock;
using SystemClock = std::chrono::system_clock;

constexpr std::size_t kWidth = 1296;
constexpr std::size_t kHeight = 1032;
constexpr std::size_t kFrameBytes = kWidth * kHeight * 2;       // Mono16
constexpr std::size_t kColdPoolBytes = std::size_t{512} << 20;  // per side: sources, targets
constexpr int kMemcpyFrames = 3000;
constexpr int kMemcpyCheckFrames = 600;
constexpr int kStreamFrames = 8000;
constexpr int kOverheadFrames = 2000;
constexpr uint32_t kSmallPayload = 64;
constexpr uint32_t kWaitMs = 5000;

// The camera's frame rate and the median overhead measured by the driver overhead row; the
// baseline row after it runs at the same rate and compares.
double gOverheadFramesPerSecond = 0;
double gDriverOverheadMedianUs = 0;

// ---- the driver library ---------------------------------------------------------------------

struct Driver {
    decltype(&::Open_Cam) openCam = nullptr;
    decltype(&::Close_Cam) closeCam = nullptr;
    decltype(&::Control_Command) controlCommand = nullptr;
    decltype(&::Set_Image_Buffer) setImageBuffer = nullptr;
    decltype(&::Cancel_Images) cancelImages = nullptr;
    std::string error;

    bool ready() const { return error.empty(); }
};

fs::path dataRoot() { return fs::temp_directory_path() / "tq4_stream_bench"; }

// A private data folder and shared-memory names, the simulated producer on the search path,
// then the library; once per process.
Driver& driver() {
    static Driver d = [] {
        Driver result;
        std::error_code ignored;
        fs::remove_all(dataRoot(), ignored);
        fs::create_directories(dataRoot() / "appdata");
        tq4::platform::setEnvironment("TQ4_COMMON_APPDATA", (dataRoot() / "appdata").string());
        tq4::platform::setEnvironment("TQ4_SHM_SUFFIX", "_tq4_stream_bench");
        tq4::platform::setEnvironment("GENICAM_GENTL64_PATH", TQ4_SIM_DIR);
        const tq4::platform::ModuleHandle module = tq4::platform::loadModule(TQ4_DRIVER_LIBRARY);
        if (!module) {
            result.error = "cannot load " + std::string(TQ4_DRIVER_LIBRARY) + ": " + tq4::platform::lastModuleError();
            return result;
        }
        // The library stays loaded until the process ends.
        auto resolve = [&](auto& target, const char* name) {
            target =
                reinterpret_cast<std::remove_reference_t<decltype(target)>>(tq4::platform::moduleSymbol(module, name));
            if (!target && result.error.empty()) result.error = std::string(name) + " not found";
        };
        resolve(result.openCam, "Open_Cam");
        resolve(result.closeCam, "Close_Cam");
        resolve(result.controlCommand, "Control_Command");
        resolve(result.setImageBuffer, "Set_Image_Buffer");
        resolve(result.cancelImages, "Cancel_Images");
        return result;
    }();
    return d;
}

// ---- caller side: the test kit's caller buffers and requests ------------------------------

using tq4::test::CallerBuffer;

// An opened camera, armed, recording, time stamps on; buffers cancelled and camera closed at
// the end. The producer reads `simConfig` when the camera is opened.
class Camera {
public:
    explicit Camera(const std::string& simConfig) : d_(driver()) {
        if (!d_.ready()) {
            error_ = d_.error;
            return;
        }
        const fs::path config = dataRoot() / "sim.cfg";
        std::ofstream(config, std::ios::trunc) << simConfig;
        tq4::platform::setEnvironment("ZEVO_SIM_CONFIG", config.string());
        // The camera has no correction references; nobody is there to be asked about them.
        tq4::platform::setEnvironment("TQ4_QUESTION_ANSWER", "no");
        // The buffer budget that a previous stream wrote back to the ini file starts afresh.
        std::error_code ignored;
        fs::remove(dataRoot() / "appdata" / "zevo" / "tq4_genicam_param.ini", ignored);
        const uint32_t opened = d_.openCam(0, &h_);
        if (opened != ZEVO_NOERROR || !h_) {
            error_ = "Open_Cam failed: " + hex(opened);
            h_ = nullptr;
            return;
        }
        if (!send(ARM_CAMERA) || !send(SET_RECORDING_STATE, 1) || !send(SET_TIMESTAMP_MODE, 1)) return;
    }
    ~Camera() {
        if (!h_) return;
        d_.cancelImages(h_);
        d_.closeCam(&h_);
    }
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    bool ok() const { return error_.empty(); }
    const std::string& error() const { return error_; }

    bool queue(CallerBuffer& b) {
        const uint32_t rc = b.queue(d_.setImageBuffer, h_, static_cast<uint32_t>(b.image.size()));
        if (rc != ZEVO_NOERROR && error_.empty()) error_ = "Set_Image_Buffer failed: " + hex(rc);
        return rc == ZEVO_NOERROR;
    }
    // Opened and armed, and every buffer of `ring` queued.
    bool queueAll(const std::vector<std::unique_ptr<CallerBuffer>>& ring) {
        for (const auto& b : ring)
            if (!ok() || !queue(*b)) return false;
        return ok();
    }
    void cancel() { d_.cancelImages(h_); }

private:
    bool send(uint16_t code, int value = -1) {
        const std::vector<uint8_t> request = tq4::test::request(code, value);
        uint8_t response[512] = {};
        const uint32_t rc =
            d_.controlCommand(h_, request.data(), static_cast<int32_t>(request.size()), response, sizeof response);
        // A refused command answers with the failure flags in its code.
        const bool refused = (response[0] & TQ4_FAILURE_FLAG) == TQ4_FAILURE_FLAG;
        if ((rc != ZEVO_NOERROR || refused) && error_.empty())
            error_ = "telegram " + hex(code) + " failed: " + hex(rc) + ", response code " +
                     hex(uint32_t(response[0] | response[1] << 8));
        return rc == ZEVO_NOERROR && !refused;
    }
    static std::string hex(uint32_t value) {
        char text[16];
        std::snprintf(text, sizeof text, "0x%08X", value);
        return text;
    }

    Driver& d_;
    TQ4_HANDLE h_ = nullptr;
    std::string error_;
};

double seconds(SteadyClock::duration d) { return std::chrono::duration<double>(d).count(); }

double cpuSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

// ---- 1. memcpy of cold full frames -----------------------------------------------------------

// Full frames at page-aligned strides, sources and targets of kColdPoolBytes each, touched
// once before any timing; kept for the whole run.
class ColdFrames {
public:
    ColdFrames()
        : stride_((kFrameBytes + 4095) / 4096 * 4096),
          count_(kColdPoolBytes / stride_),
          sources_(stride_ * count_),
          targets_(stride_ * count_, 1) {
        for (std::size_t i = 0; i < sources_.size(); i += 64) sources_[i] = static_cast<uint8_t>(i >> 6);
    }
    // Copies the next frame, cycling through all of them.
    void copyNext() { copy(next_++ % count_); }
    // Frames per second over `frames` copies in a row.
    double framesPerSecond(int frames) {
        const auto start = SteadyClock::now();
        for (int i = 0; i < frames; ++i) copyNext();
        return frames / seconds(SteadyClock::now() - start);
    }
    // Frames per second that each of two threads gets when both copy `frames` frames at the
    // same time, each cycling through its own half: two cold copies at once, as a pipeline of
    // two copying stages on two cores makes them.
    double framesPerSecondTwoThreads(int frames) {
        const std::size_t half = count_ / 2;
        auto run = [this, frames, half](std::size_t first) {
            for (int i = 0; i < frames; ++i) copy(first + static_cast<std::size_t>(i) % half);
        };
        const auto start = SteadyClock::now();
        std::thread other(run, half);
        run(0);
        other.join();
        return frames / seconds(SteadyClock::now() - start);
    }
    std::size_t count() const { return count_; }
    std::size_t totalBytes() const { return 2 * count_ * stride_; }

private:
    void copy(std::size_t frame) {
        const std::size_t offset = frame * stride_;
        std::memcpy(targets_.data() + offset, sources_.data() + offset, kFrameBytes);
        benchmark::ClobberMemory();
    }

    std::size_t stride_, count_;
    std::vector<uint8_t> sources_, targets_;
    std::size_t next_ = 0;
};

ColdFrames& coldFrames() {
    static ColdFrames frames;
    return frames;
}

void BM_MemcpyCold(benchmark::State& state) {
    ColdFrames& frames = coldFrames();
    const auto start = SteadyClock::now();
    for (auto _ : state) frames.copyNext();
    const double elapsed = seconds(SteadyClock::now() - start);
    state.counters["fps"] = static_cast<double>(state.iterations()) / elapsed;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kFrameBytes));
    state.SetLabel(std::to_string(frames.count()) + " frames per side, " + std::to_string(frames.totalBytes() >> 20) +
                   " MiB");
}

// ---- 1. end-to-end full frames ---------------------------------------------------------------

// Frames of `frameBytes` (kFrameBytes: the full frame, with the memcpy yardsticks; fewer: the
// camera reports that payload and fills what fits) into a ring of `ringSize` buffers.
void streamFrames(benchmark::State& state, std::size_t ringSize, std::size_t frameBytes) {
    const bool fullFrame = frameBytes == kFrameBytes;
    // The yardstick right before the camera opens and right after its images are cancelled.
    const double memcpyBefore = fullFrame ? coldFrames().framesPerSecond(kMemcpyCheckFrames) : 0;
    const double memcpy2Before = fullFrame ? coldFrames().framesPerSecondTwoThreads(kMemcpyCheckFrames) : 0;
    // The buffers outlive the camera: its close ends the ones still queued.
    std::vector<std::unique_ptr<CallerBuffer>> ring;
    for (std::size_t i = 0; i < ringSize; ++i) ring.push_back(std::make_unique<CallerBuffer>(frameBytes, 0));
    Camera camera("unlimited_frame_rate = 1\npixel_formats = Mono16\n" +
                  (fullFrame ? std::string() : "payload_size = " + std::to_string(frameBytes) + "\n"));
    if (!camera.queueAll(ring)) {
        state.SkipWithError(camera.error().c_str());
        return;
    }

    uint64_t lastId = 0;
    uint64_t lost = 0;
    uint64_t badStatus = 0;
    double queueSeconds = 0;
    std::size_t next = 0;
    // One frame: wait for the oldest buffer's event, check it, queue it again.
    auto take = [&]() -> bool {
        CallerBuffer& b = *ring[next];
        next = (next + 1) % ringSize;
        if (!b.event->wait(kWaitMs)) return false;
        if (b.status() != ZEVO_BUFFER_DONE) ++badStatus;
        const uint64_t id = b.cameraFrameId(2, 16);
        if (id != lastId + 1) lost += id > lastId ? id - lastId - 1 : 1;
        lastId = id;
        b.event->reset();
        const auto queueStart = SteadyClock::now();
        const bool queued = camera.queue(b);
        queueSeconds += seconds(SteadyClock::now() - queueStart);
        return queued;
    };
    // The stream starts and the buffers go round once before the clock runs.
    for (std::size_t i = 0; i < 4 * ringSize; ++i)
        if (!take()) {
            state.SkipWithError("no image within 5 s during the warm-up");
            return;
        }

    queueSeconds = 0;
    const double cpuStart = cpuSeconds();
    const auto start = SteadyClock::now();
    for (auto _ : state) {
        if (!take()) {
            state.SkipWithError("no image within 5 s");
            break;
        }
    }
    const double elapsed = seconds(SteadyClock::now() - start);
    const double cpu = cpuSeconds() - cpuStart;
    camera.cancel();

    const double fps = static_cast<double>(state.iterations()) / elapsed;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * frameBytes));
    state.counters["fps"] = fps;
    if (fullFrame) {
        const double memcpyAfter = coldFrames().framesPerSecond(kMemcpyCheckFrames);
        const double memcpy2After = coldFrames().framesPerSecondTwoThreads(kMemcpyCheckFrames);
        const double memcpyFps = (memcpyBefore + memcpyAfter) / 2;
        const double memcpy2Fps = (memcpy2Before + memcpy2After) / 2;
        state.counters["memcpy_fps"] = memcpyFps;
        state.counters["x_memcpy"] = fps / memcpyFps;
        state.counters["memcpy2_fps"] = memcpy2Fps;
        state.counters["x_memcpy2"] = fps / memcpy2Fps;
    } else {
        state.counters["us_per_frame"] = 1e6 / fps;
    }
    state.counters["frames_lost"] = static_cast<double>(lost);
    state.counters["bad_status"] = static_cast<double>(badStatus);
    state.counters["cpu_cores"] = cpu / elapsed;
    state.counters["queue_call_us"] = queueSeconds * 1e6 / static_cast<double>(state.iterations());
    state.counters["last_frame_id"] = static_cast<double>(lastId);
}

void BM_StreamFullFrame(benchmark::State& state) {
    streamFrames(state, static_cast<std::size_t>(state.range(0)), kFrameBytes);
}

void BM_StreamSmallFrame(benchmark::State& state) {
    streamFrames(state, static_cast<std::size_t>(state.range(0)), kSmallPayload);
}

// ---- 2. driver overhead per frame -------------------------------------------------------------

bool sameSecond(const tq4::stream::StampMoment& m, const tq4::platform::LocalTime& t) {
    return m.year == t.year && m.month == t.month && m.day == t.day && m.hour == t.hour && m.minute == t.minute &&
           m.second == t.second;
}

double percentile(const std::vector<double>& sorted, double p) {
    if (sorted.empty()) return 0;
    return sorted[std::min(sorted.size() - 1, static_cast<std::size_t>(p * static_cast<double>(sorted.size())))];
}

// The same path without the driver: a camera thread paced like the camera takes the system
// clock, queues the moment under a mutex and notifies a condition variable (as the simulated
// producer hands a filled buffer to its output queue); a delivery thread waiting on it writes
// the moment and a status word (as the acquisition thread wakes from EventGetData and finishes a
// buffer); the caller spins on the status word. What remains is the machine's cost of waking a
// sleeping thread and of the caller noticing the store: the floor under the driver's overhead.
void BM_WakeBaseline(benchmark::State& state) {
    constexpr std::size_t kRing = 4;
    struct Slot {
        int64_t stampNs = 0;
        uint32_t status = ZEVO_BUFFER_QUEUED;
    };
    Slot slots[kRing];
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<int64_t> output;
    bool stop = false;
    const double rate = gOverheadFramesPerSecond > 0 ? gOverheadFramesPerSecond : 50;
    const auto period = std::chrono::microseconds(static_cast<int64_t>(1e6 / rate));

    std::thread camera([&] {
        auto due = SteadyClock::now() + period;
        for (;;) {
            {
                std::unique_lock<std::mutex> lock(mutex);
                changed.wait_until(lock, due, [&] { return stop; });
                if (stop) return;
            }
            due += period;
            const int64_t stamp =
                std::chrono::duration_cast<std::chrono::nanoseconds>(SystemClock::now().time_since_epoch()).count();
            std::lock_guard<std::mutex> lock(mutex);
            output.push_back(stamp);
            changed.notify_all();
        }
    });
    std::thread delivery([&] {
        for (std::size_t k = 0;; ++k) {
            int64_t stamp;
            {
                std::unique_lock<std::mutex> lock(mutex);
                changed.wait(lock, [&] { return stop || !output.empty(); });
                if (stop) return;
                stamp = output.front();
                output.pop_front();
            }
            Slot& slot = slots[k % kRing];
            slot.stampNs = stamp;
            __atomic_store_n(&slot.status, ZEVO_BUFFER_DONE, __ATOMIC_RELEASE);
        }
    });

    std::vector<double> latencyUs;
    latencyUs.reserve(static_cast<std::size_t>(state.max_iterations));
    std::size_t k = 0;
    auto take = [&](bool record) {
        Slot& slot = slots[k++ % kRing];
        while (__atomic_load_n(&slot.status, __ATOMIC_ACQUIRE) == ZEVO_BUFFER_QUEUED) {}
        const int64_t seen =
            std::chrono::duration_cast<std::chrono::nanoseconds>(SystemClock::now().time_since_epoch()).count();
        if (record) latencyUs.push_back(static_cast<double>(seen - slot.stampNs) / 1000.0);
        __atomic_store_n(&slot.status, ZEVO_BUFFER_QUEUED, __ATOMIC_RELAXED);
    };
    for (int i = 0; i < 20; ++i) take(false);
    const double cpuStart = cpuSeconds();
    const auto start = SteadyClock::now();
    for (auto _ : state) take(true);
    const double elapsed = seconds(SteadyClock::now() - start);
    const double cpu = cpuSeconds() - cpuStart;
    {
        std::lock_guard<std::mutex> lock(mutex);
        stop = true;
        changed.notify_all();
    }
    camera.join();
    delivery.join();

    std::sort(latencyUs.begin(), latencyUs.end());
    const double median = percentile(latencyUs, 0.5);
    state.counters["median_us"] = median;
    state.counters["p99_us"] = percentile(latencyUs, 0.99);
    state.counters["max_us"] = latencyUs.empty() ? 0 : latencyUs.back();
    state.counters["fps"] = static_cast<double>(state.iterations()) / elapsed;
    state.counters["cpu_cores"] = cpu / elapsed;
    // The driver's median over this floor's, and what the driver adds beyond it.
    if (gDriverOverheadMedianUs > 0 && median > 0) {
        state.counters["driver_x_floor"] = gDriverOverheadMedianUs / median;
        state.counters["driver_minus_floor_us"] = gDriverOverheadMedianUs - median;
    }
}

void BM_DriverOverhead(benchmark::State& state) {
    constexpr std::size_t kRing = 4;
    std::vector<std::unique_ptr<CallerBuffer>> ring;
    for (std::size_t i = 0; i < kRing; ++i) ring.push_back(std::make_unique<CallerBuffer>(kSmallPayload, 0));
    Camera camera("pixel_formats = Mono8\nremove_features = ZEVOTimestamp\npayload_size = " +
                  std::to_string(kSmallPayload) + "\n");
    if (!camera.queueAll(ring)) {
        state.SkipWithError(camera.error().c_str());
        return;
    }

    const tq4::stream::StampPixels pixels{1, 8};
    std::vector<double> overheadUs;
    overheadUs.reserve(static_cast<std::size_t>(state.max_iterations));
    uint64_t lastCounter = 0;
    uint64_t lost = 0;
    uint64_t mismatch = 0;
    uint64_t badStatus = 0;
    std::size_t next = 0;
    // One frame: spin on the oldest buffer's status word, note the moment it turns final,
    // compare with the stamp, queue the buffer again. The sample is kept when `record`.
    auto take = [&](bool record) -> bool {
        CallerBuffer& b = *ring[next];
        next = (next + 1) % kRing;
        const auto deadline = SteadyClock::now() + std::chrono::milliseconds(kWaitMs);
        uint32_t spins = 0;
        uint32_t status;
        while ((status = b.status()) == ZEVO_BUFFER_QUEUED) {
            if ((++spins & 0xFFF) == 0 && SteadyClock::now() > deadline) return false;
        }
        const SystemClock::time_point seen = SystemClock::now();
        if (status != ZEVO_BUFFER_DONE) ++badStatus;
        tq4::stream::StampMoment moment;
        if (!tq4::stream::readBinaryStamp(b.image.data(), b.image.size(), pixels, moment)) {
            ++mismatch;
        } else {
            const auto sinceEpoch = std::chrono::duration_cast<std::chrono::nanoseconds>(seen.time_since_epoch());
            const int64_t secondsSinceEpoch = sinceEpoch.count() / 1000000000;
            const int64_t seenNs = sinceEpoch.count() % 1000000000;
            // The stamp's second is the caller's second, or the one before when the frame
            // crossed a second boundary on its way.
            int64_t deltaNs = seenNs - int64_t{moment.microseconds} * 1000;
            bool fits = sameSecond(moment, tq4::platform::localTimeAt(secondsSinceEpoch));
            if (!fits && deltaNs < 0) {
                deltaNs += 1000000000;
                fits = sameSecond(moment, tq4::platform::localTimeAt(secondsSinceEpoch - 1));
            }
            if (!fits || deltaNs < 0)
                ++mismatch;
            else if (record)
                overheadUs.push_back(static_cast<double>(deltaNs) / 1000.0);
            if (lastCounter != 0 && moment.imageCounter != lastCounter + 1) ++lost;
            lastCounter = moment.imageCounter;
        }
        b.event->reset();
        return camera.queue(b);
    };
    for (int i = 0; i < 20; ++i)
        if (!take(false)) {
            state.SkipWithError("no image within 5 s during the warm-up");
            return;
        }

    const double cpuStart = cpuSeconds();
    const auto start = SteadyClock::now();
    for (auto _ : state) {
        if (!take(true)) {
            state.SkipWithError("no image within 5 s");
            break;
        }
    }
    const double elapsed = seconds(SteadyClock::now() - start);
    const double cpu = cpuSeconds() - cpuStart;
    camera.cancel();

    std::sort(overheadUs.begin(), overheadUs.end());
    state.counters["median_us"] = percentile(overheadUs, 0.5);
    state.counters["p99_us"] = percentile(overheadUs, 0.99);
    state.counters["max_us"] = overheadUs.empty() ? 0 : overheadUs.back();
    state.counters["samples"] = static_cast<double>(overheadUs.size());
    state.counters["stamp_mismatch"] = static_cast<double>(mismatch);
    state.counters["counter_gaps"] = static_cast<double>(lost);
    state.counters["bad_status"] = static_cast<double>(badStatus);
    gDriverOverheadMedianUs = percentile(overheadUs, 0.5);
    gOverheadFramesPerSecond = static_cast<double>(state.iterations()) / elapsed;
    state.counters["fps"] = gOverheadFramesPerSecond;
    // One core is the spinning caller; what lies above 1 is the camera and the driver.
    state.counters["cpu_cores"] = cpu / elapsed;
}

}  // namespace

// The cold copy rate on its own; the full-frame rows measure it again around themselves.
BENCHMARK(BM_MemcpyCold)->Iterations(kMemcpyFrames)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_StreamFullFrame)
    ->ArgName("buffers")
    ->Arg(4)
    ->Arg(8)
    ->Arg(16)
    ->Iterations(kStreamFrames)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_StreamSmallFrame)
    ->ArgName("buffers")
    ->Arg(8)
    ->Iterations(kStreamFrames)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
// The floor runs after the driver's row, at the camera rate found there, and compares with it.
BENCHMARK(BM_DriverOverhead)->Iterations(kOverheadFrames)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WakeBaseline)->Iterations(kOverheadFrames)->UseRealTime()->Unit(benchmark::kMicrosecond);
