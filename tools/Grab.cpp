// grab: images through the driver's exports, as the SDK takes them: arm, record, a ring of
// caller buffers with their own events, each image written to a file as it arrives.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "platform/Platform.h"
#include "tools/Commands.h"
#include "tools/Decode.h"
#include "tools/DriverLibrary.h"
#include "tools/ImageFiles.h"
#include "tools/ResultNames.h"
#include "tools/Settings.h"

namespace tq4::tools {

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint32_t kWaitSliceMs = 100;  // how often a wait looks at Ctrl-C
constexpr int kInterruptedExit = 130;

// One caller buffer: image memory, status word and event, kept as a caller keeps them.
struct Slot {
    std::vector<uint8_t> image;
    uint32_t status = 0;
    std::unique_ptr<platform::Event> event;
    bool queued = false;

    // The driver writes the word, then sets the event; read with acquire order.
    uint32_t statusNow() const { return __atomic_load_n(&status, __ATOMIC_ACQUIRE); }
};

// The frame id of the binary stamp (the camera's own id when it stamps, else the driver's image
// count); -1 when the image holds no stamp.
int64_t stampedFrameId(const Slot& slot, const Geometry& g) {
    stream::StampMoment moment;
    return readImageStamp(slot.image.data(), slot.image.size(), g, moment) ? int64_t(moment.imageCounter) : -1;
}

// Frame counts and arrival times, and the progress line.
//
// The frame rate is the camera's only where a frame arrived while tq4cam waited for it: frames
// that came while a file was being written wait in the driver's and the producer's buffers and
// then follow in a burst (at the start of every grab, and all along when files are written slower
// than the camera makes frames). The rate is therefore measured from the first to the last frame
// that arrived during a wait, over the frames written between them; the lowest rate from the
// longest time between two such frames in a row. With one buffer, a frame that waited in the
// driver arrives as soon as the buffer is queued again and cannot be told from one the camera
// just sent: no frame is timed.
class Progress {
public:
    Progress(uint32_t total, bool timed)
        : total_(total), timed_(timed), terminal_(platform::standardOutputIsTerminal()) {}

    // `arrival`: when the frame arrived, if tq4cam was waiting for it.
    void delivered(int64_t frameId, std::optional<Clock::time_point> arrival) {
        const Clock::time_point now = Clock::now();
        if (written_ == 0) first_ = now;
        last_ = now;
        if (arrival && timed_) {
            if (waitedFor_ > 0 && lastWaitedIndex_ + 1 == written_)
                longestGap_ = std::max(longestGap_, *arrival - lastWaited_);
            if (waitedFor_++ == 0) {
                firstWaited_ = *arrival;
                firstWaitedIndex_ = written_;
            }
            lastWaited_ = *arrival;
            lastWaitedIndex_ = written_;
        }
        ++written_;
        if (frameId >= 0) {
            if (firstId_ < 0)
                firstId_ = frameId;
            else if (frameId > lastId_ + 1)
                missing_ += frameId - lastId_ - 1;
            lastId_ = frameId;
        } else {
            unstamped_ = true;
        }
        show();
    }
    void failed() { ++failed_; }
    void cancelled() { ++cancelled_; }
    uint32_t written() const { return written_; }

    void show() {
        if (terminal_) {
            const int width = 30;
            const int done = int(width * written_ / (total_ ? total_ : 1));
            std::printf("\r%6u/%u frames  %8.2f fps  [%s%s]", written_, total_, meanRate(),
                        std::string(std::size_t(done), '#').c_str(),
                        std::string(std::size_t(width - done), '.').c_str());
            std::fflush(stdout);
        } else if (written_ == total_ || written_ % std::max(1u, total_ / 10) == 0) {
            std::printf("%u/%u frames\n", written_, total_);
        }
    }

    void summary(const std::string& folder, const std::string& format) const {
        if (terminal_) std::printf("\n");
        std::printf("%-16s %u (%s/frame-000000.%s ...)\n", "frames written", written_, folder.c_str(), format.c_str());
        std::printf("%-16s %u\n", "failed", failed_);
        std::printf("%-16s %u (failed ones if [CONFIG] FailIncompleteImages=1, else written)\n", "incomplete", failed_);
        std::printf("%-16s %u\n", "cancelled", cancelled_);
        const double lowest = longestGap_.count() > 0 ? 1.0 / std::chrono::duration<double>(longestGap_).count() : 0;
        const double filesPerSecond = (written_ - 1) / std::chrono::duration<double>(last_ - first_).count();
        if (meanRate() > 0)
            std::printf("%-16s mean %.2f Hz, lowest %.2f Hz\n", "frame rate", meanRate(), lowest);
        else if (written_ > 1 && !timed_)
            std::printf("%-16s not measured with one buffer\n", "frame rate");
        else if (written_ > 1)
            std::printf("%-16s not measured: the frames waited for tq4cam, which wrote %.2f files/s\n", "frame rate",
                        filesPerSecond);
        if (firstId_ >= 0 && !unstamped_)
            std::printf("%-16s ids %lld..%lld, %lld missing (the camera's frames that no buffer took)\n",
                        "camera frames", static_cast<long long>(firstId_), static_cast<long long>(lastId_),
                        static_cast<long long>(missing_));
    }

private:
    double meanRate() const {
        const double seconds = std::chrono::duration<double>(lastWaited_ - firstWaited_).count();
        return waitedFor_ > 1 && seconds > 0 ? (lastWaitedIndex_ - firstWaitedIndex_) / seconds : 0;
    }

