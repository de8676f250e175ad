// tq4src: a live GStreamer source over the driver's exports, used as the camera SDK uses them.
// The driver copies each image once, straight into a caller buffer of the element's pool; the
// GStreamer buffer pushed downstream wraps that memory, and the caller buffer is queued to the
// driver again when downstream releases it. No second copy.
#include <gst/base/gstpushsrc.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "gst/CallerBuffers.h"
#include "tools/Commands.h"
#include "tools/ResultNames.h"
#include "tools/Settings.h"

GST_DEBUG_CATEGORY_STATIC(tq4src_debug);
#define GST_CAT_DEFAULT tq4src_debug

namespace tools = tq4::tools;
using tq4::gst::CallerBuffers;

namespace tq4::tools {
// The settings' messages: the debug log, and the last one for the element's error.
thread_local std::string lastComplaint;
void complain(const std::string& text) {
    GST_WARNING("%s", text.c_str());
    lastComplaint = text;
}
}  // namespace tq4::tools

namespace {

constexpr uint32_t kDefaultBuffers = 4;
constexpr uint32_t kDefaultTimeoutMs = 5000;

// Where the camera's clock lies on the pipeline's running time: the running time at which an
// image of the given camera time arrived.
struct CameraAnchor {
    GstClockTime runningNs;
    int64_t cameraNs;
};

// One camera session from start to stop.
struct Session {
    tools::DriverLibrary library;
    std::unique_ptr<tools::CameraSession> camera;
    tools::Geometry geometry;
    uint32_t frameRateMilliHertz = 0;
    std::shared_ptr<CallerBuffers> buffers;
    std::optional<CameraAnchor> anchor;  // with camera-time, from the first stamped image on
    bool unstampedReported = false;
};

struct Properties {
    guint camera = 0;
    std::string cameraName;
    std::string producers;
    std::string library;
    std::string exposure;
    std::string delay;
    std::string region;
    guint binning = 0;
    std::string trigger;
    std::string timestamp;
    bool cameraTime = false;
    std::string bitAlignment = "msb";
    guint buffers = kDefaultBuffers;
    guint timeoutMs = kDefaultTimeoutMs;
};

// The caller buffer behind a pushed GStreamer buffer: queued again when downstream frees it.
struct Lease {
    std::shared_ptr<CallerBuffers> buffers;
    std::size_t index;
};

void returnLease(gpointer data) {
    auto* lease = static_cast<Lease*>(data);
    lease->buffers->giveBack(lease->index);
    delete lease;
}

}  // namespace

G_BEGIN_DECLS
#define TQ4_TYPE_SRC (tq4_src_get_type())
G_DECLARE_FINAL_TYPE(Tq4Src, tq4_src, TQ4, SRC, GstPushSrc)
G_END_DECLS

struct _Tq4Src {
    GstPushSrc parent;
    Properties* properties;
    Session* session;
    std::atomic<bool>* flushing;
    guint64 frames;
};

G_DEFINE_TYPE(Tq4Src, tq4_src, GST_TYPE_PUSH_SRC)

enum {
    PROP_0,
    PROP_CAMERA,
    PROP_CAMERA_NAME,
    PROP_PRODUCERS,
    PROP_LIBRARY,
    PROP_EXPOSURE,
    PROP_DELAY,
    PROP_REGION,
    PROP_BINNING,
    PROP_TRIGGER,
    PROP_TIMESTAMP,
    PROP_CAMERA_TIME,
    PROP_BIT_ALIGNMENT,
    PROP_BUFFERS,
    PROP_TIMEOUT,
    PROP_QUEUED,
};

static GstStaticPadTemplate srcTemplate = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS(GST_VIDEO_CAPS_MAKE("{ GRAY8, GRAY16_LE }")));

