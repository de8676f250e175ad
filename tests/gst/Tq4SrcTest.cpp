// tq4src in pipelines on the simulated camera: buffers that are the caller buffers themselves,
// state changes and EOS with every caller buffer ended, a failed image as an element message
// and a camera that is not there as an element error.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "tests/support/TestFolder.h"

namespace tq4::test {
namespace {

struct Received {
    std::set<const void*> memory;
    std::vector<uint64_t> offsets;
    gsize bytes = 0;
    std::vector<GstClockTime> pts;
    std::vector<GstClockTime> cameraTimes;  // the buffers' timestamp/x-unix reference meta
};

GstClockTime cameraTimeOf(GstBuffer* buffer) {
    GstCaps* unix = gst_caps_new_empty_simple("timestamp/x-unix");
    const GstReferenceTimestampMeta* meta = gst_buffer_get_reference_timestamp_meta(buffer, unix);
    gst_caps_unref(unix);
    return meta ? meta->timestamp : GST_CLOCK_TIME_NONE;
}

void onHandoff(GstElement*, GstBuffer* buffer, GstPad*, gpointer data) {
    auto* received = static_cast<Received*>(data);
    GstMapInfo map;
    if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return;
    received->memory.insert(map.data);
    received->bytes = map.size;
    gst_buffer_unmap(buffer, &map);
    received->offsets.push_back(GST_BUFFER_OFFSET(buffer));
    received->pts.push_back(GST_BUFFER_PTS(buffer));
    received->cameraTimes.push_back(cameraTimeOf(buffer));
}

class Tq4Src : public ::testing::Test {
protected:
    void SetUp() override {
        writeFile(folder.file("sim.cfg"), simConfig());
        platform::setEnvironment("GST_PLUGIN_PATH", TQ4_GST_PLUGIN_DIR);
        platform::setEnvironment("GST_REGISTRY", folder.file("registry.bin"));
        // The registry is scanned in this process, so that a sanitized plugin is loaded under the
        // runtime this program carries.
        platform::setEnvironment("GST_REGISTRY_FORK", "no");
        platform::setEnvironment("GENICAM_GENTL64_PATH", TQ4_SIM_DIR);
        platform::setEnvironment("ZEVO_SIM_CONFIG", folder.file("sim.cfg"));
        platform::setEnvironment("TQ4_QUESTION_ANSWER", "no");
        gst_init(nullptr, nullptr);
    }
    void TearDown() override {
        if (pipeline) {
            gst_element_set_state(pipeline, GST_STATE_NULL);
            gst_object_unref(pipeline);
        }
    }
    virtual std::string simConfig() const { return ""; }

    // "tq4src ... ! fakesink": the sink counts what it receives.
    void build(const std::string& source, const std::string& middle = "") {
        GError* error = nullptr;
        const std::string description =
            "tq4src name=src region=1,1,320,256 " + source + " ! " + middle + "fakesink name=sink signal-handoffs=true";
        pipeline = gst_parse_launch(description.c_str(), &error);
        ASSERT_TRUE(pipeline && !error) << (error ? error->message : "no pipeline");
        GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
        g_signal_connect(sink, "handoff", G_CALLBACK(onHandoff), &received);
        gst_object_unref(sink);
    }
    // The first bus message of one of `types` within `seconds` (null if none).
    GstMessage* waitFor(int types, int seconds = 20) {
        GstBus* bus = gst_element_get_bus(pipeline);
        GstMessage* message =
            gst_bus_timed_pop_filtered(bus, GstClockTime(seconds) * GST_SECOND, GstMessageType(types));
        gst_object_unref(bus);
        return message;
    }
    void playUntil(std::size_t frames) {
        ASSERT_NE(gst_element_set_state(pipeline, GST_STATE_PLAYING), GST_STATE_CHANGE_FAILURE);
        for (int i = 0; i < 400 && received.offsets.size() < frames; ++i) g_usleep(50000);
        ASSERT_GE(received.offsets.size(), frames);
    }
    guint queued() {
        GstElement* src = gst_bin_get_by_name(GST_BIN(pipeline), "src");
        guint count = 0;
        g_object_get(src, "queued", &count, nullptr);
        gst_object_unref(src);
        return count;
    }

