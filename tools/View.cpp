// tq4cam view: the camera's live images in a window, through the GStreamer source tq4src, with
// the frame number and the frame rate written over the image.
#include <gst/gst.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "platform/Platform.h"
#include "tools/Commands.h"
#include "tools/Producers.h"

namespace tq4::tools {

namespace {

using Clock = std::chrono::steady_clock;
constexpr guint kCtrlCLookMs = 100;
constexpr int kInterruptedExit = 130;

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

// The pipeline as gst-launch-1.0 would take it.
// The camera as `tq4cam list` numbers it: its producer, the first Open_Cam number of that
// producer and its name.
std::string pipelineText(const GlobalOptions& options, const CameraPlace& place, const CameraSettings& settings,
                         const ViewOptions& view) {
    std::string source = "tq4src name=camera camera=" + std::to_string(place.number - place.position) +
                         " producers=" + quoted(place.producer) + " camera-name=" + quoted(place.name);
    if (!options.libraryPath.empty()) source += " library=" + quoted(options.libraryPath);
    if (settings.exposure) source += " exposure=" + quoted(*settings.exposure);
    if (settings.roi) source += " region=" + quoted(*settings.roi);
    if (settings.binning) source += " binning=" + std::to_string(*settings.binning);
    if (settings.trigger) source += " trigger=" + quoted(*settings.trigger);
    if (view.frames != 0) source += " num-buffers=" + std::to_string(view.frames);
    return source +
           " ! videoconvert ! textoverlay name=label valignment=top halignment=left font-desc=\"Sans 14\""
           " ! videoconvert ! " +
           view.sink;
}

// Counts the images leaving the source and writes "frame N  R fps" over them.
struct Overlay {
    GstElement* label = nullptr;
    guint64 frames = 0;
    Clock::time_point windowStart = Clock::now();
    guint64 framesAtWindowStart = 0;
    double rate = 0;
};

GstPadProbeReturn onImage(GstPad*, GstPadProbeInfo* info, gpointer data) {
    auto* overlay = static_cast<Overlay*>(data);
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    ++overlay->frames;
    const Clock::time_point now = Clock::now();
    const double seconds = std::chrono::duration<double>(now - overlay->windowStart).count();
    if (seconds >= 1.0) {
        overlay->rate = double(overlay->frames - overlay->framesAtWindowStart) / seconds;
        overlay->windowStart = now;
        overlay->framesAtWindowStart = overlay->frames;
    }
    char text[64];
    std::snprintf(text, sizeof text, "frame %" G_GUINT64_FORMAT "   %.1f fps", GST_BUFFER_OFFSET(buffer),
                  overlay->rate);
    g_object_set(overlay->label, "text", text, nullptr);
    return GST_PAD_PROBE_OK;
}

gboolean lookAtCtrlC(gpointer loop) {
    if (!platform::ctrlCFlag().load()) return G_SOURCE_CONTINUE;
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

struct BusWatch {
    GMainLoop* loop;
    int exitCode = 0;
};

gboolean onBusMessage(GstBus*, GstMessage* message, gpointer data) {
    auto* watch = static_cast<BusWatch*>(data);
    if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        GError* error = nullptr;
        gchar* debug = nullptr;
        gst_message_parse_error(message, &error, &debug);
        complain(std::string(error->message) + (debug ? std::string(" (") + debug + ")" : ""));
        g_error_free(error);
        g_free(debug);
        watch->exitCode = 1;
        g_main_loop_quit(watch->loop);
    } else if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS) {
        g_main_loop_quit(watch->loop);
    }
    return TRUE;
}

// tq4src of this program's own build or installation (<build>/gst, <prefix>/lib*/gstreamer-1.0),
// besides GStreamer's own plugin folders.
void addOwnPluginFolders() {
    std::string executable;
    if (!platform::executablePath(executable)) return;
    const std::string folder = executable.substr(0, executable.find_last_of(platform::pathSeparator()) + 1);
    for (const char* relative : {"../gst", "../lib/gstreamer-1.0", "../" TQ4_INSTALL_LIBDIR "/gstreamer-1.0"})
        if (platform::fileExists(folder + relative))
            gst_registry_scan_path(gst_registry_get(), (folder + relative).c_str());
}

}  // namespace

int runView(const GlobalOptions& options, const CameraSettings& settings, const ViewOptions& view) {
    CameraPlace place;
    std::string problem;
    if (!locateCamera(configuredProducers(options.producers), options.camera, place, problem)) {
        complain(problem);
        return 1;
    }
    gst_init(nullptr, nullptr);
    addOwnPluginFolders();
    const std::string text = pipelineText(options, place, settings, view);
    GError* error = nullptr;
    GstElement* pipeline = gst_parse_launch(text.c_str(), &error);
    if (error || !pipeline) {
        complain(std::string("the live view cannot be built: ") + (error ? error->message : text));
        if (error) g_error_free(error);
        if (pipeline) gst_object_unref(pipeline);
        return 1;
    }
    Overlay overlay;
    overlay.label = gst_bin_get_by_name(GST_BIN(pipeline), "label");
    GstElement* camera = gst_bin_get_by_name(GST_BIN(pipeline), "camera");
    GstPad* cameraPad = gst_element_get_static_pad(camera, "src");
    gst_pad_add_probe(cameraPad, GST_PAD_PROBE_TYPE_BUFFER, onImage, &overlay, nullptr);
    gst_object_unref(cameraPad);
    gst_object_unref(camera);

    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    BusWatch watch{loop};
    GstBus* bus = gst_element_get_bus(pipeline);
    gst_bus_add_watch(bus, onBusMessage, &watch);
    platform::ctrlCFlag();
    g_timeout_add(kCtrlCLookMs, lookAtCtrlC, loop);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    g_main_loop_run(loop);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_bus_remove_watch(bus);
    gst_object_unref(bus);
    gst_object_unref(overlay.label);
    gst_object_unref(pipeline);
    g_main_loop_unref(loop);
    std::printf("%" G_GUINT64_FORMAT " images shown\n", overlay.frames);
    return platform::ctrlCFlag().load() ? kInterruptedExit : watch.exitCode;
}

}  // namespace tq4::tools