namespace {

std::string* stringProperty(Properties& p, guint id) {
    switch (id) {
        case PROP_CAMERA_NAME: return &p.cameraName;
        case PROP_PRODUCERS: return &p.producers;
        case PROP_LIBRARY: return &p.library;
        case PROP_EXPOSURE: return &p.exposure;
        case PROP_DELAY: return &p.delay;
        case PROP_REGION: return &p.region;
        case PROP_TRIGGER: return &p.trigger;
        case PROP_TIMESTAMP: return &p.timestamp;
        case PROP_BIT_ALIGNMENT: return &p.bitAlignment;
        default: return nullptr;
    }
}

guint* numberProperty(Properties& p, guint id) {
    switch (id) {
        case PROP_CAMERA: return &p.camera;
        case PROP_BINNING: return &p.binning;
        case PROP_BUFFERS: return &p.buffers;
        case PROP_TIMEOUT: return &p.timeoutMs;
        default: return nullptr;
    }
}

std::optional<std::string> given(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional<std::string>(text);
}

tools::CameraSettings settingsOf(const Properties& p) {
    tools::CameraSettings settings;
    settings.exposure = given(p.exposure);
    settings.delay = given(p.delay);
    settings.roi = given(p.region);
    if (p.binning != 0) settings.binning = uint16_t(p.binning);
    settings.trigger = given(p.trigger);
    // A camera keeps its time stamp mode: the image data stays untouched unless a stamp is asked
    // for, and buffer times from the camera need the binary stamp.
    settings.timestamp = p.timestamp.empty() ? (p.cameraTime ? "binary" : "none") : p.timestamp;
    settings.bitAlignment = given(p.bitAlignment);
    return settings;
}

// camera-time reads the binary stamp: "binary" or "both".
bool stampsForCameraTime(const Properties& p) {
    return !p.cameraTime || p.timestamp.empty() || p.timestamp == "binary" || p.timestamp == "both";
}

// The driver library: the property's path, else the one beside this plugin (installed:
// <lib>/gstreamer-1.0/../; built: <build>/gst/../driver/), else the dynamic linker's search.
std::string libraryPath(const Properties& p) {
    if (!p.library.empty()) return p.library;
    std::string plugin;
    if (tq4::platform::modulePathOf(reinterpret_cast<const void*>(&libraryPath), plugin)) {
        const std::string folder = plugin.substr(0, plugin.find_last_of(tq4::platform::pathSeparator()) + 1);
        for (const char* relative : {"../libtq4_genicam.so.1", "../driver/libtq4_genicam.so"})
            if (tq4::platform::fileExists(folder + relative)) return folder + relative;
    }
    return "libtq4_genicam.so.1";
}

GstCaps* capsOf(const Session& session) {
    const tools::Geometry& g = session.geometry;
    // 0/1: the frame rate follows triggers or is not known.
    const gint rate = gint(session.frameRateMilliHertz);
    return gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, g.bytesPerPixel == 1 ? "GRAY8" : "GRAY16_LE",
                               "width", G_TYPE_INT, gint(g.width), "height", G_TYPE_INT, gint(g.height), "framerate",
                               GST_TYPE_FRACTION, rate, rate == 0 ? 1 : 1000, nullptr);
}

void postImageMessage(Tq4Src* self, const char* what, uint32_t status) {
    GstStructure* s = gst_structure_new("tq4src-image", "status", G_TYPE_STRING, what, "code", G_TYPE_UINT, status,
                                        "frame", G_TYPE_UINT64, self->frames, nullptr);
    gst_element_post_message(GST_ELEMENT(self), gst_message_new_element(GST_OBJECT(self), s));
}

void endSession(Tq4Src* self) {
    Session* session = self->session;
    self->session = nullptr;
    if (!session) return;
    if (session->buffers) session->buffers->end(self->properties->timeoutMs);
    delete session;  // closes the camera; buffers still held downstream keep their memory
}

// Opens the camera, applies the settings, starts recording and queues the caller buffers.
gboolean openSession(Tq4Src* self) {
    const Properties& p = *self->properties;
    auto session = std::make_unique<Session>();
    std::string error;
    if (!session->library.load(libraryPath(p), error)) {
        GST_ELEMENT_ERROR(self, LIBRARY, INIT, ("The driver library cannot be loaded."), ("%s", error.c_str()));
        return FALSE;
    }
    // Open_Cam gives its number to the first free camera: a camera named by its display name is
    // found by opening the numbers from `camera` on until it answers with that name.
    if (p.cameraName.empty() || p.producers.empty())
        session->camera = std::make_unique<tools::CameraSession>(session->library, p.camera, p.producers);
    else
        session->camera = std::make_unique<tools::CameraSession>(
            session->library, tools::CameraPlace{p.camera, p.producers, 0, p.cameraName});
    if (!session->camera->isOpen()) {
        GST_ELEMENT_ERROR(self, RESOURCE, NOT_FOUND, ("Camera %u cannot be opened.", p.camera),
                          ("Open_Cam: %s%s%s", tools::describeResult(session->camera->openResult()).c_str(),
                           p.producers.empty() ? "" : ", producers ", p.producers.c_str()));
        return FALSE;
    }
    tools::lastComplaint.clear();
    if (!stampsForCameraTime(p)) {
        GST_ELEMENT_ERROR(self, RESOURCE, SETTINGS, ("camera-time needs the binary time stamp."),
                          ("timestamp=%s: use binary or both", p.timestamp.c_str()));
        return FALSE;
    }
    if (!tools::applySettings(*session->camera, settingsOf(p)) || !tools::startRecording(*session->camera) ||
        !tools::readGeometry(*session->camera, session->geometry)) {
        GST_ELEMENT_ERROR(self, RESOURCE, SETTINGS, ("Camera %u refused a setting.", p.camera),
                          ("%s", tools::lastComplaint.c_str()));
        return FALSE;
    }
    if (p.trigger.empty() || p.trigger == "auto")
        session->frameRateMilliHertz = tools::frameRateMilliHertz(*session->camera);
    session->buffers = std::make_shared<CallerBuffers>(session->library, session->camera->handle(), p.buffers,
                                                       session->geometry.bytes());
    self->session = session.release();
    if (!self->session->buffers->queueAll(error)) {
        GST_ELEMENT_ERROR(self, RESOURCE, FAILED, ("Camera %u does not take caller buffers.", p.camera),
                          ("%s", error.c_str()));
        endSession(self);
        return FALSE;
    }
    return TRUE;
}