    uint32_t total_;
    bool timed_;
    bool terminal_;
    uint32_t written_ = 0, failed_ = 0, cancelled_ = 0;
    uint32_t waitedFor_ = 0, firstWaitedIndex_ = 0, lastWaitedIndex_ = 0;
    Clock::time_point first_{}, last_{}, firstWaited_{}, lastWaited_{};
    Clock::duration longestGap_{};
    int64_t firstId_ = -1, lastId_ = -1, missing_ = 0;
    bool unstamped_ = false;
};

// An output folder that exists and takes files; false with the reason told.
bool prepareFolder(const std::string& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    const std::string probe = folder + "/.tq4cam-probe";
    if (!error) {
        std::ofstream(probe) << "x";
        if (!std::filesystem::exists(probe)) error = std::make_error_code(std::errc::permission_denied);
        std::filesystem::remove(probe, error);
    }
    if (!error) return true;
    complain("cannot write into " + folder + ": " + error.message());
    return false;
}

// The files of an earlier grab in `folder`: frame-NNNNNN with the extension of a format.
std::vector<std::filesystem::path> earlierFrames(const std::string& folder) {
    static const std::regex kFrameName("frame-[0-9]{6}\\.(tiff|png|pgm)");
    std::vector<std::filesystem::path> found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error))
        if (std::regex_match(entry.path().filename().string(), kFrameName)) found.push_back(entry.path());
    return found;
}

// New frames never mix with those of an earlier grab: a folder that holds some is refused
// (exit code 2), or with --overwrite they are removed first (1 when that fails). 0: go on.
int clearEarlierFrames(const GrabOptions& grab) {
    const std::vector<std::filesystem::path> earlier = earlierFrames(grab.folder);
    if (earlier.empty()) return 0;
    if (!grab.overwrite) {
        complain(grab.folder + " already holds " + std::to_string(earlier.size()) +
                 " frames of an earlier grab: take another folder, or --overwrite to remove them first");
        return 2;
    }
    for (const std::filesystem::path& path : earlier) {
        std::error_code error;
        if (!std::filesystem::remove(path, error)) {
            complain("cannot remove " + path.string() + ": " + error.message());
            return 1;
        }
    }
    return 0;
}

class Grabber {
public:
    Grabber(CameraSession& camera, const GrabOptions& options, const Geometry& geometry)
        : camera_(camera), options_(options), geometry_(geometry), progress_(options.frames, options.buffers > 1) {}

    // The exit code.
    int run() {
        slots_.resize(options_.buffers);
        for (Slot& slot : slots_) {
            slot.image.assign(geometry_.bytes(), 0);
            slot.event = platform::Event::create();
            if (!slot.event) {
                complain("cannot create an event for a buffer");
                return 1;
            }
        }
        const std::atomic<bool>& interrupted = platform::ctrlCFlag();
        for (Slot& slot : slots_)
            if (inFlight() < options_.frames) queue(slot);
        int exitCode = 0;
        for (std::size_t next = 0; progress_.written() < options_.frames && inFlight() > 0;
             next = (next + 1) % slots_.size()) {
            Slot& slot = slots_[next];
            if (!slot.queued) continue;
            const bool waiting = !slot.event->isSet();
            const WaitResult waited = waitFor(slot, interrupted);
            if (waited == WaitResult::Interrupted) {
                exitCode = kInterruptedExit;
                break;
            }
            if (waited == WaitResult::TimedOut) {
                complain("no image within " + std::to_string(options_.timeoutMs) + " ms");
                exitCode = 1;
                break;
            }
            if (!take(slot, waiting ? std::optional(Clock::now()) : std::nullopt)) {
                exitCode = 1;
                break;
            }
            if (progress_.written() + inFlight() < options_.frames) queue(slot);
        }
        finish();
        return exitCode;
    }

    const Progress& progress() const { return progress_; }

private:
    enum class WaitResult { Done, TimedOut, Interrupted };

    uint32_t inFlight() const {
        uint32_t count = 0;
        for (const Slot& slot : slots_) count += slot.queued ? 1 : 0;
        return count;
    }