    TestFolder folder;
    GstElement* pipeline = nullptr;
    Received received;
};

TEST_F(Tq4Src, BuffersAreTheCallerBuffersAndStateChangesEndThemAll) {
    build("buffers=3", "queue max-size-buffers=2 ! ");
    for (int cycle = 0; cycle < 3; ++cycle) {
        received.offsets.clear();
        playUntil(12);
        EXPECT_EQ(received.offsets.front(), 0u) << "cycle " << cycle;
        EXPECT_EQ(received.offsets[11], 11u);
        EXPECT_EQ(received.bytes, gsize(320 * 256 * 2));
        ASSERT_EQ(gst_element_set_state(pipeline, GST_STATE_NULL), GST_STATE_CHANGE_SUCCESS);
        EXPECT_EQ(queued(), 0u);
    }
    // Three caller buffers per session, each handed downstream as it is: no copies.
    EXPECT_LE(received.memory.size(), 9u);
}

TEST_F(Tq4Src, EndOfStreamAfterNumBuffers) {
    build("num-buffers=5");
    ASSERT_NE(gst_element_set_state(pipeline, GST_STATE_PLAYING), GST_STATE_CHANGE_FAILURE);
    GstMessage* message = waitFor(GST_MESSAGE_EOS | GST_MESSAGE_ERROR);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(GST_MESSAGE_TYPE(message), GST_MESSAGE_EOS);
    gst_message_unref(message);
    EXPECT_EQ(received.offsets.size(), 5u);
}

TEST_F(Tq4Src, ACameraThatIsNotThereIsAnElementErrorNamingIt) {
    build("camera=2 producers=" + folder.file("absent.cti"));
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstMessage* message = waitFor(GST_MESSAGE_ERROR);
    ASSERT_NE(message, nullptr);
    GError* error = nullptr;
    gchar* debug = nullptr;
    gst_message_parse_error(message, &error, &debug);
    EXPECT_STREQ(error->message, "Camera 2 cannot be opened.");
    EXPECT_NE(std::string(debug).find("absent.cti"), std::string::npos) << debug;
    g_error_free(error);
    g_free(debug);
    gst_message_unref(message);
}

// camera-time: each buffer's time follows the binary stamp in its image (the camera's own here;
// the driver's, from the producer's buffer time, where the camera has no ZEVOTimestamp).
class Tq4SrcCameraTime : public Tq4Src, public ::testing::WithParamInterface<bool> {
    std::string simConfig() const override { return GetParam() ? "" : "remove_features = ZEVOTimestamp\n"; }
};

TEST_P(Tq4SrcCameraTime, GivesEachBufferTheTimeStampedInItsImage) {
    build("camera-time=true");
    playUntil(8);
    ASSERT_EQ(gst_element_set_state(pipeline, GST_STATE_NULL), GST_STATE_CHANGE_SUCCESS);
    const auto now = GstClockTime(g_get_real_time()) * GST_USECOND;
    EXPECT_LT(now - received.cameraTimes.back(), 10 * GST_SECOND) << "the camera's time is now";
    for (std::size_t i = 1; i < received.cameraTimes.size(); ++i) {
        ASSERT_GT(received.cameraTimes[i], received.cameraTimes[i - 1]) << i;
        EXPECT_EQ(received.pts[i] - received.pts[0], received.cameraTimes[i] - received.cameraTimes[0]) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Stamps, Tq4SrcCameraTime, ::testing::Values(true, false),
                         [](const auto& info) { return info.param ? "Camera" : "Driver"; });

class Tq4SrcFailingImage : public Tq4Src {
    std::string simConfig() const override { return "fault.EventGetData = -1010, 1, 3\n"; }
};

TEST_F(Tq4SrcFailingImage, IsAnElementMessageAndTheStreamGoesOn) {
    build("");
    ASSERT_NE(gst_element_set_state(pipeline, GST_STATE_PLAYING), GST_STATE_CHANGE_FAILURE);
    GstMessage* message = waitFor(GST_MESSAGE_ELEMENT | GST_MESSAGE_ERROR);
    ASSERT_NE(message, nullptr);
    const GstStructure* s = gst_message_get_structure(message);
    ASSERT_TRUE(s && gst_structure_has_name(s, "tq4src-image"));
    EXPECT_STREQ(gst_structure_get_string(s, "status"), "failed");
    gst_message_unref(message);
    playUntil(10);
}

}  // namespace
}  // namespace tq4::test