gboolean startSource(GstBaseSrc* base) {
    Tq4Src* self = TQ4_SRC(base);
    self->frames = 0;
    self->flushing->store(false);
    return openSession(self);
}

gboolean stopSource(GstBaseSrc* base) {
    endSession(TQ4_SRC(base));
    return TRUE;
}

GstCaps* getCaps(GstBaseSrc* base, GstCaps* filter) {
    Tq4Src* self = TQ4_SRC(base);
    GstCaps* caps = self->session ? capsOf(*self->session) : gst_pad_get_pad_template_caps(GST_BASE_SRC_PAD(base));
    if (!filter) return caps;
    GstCaps* both = gst_caps_intersect_full(filter, caps, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(caps);
    return both;
}

gboolean unlock(GstBaseSrc* base) {
    Tq4Src* self = TQ4_SRC(base);
    self->flushing->store(true);
    if (self->session && self->session->buffers) self->session->buffers->wake();
    return TRUE;
}

gboolean unlockStop(GstBaseSrc* base) {
    TQ4_SRC(base)->flushing->store(false);
    return TRUE;
}

// The camera's time of an image in nanoseconds since 1970, from the binary stamp's local date
// and time and microseconds; nothing when the image holds no valid stamp.
std::optional<int64_t> stampedTimeNs(const Session& session, const CallerBuffers::Filled& filled) {
    tq4::stream::StampMoment m;
    if (!tools::readImageStamp(filled.data, filled.bytes, session.geometry, m)) return std::nullopt;
    GTimeZone* local = g_time_zone_new_local();
    GDateTime* time = g_date_time_new(local, m.year, m.month, m.day, m.hour, m.minute, m.second);
    g_time_zone_unref(local);
    if (!time) return std::nullopt;
    const int64_t ns = g_date_time_to_unix(time) * int64_t(GST_SECOND) + int64_t(m.microseconds) * int64_t(GST_USECOND);
    g_date_time_unref(time);
    return ns;
}

std::optional<GstClockTime> runningTimeNow(GstElement* element) {
    GstClock* clock = gst_element_get_clock(element);
    if (!clock) return std::nullopt;
    const GstClockTime now = gst_clock_get_time(clock);
    gst_object_unref(clock);
    const GstClockTime base = gst_element_get_base_time(element);
    return now > base ? now - base : 0;
}

GstStaticCaps unixTimeCaps = GST_STATIC_CAPS("timestamp/x-unix");

// camera-time: the buffer's times follow the camera's clock as the image's binary stamp gives it,
// laid onto the pipeline's running time at the first stamped image (and again when the camera's
// time runs backwards); the camera's absolute time goes with the buffer as a reference time stamp
// "timestamp/x-unix". An image without a stamp keeps its arrival time; the first one is an
// element warning.
void applyCameraTime(Tq4Src* self, const CallerBuffers::Filled& filled, GstBuffer* buffer) {
    Session& session = *self->session;
    const std::optional<int64_t> cameraNs = stampedTimeNs(session, filled);
    if (!cameraNs) {
        if (!session.unstampedReported)
            GST_ELEMENT_WARNING(self, STREAM, DECODE, ("An image carries no binary time stamp."),
                                ("image %" G_GUINT64_FORMAT ": its buffer time is its arrival time", self->frames));
        session.unstampedReported = true;
        return;
    }
    GstCaps* caps = gst_static_caps_get(&unixTimeCaps);
    gst_buffer_add_reference_timestamp_meta(buffer, caps, GstClockTime(*cameraNs), GST_CLOCK_TIME_NONE);
    gst_caps_unref(caps);
    if (!session.anchor || *cameraNs < session.anchor->cameraNs) {
        const std::optional<GstClockTime> running = runningTimeNow(GST_ELEMENT(self));
        if (!running) return;
        session.anchor = CameraAnchor{*running, *cameraNs};
    }
    GST_BUFFER_PTS(buffer) = session.anchor->runningNs + GstClockTime(*cameraNs - session.anchor->cameraNs);
    GST_BUFFER_DTS(buffer) = GST_BUFFER_PTS(buffer);
}

// The caller buffer's memory as a GStreamer buffer; the lease queues it again when freed.
GstBuffer* wrapFilled(Tq4Src* self, const CallerBuffers::Filled& filled) {
    auto* lease = new Lease{self->session->buffers, filled.index};
    GstBuffer* buffer =
        gst_buffer_new_wrapped_full(GstMemoryFlags(0), filled.data, filled.bytes, 0, filled.bytes, lease, returnLease);
    const tools::Geometry& g = self->session->geometry;
    gst_buffer_add_video_meta(buffer, GST_VIDEO_FRAME_FLAG_NONE,
                              g.bytesPerPixel == 1 ? GST_VIDEO_FORMAT_GRAY8 : GST_VIDEO_FORMAT_GRAY16_LE, g.width,
                              g.height);
    if (self->properties->cameraTime) applyCameraTime(self, filled, buffer);
    GST_BUFFER_OFFSET(buffer) = self->frames;
    GST_BUFFER_OFFSET_END(buffer) = self->frames + 1;
    ++self->frames;
    return buffer;
}

GstFlowReturn createBuffer(GstPushSrc* push, GstBuffer** out) {
    Tq4Src* self = TQ4_SRC(push);
    if (!self->session) return GST_FLOW_FLUSHING;
    CallerBuffers& buffers = *self->session->buffers;
    for (;;) {
        CallerBuffers::Filled filled;
        switch (buffers.next(filled, self->properties->timeoutMs, *self->flushing)) {
            case CallerBuffers::Wait::Stopped: return GST_FLOW_FLUSHING;
            case CallerBuffers::Wait::TimedOut:
                GST_ELEMENT_ERROR(
                    self, RESOURCE, READ, ("No image within %u ms.", self->properties->timeoutMs),
                    ("camera %u, %" G_GUINT64_FORMAT " images delivered", self->properties->camera, self->frames));
                return GST_FLOW_ERROR;
            case CallerBuffers::Wait::Filled: break;
        }
        if (filled.status == ZEVO_BUFFER_DONE) {
            *out = wrapFilled(self, filled);
            return GST_FLOW_OK;
        }
        postImageMessage(self, filled.status == ZEVO_BUFFER_CANCELLED ? "cancelled" : "failed", filled.status);
        buffers.giveBack(filled.index);
    }
}

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* definition) {
    Properties& p = *TQ4_SRC(object)->properties;
    if (id == PROP_CAMERA_TIME) {
        p.cameraTime = g_value_get_boolean(value);
    } else if (std::string* text = stringProperty(p, id)) {
        const gchar* given = g_value_get_string(value);
        *text = given ? given : "";
    } else if (guint* number = numberProperty(p, id)) {
        *number = g_value_get_uint(value);
    } else {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, definition);
    }
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* definition) {
    Tq4Src* self = TQ4_SRC(object);
    Properties& p = *self->properties;
    if (id == PROP_QUEUED) {
        const bool running = self->session && self->session->buffers;
        g_value_set_uint(value, running ? guint(self->session->buffers->queuedCount()) : 0);
    } else if (id == PROP_CAMERA_TIME) {
        g_value_set_boolean(value, p.cameraTime);
    } else if (std::string* text = stringProperty(p, id)) {
        g_value_set_string(value, text->c_str());
    } else if (guint* number = numberProperty(p, id)) {
        g_value_set_uint(value, *number);
    } else {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, definition);
    }
}