    bool queue(Slot& slot) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the driver's C interface takes an event as a HANDLE
        const auto eventHandle = reinterpret_cast<TQ4_HANDLE>(slot.event->nativeHandle());
        const uint32_t result = camera_.library().setImageBuffer(
            camera_.handle(), eventHandle, 0, 0, 0, 0, slot.image.data(), uint32_t(slot.image.size()), &slot.status);
        slot.queued = result == 0 || result == 0x360000;
        if (!slot.queued) complain("Set_Image_Buffer: " + describeResult(result));
        return slot.queued;
    }

    WaitResult waitFor(Slot& slot, const std::atomic<bool>& interrupted) {
        const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(options_.timeoutMs);
        while (!interrupted.load()) {
            if (slot.event->wait(kWaitSliceMs)) return WaitResult::Done;
            if (Clock::now() >= deadline) return WaitResult::TimedOut;
        }
        return WaitResult::Interrupted;
    }

    // The finished buffer: its image written, or its failure counted. False when a file
    // cannot be written or images keep failing: more in a row than there are buffers (a lossy
    // link fails some of them now and then, a camera that stopped sending fails all).
    bool take(Slot& slot, std::optional<Clock::time_point> arrival) {
        slot.queued = false;
        const uint32_t status = slot.statusNow();
        if (status == ZEVO_BUFFER_DONE) {
            failuresInARow_ = 0;
            return writeFrame(slot, arrival);
        }
        if (status == ZEVO_BUFFER_CANCELLED) {
            progress_.cancelled();
            complain("a buffer was cancelled by the driver");
            return false;
        }
        progress_.failed();
        if (++failuresInARow_ <= options_.buffers) return true;
        complain("images keep failing (" + describeBufferStatus(status) + ")");
        return false;
    }

    bool writeFrame(Slot& slot, std::optional<Clock::time_point> arrival) {
        char name[32];
        std::snprintf(name, sizeof name, "frame-%06u.%s", progress_.written(), options_.format.c_str());
        const ImageView view{slot.image.data(),       geometry_.width, geometry_.height,
                             geometry_.bytesPerPixel, geometry_.bits,  geometry_.msbAligned};
        std::string error;
        if (!writeImage(options_.folder + "/" + name, options_.format, view, error)) {
            complain(std::string(name) + ": " + error);
            return false;
        }
        progress_.delivered(stampedFrameId(slot, geometry_), arrival);
        return true;
    }

    // Every buffer still queued is cancelled and waited for, so that none is written to after
    // this returns.
    void finish() {
        if (inFlight() == 0) return;
        camera_.library().cancelImages(camera_.handle());
        for (Slot& slot : slots_) {
            if (!slot.queued) continue;
            slot.event->wait(options_.timeoutMs);
            slot.queued = false;
            const uint32_t status = slot.statusNow();
            if (status == ZEVO_BUFFER_DONE)
                writeFrame(slot, std::nullopt);
            else if (status == ZEVO_BUFFER_CANCELLED)
                progress_.cancelled();
            else
                progress_.failed();
        }
    }

    CameraSession& camera_;
    const GrabOptions& options_;
    const Geometry geometry_;
    Progress progress_;
    std::vector<Slot> slots_;
    uint32_t failuresInARow_ = 0;
};

}  // namespace

int runGrab(const GlobalOptions& options, const CameraSettings& settings, const GrabOptions& grab) {
    if (!isImageFormat(grab.format)) {
        complain(kTiffAndPng ? "--format is tiff, png or pgm" : "--format is pgm in this build");
        return 2;
    }
    if (grab.frames == 0 || grab.buffers == 0) {
        complain("-n and --buffers take at least 1");
        return 2;
    }
    if (!prepareFolder(grab.folder)) return 1;
    if (const int refused = clearEarlierFrames(grab)) return refused;
    // From here Ctrl-C ends the acquisition, not the program: every buffer must come back.
    platform::ctrlCFlag();
    DriverLibrary library;
    if (!loadLibrary(options, library)) return 1;
    const std::unique_ptr<CameraSession> session = openCamera(options, library);
    if (!session) return 1;
    CameraSession& camera = *session;
    // The image data as the sensor gives it unless stamps are asked for: a camera keeps its
    // time stamp mode, so an earlier setting is switched off.
    CameraSettings clean = settings;
    if (!clean.timestamp) clean.timestamp = "none";
    Geometry geometry;
    if (!applySettings(camera, clean) || !startRecording(camera) || !readGeometry(camera, geometry)) return 1;
    std::printf("camera %u: %s, %u x %u, %u bits, %u buffers, %u frames to %s as %s\n", camera.number(),
                camera.name().c_str(), geometry.width, geometry.height, geometry.bits, grab.buffers, grab.frames,
                grab.folder.c_str(), grab.format.c_str());
    Grabber grabber(camera, grab, geometry);
    const int exitCode = grabber.run();
    grabber.progress().summary(grab.folder, grab.format);
    if (exitCode == kInterruptedExit)
        std::printf("interrupted: every buffer is back, the files written are complete\n");
    return exitCode;
}

}  // namespace tq4::tools
