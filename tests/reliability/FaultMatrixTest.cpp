// Every knob of the simulated producer against every driver operation it can touch. Each row
// configures the producer, then runs the operations in a camera's life in order, each on a
// worker with a deadline; a cell holds the export's code, and after the cancel and the close
// every caller buffer is ended (status word and event) or was never taken. A hang fails its
// cell and ends the program after the matrix is printed.

#include "driver/Driver.h"
#include "reliability/Reliability.h"

namespace tq4::test {
namespace {

// clang-format off
enum Op { kOpen, kName, kDescription, kRoi, kExposure, kCooling, kSetTimestamp, kAlignment, kParameters, kStart,
          kRunning, kCancel, kClose, kReopen, kOps };
// clang-format on
const char* const kOpNames[kOps] = {"open",      "name",   "description", "roi",     "exposure", "cooling", "timestamp",
                                    "alignment", "params", "start",       "running", "cancel",   "close",   "reopen"};

constexpr unsigned kDeadlineMs = 30000;
constexpr uint32_t kFrameBytes = 1296 * 1032 * 2;  // the widest format, Mono16, at open
constexpr uint32_t kPartlyQueued = 0x360000;       // the producer refused one more acquisition buffer

struct Row {
    std::string knob;               // producer configuration
    std::map<int, uint32_t> codes;  // the cells whose code is not ZEVO_NOERROR
    bool gentl10 = false;           // the producer of GenTL 1.0 (no later function exported)
};

// A point that fails at every call; the codes each operation then answers.
Row failing(const std::string& point, std::map<int, uint32_t> codes = {}) {
    return {"fault." + point + " = -1001\n", std::move(codes)};
}

const std::map<int, uint32_t> kNoOpen = {{kOpen, ZEVO_ERROR_OPEN_FAILED}};
const std::map<int, uint32_t> kNoDriver = {{kOpen, ZEVO_ERROR_DRIVER_NODRIVER}};
// A camera whose access status is not read-write: opened under the written handle, but every
// export, the close too, refuses it.
std::map<int, uint32_t> noAccess() {
    std::map<int, uint32_t> codes;
    for (int op = kOpen; op <= kClose; ++op) codes[op] = ZEVO_ERROR_DRIVER_NODRIVER;
    return codes;
}

// Injected faults: every function the driver calls fails at every call; the codes each
// operation then answers.
// clang-format off
const std::pair<const char*, std::map<int, uint32_t>> kFailingPoints[] = {
    {"GCInitLib", kNoDriver}, {"TLOpen", kNoDriver}, {"TLClose", {}}, {"TLGetInfo", {}},
    {"TLGetNumInterfaces", kNoOpen}, {"TLGetInterfaceID", kNoOpen}, {"TLUpdateInterfaceList", kNoOpen},
    {"TLOpenInterface", kNoOpen}, {"IFClose", {}}, {"IFGetNumDevices", kNoOpen}, {"IFGetDeviceID", kNoOpen},
    {"IFGetDeviceInfo", {}}, {"IFUpdateDeviceList", kNoOpen}, {"IFOpenDevice", kNoOpen}, {"DevGetPort", kNoOpen},
    {"DevGetInfo", noAccess()}, {"DevGetNumDataStreams", kNoOpen}, {"DevGetDataStreamID", kNoOpen},
    {"DevOpenDataStream", kNoOpen}, {"DevClose", {}}, {"GCReadPort", kNoDriver}, {"GCWritePort", {}},
    {"GCGetPortURL", {}}, {"GCGetNumPortURLs", {}}, {"GCGetPortURLInfo", {}}, {"GCRegisterEvent", {}},
    {"GCUnregisterEvent", {}}, {"EventGetData", {}}, {"EventKill", {}}, {"DSGetInfo", {}}, {"DSAnnounceBuffer", {}},
    {"DSAllocAndAnnounceBuffer", {}}, {"DSQueueBuffer", {}}, {"DSRevokeBuffer", {}}, {"DSFlushQueue", {}},
    {"DSStartAcquisition", {}}, {"DSStopAcquisition", {}}, {"DSGetBufferInfo", {}}, {"DSGetBufferID", {}},
    {"DSClose", {}}};
// clang-format on

const std::vector<Row>& rows() {
    static const std::vector<Row> table = [] {
        // clang-format off
        std::vector<Row> all = {
            {"", {}}, {"", {}, true},
            // topology and access
            {"interfaces = 2\ndevices_per_interface = 2\n", {}}, {"serials = 7\n", {}}, {"streams = 2\n", {}},
            {"devices_appear_after_updates = 1\n", {}}, {"devices_appear_after_updates = 1000\n", kNoOpen},
            {"devices_vanish_after_updates = 2\n", {}}, {"access_status = 4\n", kNoOpen},
            {"access_status_after_open = 4\n", noAccess()},
            // description
            {"xml_zipped = 0\n", {}}, {"url_scheme = file\n", {}},
            {"xml_file_name = camera.xml\n", kNoDriver},  // zipped content under an .xml name
            {"url = local:///nothing.zip;200000;100\n", kNoDriver}, {"description_address = 0\n", {}},
            {"url_info = 0\n", {}}, {"remove_features = BalanceWhiteAuto, TempSensorId, DeviceUserID\n", {}},
            {"info_names = 1\n", {}}, {"trigger_selector_read_only = 1\n", {}}, {"pixel_formats = Mono8\n", {}},
            {"pixel_formats = Mono10msb, Mono16msb\n", {}}, {"refused_pixel_formats = Mono16\n", {}},
            // camera values
            {"vendor_name = V\nmodel_name = M\nfamily_name = F\ndevice_version = AB\nfirmware_version = 0\n"
             "material_number = X\nuser_defined_name = U\ndisplay_name = D\n", {}},
            {"temperature.Img-Sen = -80\ntemperature.Backend = 95\ncooling_warning = 1\n", {}},
            {"ambient_temperature = 60\ncooling_max_delta = 1\ncooling_time_constant_s = 0.01\n", {}},
            {"max_fps.Mono16 = 1\nmax_fps.Mono8 = 1\n", {}}, {"unlimited_frame_rate = 1\n", {}},
            {"line0_trigger_period_ms = 1\n", {}},
            // streaming
            {"buf_announce_min = 5\n", {}}, {"defines_payload_size = 0\n", {}}, {"short_port_read = 16\n", kNoDriver},
            {"payload_size = 65536\n", {}}, {"payload_size = 100000000\n", {}}, {"frame_limit = 0\n", {}},
            {"frame_limit = 2\n", {}},
            // producers' faults the driver has to live with
            // the optional device information: without the access status the camera counts as not free
            {"unavailable_device_info = 6, 8, 9, 1000\n", {}}, {"unavailable_device_info = 5\n", noAccess()},
            {"stuck_buffer = 1\n", {}}, {"delay.IFOpenDevice = 1000\n", {}},
            {"delay.GCReadPort = 1\ndelay.GCWritePort = 2\n", {}}, {"delay.DS = 5\ndelay.EventGetData = 100\n", {}},
        };
        // clang-format on
        for (const auto& [point, codes] : kFailingPoints) all.push_back(failing(point, codes));
        all.insert(all.end(), {{"fault.BUFFER_INFO_BASE = 0\n", {}},
                               // and faults that come and go
                               {"fault.GCReadPort = -1011, 3, 50\nfault.GCWritePort = -1011, 2, 5\n", {}},
                               {"fault.EventGetData = -1011, 2, 1\nfault.DSQueueBuffer = -1001, 1, 3\n", {}},
                               // Last: a producer whose close failed stays initialised in the process, with this
                               // configuration, and the next open has to use it as it is.
                               failing("GCCloseLib")});
        return all;
    }();
    return table;
}

class FaultMatrixTest : public World {
protected:
    struct Cell {
        bool ran = false;
        bool passed = false;
        uint32_t code = 0;
        std::string why;
    };
    using Cells = std::vector<Cell>;