void finalize(GObject* object) {
    Tq4Src* self = TQ4_SRC(object);
    endSession(self);
    delete self->properties;
    delete self->flushing;
    G_OBJECT_CLASS(tq4_src_parent_class)->finalize(object);
}

constexpr GParamFlags kReadWrite = GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);

void installString(GObjectClass* klass, guint id, const char* name, const char* blurb, const char* fallback) {
    g_object_class_install_property(klass, id, g_param_spec_string(name, name, blurb, fallback, kReadWrite));
}

void installNumber(GObjectClass* klass, guint id, const char* name, const char* blurb, guint min, guint max,
                   guint fallback) {
    g_object_class_install_property(klass, id, g_param_spec_uint(name, name, blurb, min, max, fallback, kReadWrite));
}

}  // namespace

static void tq4_src_class_init(Tq4SrcClass* klass) {
    GObjectClass* object = G_OBJECT_CLASS(klass);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalize;
    installNumber(object, PROP_CAMERA, "camera", "Camera number given to Open_Cam", 0, G_MAXUINT, 0);
    installString(object, PROP_CAMERA_NAME, "camera-name",
                  "The camera's display name (GET_CAMERA_NAME; with producers): numbers from camera on are opened "
                  "until it answers",
                  "");
    installString(object, PROP_PRODUCERS, "producers",
                  "Producer list (A.cti:B.cti) for this camera; empty: the driver's ini file", "");
    installString(object, PROP_LIBRARY, "library", "Path of libtq4_genicam.so; empty: the installed one", "");
    installString(object, PROP_EXPOSURE, "exposure",
                  "Exposure time (10ms, 250us, 1s; a bare number is us); empty keeps the camera's", "");
    installString(object, PROP_DELAY, "delay",
                  "Delay before each exposure, as exposure (0 for the camera's top rate); empty keeps the camera's",
                  "");
    installString(object, PROP_REGION, "region", "Region X0,Y0,X1,Y1 (from 1, inclusive); empty keeps the camera's",
                  "");
    installNumber(object, PROP_BINNING, "binning", "Binning factor for both axes; 0 keeps the camera's", 0, 16, 0);
    installString(object, PROP_TRIGGER, "trigger", "auto, software, external or width; empty keeps the camera's", "");
    installString(object, PROP_TIMESTAMP, "timestamp",
                  "Time stamp in the image: none, binary (frame number and time in the first 14 pixels), both or "
                  "readable; empty: none, or binary with camera-time",
                  "");
    g_object_class_install_property(
        object, PROP_CAMERA_TIME,
        g_param_spec_boolean("camera-time", "camera-time",
                             "Buffer times from the camera's clock, read from the binary time stamp in each image "
                             "(the camera's own, else the driver's from the producer's buffer time), with the "
                             "camera's time as a timestamp/x-unix reference meta; off: arrival times",
                             FALSE, kReadWrite));
    installString(object, PROP_BIT_ALIGNMENT, "bit-alignment",
                  "msb: pixels of 9 to 15 bits at the top of GRAY16 (full range); lsb: as the camera sends them",
                  "msb");
    installNumber(object, PROP_BUFFERS, "buffers", "Caller buffers the driver fills in turn", 2, 64, kDefaultBuffers);
    installNumber(object, PROP_TIMEOUT, "timeout", "Longest wait for an image, ms", 1, G_MAXUINT, kDefaultTimeoutMs);
    g_object_class_install_property(
        object, PROP_QUEUED,
        g_param_spec_uint("queued", "queued", "Caller buffers queued to the driver now", 0, G_MAXUINT, 0,
                          GParamFlags(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));

    GstElementClass* element = GST_ELEMENT_CLASS(klass);
    gst_element_class_set_static_metadata(element, "tq4_genicam camera source", "Source/Video",
                                          "Live images of a GenICam camera through the tq4_genicam driver",
                                          "tq4_genicam");
    gst_element_class_add_static_pad_template(element, &srcTemplate);

    GstBaseSrcClass* base = GST_BASE_SRC_CLASS(klass);
    base->start = startSource;
    base->stop = stopSource;
    base->get_caps = getCaps;
    base->unlock = unlock;
    base->unlock_stop = unlockStop;
    GST_PUSH_SRC_CLASS(klass)->create = createBuffer;
}

static void tq4_src_init(Tq4Src* self) {
    self->properties = new Properties();
    self->session = nullptr;
    self->flushing = new std::atomic<bool>(false);
    self->frames = 0;
    GstBaseSrc* base = GST_BASE_SRC(self);
    gst_base_src_set_live(base, TRUE);
    gst_base_src_set_format(base, GST_FORMAT_TIME);
    // Each buffer carries the pipeline's running time at the moment its image arrived, unless
    // camera-time gives it the camera's.
    gst_base_src_set_do_timestamp(base, TRUE);
}

static gboolean initPlugin(GstPlugin* plugin) {
    GST_DEBUG_CATEGORY_INIT(tq4src_debug, "tq4src", 0, "tq4_genicam camera source");
    return gst_element_register(plugin, "tq4src", GST_RANK_NONE, TQ4_TYPE_SRC);
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, tq4, "tq4_genicam camera source", initPlugin, TQ4_VERSION,
                  "Proprietary", "tq4_genicam", "tq4_genicam")