    // Runs one operation under the deadline; a hang prints what there is and ends the program.
    uint32_t run(Cells& cells, int op, const std::function<uint32_t()>& call) {
        const auto code = within(kDeadlineMs, call);
        cells[op].ran = true;
        if (!code) {
            std::printf("matrix: hang in %s (knob: %s); cells passed before: %d/%d\n", kOpNames[op], row_.c_str(),
                        passed_, total_);
            std::fflush(stdout);
            std::_Exit(1);
        }
        cells[op].code = *code;
        return *code;
    }

    // The row's cells, in the order the camera's life runs them.
    Cells runRow(const Row& row) {
        Cells cells(kOps);
        clearLines();
        configure(row.knob);
        // Four acquisition buffers: each open and arm announces them anew.
        std::ofstream(iniFile()) << "[MEMORY]\nDMALength = " << 4 * kFrameBytes << "\n";
        if (row.gentl10) ::setenv("GENICAM_GENTL64_PATH", TQ4_SIM_DIR "/gentl10", 1);
        TQ4_HANDLE h = nullptr;
        std::deque<CallerBuffer> buffers;
        std::vector<CallerBuffer*> taken;  // the buffers whose queue call the driver accepted
        const auto telegram = [&](int op, uint16_t code, int value = -1) {
            run(cells, op, [h, code, value] { return ask(h, code, value).result; });
        };
        const auto queueOne = [&](int op) {
            CallerBuffer& b = buffers.emplace_back(kFrameBytes);
            const uint32_t code = run(cells, op, [h, &b] { return queue(h, b); });
            if (b.status() == ZEVO_BUFFER_QUEUED || b.event->isSet()) taken.push_back(&b);
            return code;
        };
        const auto allEnded = [&](int op) {
            for (const CallerBuffer* b : taken)
                if (!consistent(*b)) cells[op].why = "buffer in an inconsistent state";
        };

        run(cells, kOpen, [&h] { return Open_Cam(0, &h); });
        if (h != nullptr) {
            telegram(kName, GET_CAMERA_NAME);
            telegram(kDescription, GET_CAMERA_DESCRIPTION);
            telegram(kRoi, GET_ROI);
            telegram(kExposure, GET_DELAY_EXPOSURE_TIME);
            telegram(kCooling, GET_COOLING_SETPOINT_TEMPERATURE);
            telegram(kSetTimestamp, SET_TIMESTAMP_MODE, 0);
            telegram(kAlignment, GET_BIT_ALIGNMENT);
            const uint32_t params[4] = {1296, 1032, 0, 0};
            run(cells, kParameters, [h, &params] { return Set_Image_Parameters(h, params, sizeof params); });
            const uint32_t armed = ask(h, ARM_CAMERA).result | ask(h, SET_RECORDING_STATE, 1).result;
            if (queueOne(kStart) == ZEVO_NOERROR && armed != ZEVO_NOERROR) cells[kStart].code = armed;
            uint32_t running = ZEVO_NOERROR;
            for (int i = 0; i < 3; ++i) running |= queueOne(kRunning);
            cells[kRunning].code = running;
            const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
            for (CallerBuffer* b : taken)
                b->event->wait(uint32_t(std::max<int64_t>(
                    0, std::chrono::duration_cast<std::chrono::milliseconds>(until - std::chrono::steady_clock::now())
                           .count())));
            allEnded(kRunning);
            if (run(cells, kCancel, [h] { return Cancel_Images(h); }) == ZEVO_NOERROR) {
                uint32_t pending = 0;
                if (Get_Pending_Buffer(h, &pending) != ZEVO_NOERROR || pending != 0)
                    cells[kCancel].why = "still pending";
            }
            allEnded(kCancel);
            if (run(cells, kClose, [&h] { return Close_Cam(&h); }) == ZEVO_NOERROR) {
                allEnded(kClose);
                if (h != nullptr) cells[kClose].why = "handle not cleared";
                // Usable again: opened and closed once more.
                if (run(cells, kReopen, [&h] { return Open_Cam(0, &h); }) == ZEVO_NOERROR &&
                    run(cells, kReopen, [&h] { return Close_Cam(&h); }) != ZEVO_NOERROR)
                    cells[kReopen].why = "second close failed";
            }
        }
        if (h != nullptr || cells[kOpen].code != ZEVO_NOERROR) {
            // A failed open keeps the producer loaded for the next one: unloaded here, so that
            // the next row's producer reads its own configuration.
            driver::Driver::clearInstance();
            driver::Driver::destroyInstance();
        }
        ::setenv("GENICAM_GENTL64_PATH", TQ4_SIM_DIR, 1);
        for (int op = 0; op < kOps; ++op) {
            Cell& c = cells[op];
            const auto expected = row.codes.count(op) ? row.codes.at(op) : ZEVO_NOERROR;
            // A refused extra acquisition buffer still queues the caller's buffer.
            const bool codeOk = c.code == expected || (expected == ZEVO_NOERROR && c.code == kPartlyQueued);
            if (c.ran && !codeOk && c.why.empty()) {
                std::ostringstream why;
                why << "code 0x" << std::hex << c.code << ", expected 0x" << expected;
                c.why = why.str();
            }
            c.passed = c.ran && c.why.empty();
        }
        return cells;
    }

    std::string row_;
    int passed_ = 0;
    int total_ = 0;
};

TEST_F(FaultMatrixTest, EveryKnobAgainstEveryOperation) {
    if (!std::getenv("TQ4_MATRIX_LOG")) log::setLineObserver(nullptr);  // only the codes matter here
    int& passed = passed_;
    int& total = total_;
    std::ostringstream failures;
    // TQ4_MATRIX_ROWS=<text> runs only the rows whose configuration contains the text.
    const char* only = std::getenv("TQ4_MATRIX_ROWS");
    for (const Row& row : rows()) {
        if (only && row.knob.find(only) == std::string::npos) continue;
        row_ = row.gentl10 ? "GenTL 1.0 producer" : row.knob.substr(0, row.knob.find('\n'));
        const auto started = std::chrono::steady_clock::now();
        const Cells cells = runRow(row);
        if (std::getenv("TQ4_MATRIX_LOG"))
            std::printf("%s: %lld ms\n", row_.c_str(),
                        (long long)std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::steady_clock::now() - started)
                            .count());
        for (int op = 0; op < kOps; ++op) {
            if (!cells[op].ran) continue;
            ++total;
            if (cells[op].passed) {
                ++passed;
                continue;
            }
            failures << "  [" << row_ << "] x " << kOpNames[op] << ": " << cells[op].why << "\n";
            if (std::getenv("TQ4_MATRIX_LOG")) failures << dump();
        }
    }
    std::printf("matrix: %d/%d cells passed (%zu knob rows x %d operations)\n%s", passed, total, rows().size(), kOps,
                failures.str().c_str());
    EXPECT_EQ(passed, total) << failures.str();
}

}  // namespace
}  // namespace tq4::test
