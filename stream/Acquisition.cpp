#include "stream/Acquisition.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <system_error>

#include "gentl-module/GenTLCall.h"
#include "gentl-module/GenTLModule.h"
#include "log/Log.h"
#include "platform/Platform.h"
#include "stream/BufferPool.h"
#include "stream/ImageCopy.h"
#include "stream/Timestamp.h"
#include "tq4_genicam.h"

namespace tq4::stream {

using gentl::callGenTL;
using gentl::low32;

namespace {

int asInt(uint64_t value) { return static_cast<int>(value); }

// How a pixel of the caller's image holds its data, given the copy's rules.
struct PixelLayout {
    unsigned bytesPerPixel;
    unsigned shift;  // left shift applied by the copy
    bool copies;     // false: an alignment value that has no copy
    unsigned significantBits;
};

PixelLayout layoutOf(uint32_t bits, uint16_t alignment, bool msb) {
    const unsigned bytesPerPixel = (bits + 7) / 8;
    const unsigned width = bytesPerPixel * 8;
    const bool needsShift = bits < width && alignment == 0 && !msb;
    if (bytesPerPixel != 1 && bytesPerPixel != 2) return {bytesPerPixel, 0, true, bits};
    if (needsShift) return {bytesPerPixel, width - bits, true, width};
    if (bits < width && alignment != 1 && alignment != 0) return {bytesPerPixel, 0, false, bits};
    const bool dataAtTop = msb || alignment == 0;
    return {bytesPerPixel, 0, true, dataAtTop ? width : bits};
}

}  // namespace

Acquisition::Acquisition(std::shared_ptr<gentl::GenTLModule> module, GenTL::DS_HANDLE hDS,
                         const ImageSettings& settings)
    : module_(std::move(module)), hDS_(hDS), settings_(settings) {}

// ---- new-buffer event --------------------------------------------------------------------------

uint32_t Acquisition::registerEvent() {
    unregisterEvent();
    GenTL::EVENT_HANDLE event = nullptr;
    const GenTL::GC_ERROR status = callGenTL(module_->fn().GCRegisterEvent, hDS_, GenTL::EVENT_NEW_BUFFER, &event);
    if (status != GenTL::GC_ERR_SUCCESS) {
        TQ4_LOG(log::kError, nullptr, "DataStream::registerNewBufferEvent: GCRegisterEvent failed: %d", status);
        return kStreamStatusEventFailed;
    }
    if (!event) {
        TQ4_LOG(log::kError, nullptr,
                "DataStream::registerNewBufferEvent: Registration of new buffer event has failed.");
        return kStreamStatusEventFailed;
    }
    newBufferEvent_ = event;
    return ZEVO_NOERROR;
}

void Acquisition::unregisterEvent() {
    if (!newBufferEvent_.exchange(nullptr)) return;
    const GenTL::GC_ERROR status = callGenTL(module_->fn().GCUnregisterEvent, hDS_, GenTL::EVENT_NEW_BUFFER);
    if (status != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "DataStream::unregisterNewBufferEvent: GCUnregisterEvent failed: %d", status);
}

// ---- the thread --------------------------------------------------------------------------------

bool Acquisition::start(bool msb, bool incompleteFails) {
    incompleteFails_ = incompleteFails;
    pending_.open();
    running_.exchange(1);
    TQ4_LOG(log::kDetail, nullptr, "DataStream::startStreaming: start ImageAcquireThread");
    try {
        thread_ = std::thread(&Acquisition::ImageAcquireThread, this, msb);
    } catch (const std::system_error& e) {
        // Without a thread nothing would ever end the buffers.
        TQ4_LOG(log::kError, nullptr, "DataStream::startStreaming: cannot start ImageAcquireThread: %s", e.what());
        running_.exchange(0);
        pending_.closeAndCancelAll();
        unregisterEvent();
        return false;
    }
    return true;
}

void Acquisition::stop() {
    if (!thread_.joinable()) return;
    if (GenTL::EVENT_HANDLE event = newBufferEvent_.load()) callGenTL(module_->fn().EventKill, event);
    running_.exchange(0);
    pending_.wake();
    join();
}

void Acquisition::join() {
    if (!thread_.joinable()) return;
    // The thread never stops itself this way; joining it from inside would never return.
    if (threadId_ == platform::currentThreadId()) {
        TQ4_LOG(log::kError, nullptr, "DataStream::stopStreaming: called from ImageAcquireThread.");
        return;
    }
    thread_.join();
    threadId_ = 0;
}

void Acquisition::resetCounters() {
    imageCounter_ = 0;
    errorCounter_ = 0;
}

void Acquisition::ImageAcquireThread(bool msb) {
    threadId_ = platform::currentThreadId();
    platform::nameCurrentThread("tq4-acquire");
    TQ4_LOG(log::kImageTrace, nullptr, "DataStream::ImageAcquireThread: thread initialized.");
    const gentl::GenTLFunctions& fn = module_->fn();
    const GenTL::EVENT_HANDLE event = newBufferEvent_.load();
    std::shared_ptr<ZevoBuffer> target;
    bool timedOut = false;
    while (running_.load() != 0) {
        if (!timedOut) {
            target = pending_.waitFront(running_);
            if (!target) {
                TQ4_LOG(log::kProgress, nullptr,
                        "DataStream::ImageAcquireThread: Terminating because CancelImages() @%d", asInt(imageCounter_));
                break;
            }
        }
        timedOut = false;
        GenTL::EVENT_NEW_BUFFER_DATA data{};
        std::size_t size = sizeof(data);
        const GenTL::GC_ERROR status = callGenTL(fn.EventGetData, event, &data, &size, kNewBufferTimeoutMs);
        if (status == GenTL::GC_ERR_TIMEOUT) {
            TQ4_LOG(log::kProgress, nullptr, "DataStream::ImageAcquireThread: Timeout @%d (EventGetData: %dms)",
                    asInt(imageCounter_), asInt(kNewBufferTimeoutMs));
            timedOut = true;
            continue;
        }
        if (status == GenTL::GC_ERR_ABORT) {
            target->finish(ZEVO_BUFFER_CANCELLED);
            pending_.removeFront(target);
            TQ4_LOG(log::kProgress, nullptr, "DataStream::ImageAcquireThread: EventGetData @%d was killed.",
                    asInt(imageCounter_));
            break;
        }
        if (status != GenTL::GC_ERR_SUCCESS) {
            ++errorCounter_;
            TQ4_LOG(log::kError, nullptr, "DataStream::ImageAcquireThread: EventGetData @%d failed: %d",
                    asInt(imageCounter_), status);
            std::memset(target->buffer, 0, target->size);
            target->finish(ZEVO_BUFFER_FAILED);
            pending_.removeFront(target);
            continue;
        }
        if (!deliverImage(target, data.BufferHandle, msb)) break;
    }
    TQ4_LOG(log::kProgress, nullptr, "DataStream::ImageAcquireThread: Terminating @%d, ?%d, X%d", asInt(imageCounter_),
            asInt(pending_.count()), asInt(errorCounter_));
    pending_.closeAndCancelAll();
    unregisterEvent();
    TQ4_LOG(log::kImageTrace, nullptr, "DataStream::ImageAcquireThread: done.");
}

// One new image into the front caller buffer; false when the thread has to end.
bool Acquisition::deliverImage(const std::shared_ptr<ZevoBuffer>& target, GenTL::BUFFER_HANDLE buffer, bool msb) {
    const gentl::GenTLFunctions& fn = module_->fn();
    ++imageCounter_;
    logStreamCounters();
    GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
    void* base = nullptr;
    std::size_t size = sizeof(base);
    const GenTL::GC_ERROR status =
        callGenTL(fn.DSGetBufferInfo, hDS_, buffer, GenTL::BUFFER_INFO_BASE, &type, &base, &size);
    if (status != GenTL::GC_ERR_SUCCESS || !base) {
        ++errorCounter_;
        TQ4_LOG(log::kError, nullptr, "DataStream::ImageAcquireThread: Get image base pointer failed: %d", status);
        // The buffer ends with the cancel-all at the thread's end, which sets its event.
        target->writeStatus(ZEVO_BUFFER_FAILED);
        running_.exchange(0);
        return false;
    }
    copyImage(*target, base, msb);
    if (settings_.timestampMode != 0) stampImage(*target, buffer, msb);
    const bool failed = isIncomplete(buffer) && incompleteFails_;
    target->finish(failed ? ZEVO_BUFFER_FAILED : ZEVO_BUFFER_DONE);
    pending_.removeFront(target);
    const GenTL::GC_ERROR requeued = callGenTL(fn.DSQueueBuffer, hDS_, buffer);
    if (requeued != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "DataStream::ImageAcquireThread: DSQueueBuffer @%d failed: %d",
                asInt(imageCounter_), requeued);
    return true;
}

bool Acquisition::isIncomplete(GenTL::BUFFER_HANDLE buffer) {
    GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
    GenTL::bool8_t incomplete = 0;
    std::size_t size = sizeof(incomplete);
    const GenTL::GC_ERROR status = callGenTL(module_->fn().DSGetBufferInfo, hDS_, buffer,
                                             GenTL::BUFFER_INFO_IS_INCOMPLETE, &type, &incomplete, &size);
    if (status != GenTL::GC_ERR_SUCCESS || !incomplete) return false;
    TQ4_LOG(log::kImageTrace, nullptr, "DataStream::ImageAcquireThread: image @%d is incomplete%s",
            asInt(imageCounter_), incompleteFails_ ? ", delivered as failed" : "");
    return true;
}

void Acquisition::logStreamCounters() {
    uint64_t underrun = 0;
    uint64_t delivered = 0;
    GenTL::GC_ERROR status = streamInfo(*module_, hDS_, GenTL::STREAM_INFO_NUM_UNDERRUN, underrun);
    if (status != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "getDatastreamInfo: STREAM_INFO_NUM_UNDERRUN failed: %d", status);
    status = streamInfo(*module_, hDS_, GenTL::STREAM_INFO_NUM_DELIVERED, delivered);
    if (status != GenTL::GC_ERR_SUCCESS)
        TQ4_LOG(log::kError, nullptr, "getDatastreamInfo: STREAM_INFO_NUM_DELIVERED failed: %d", status);
    TQ4_LOG(log::kImageTrace, nullptr, "new buffer event @%d, delivered: %d, underrun: %d", asInt(imageCounter_),
            asInt(delivered), asInt(underrun));
}

void Acquisition::copyImage(const ZevoBuffer& target, const void* source, bool msb) {
    const uint64_t payload = settings_.payloadSize;
    const PixelLayout layout = layoutOf(settings_.bitsPerPixel, settings_.bitAlignment, msb);
    uint64_t bytes = payload;
    if (target.size < payload) {
        TQ4_LOG(log::kImageTrace, nullptr, "DataStream::copyImage: target buffer @%d too small: %d Bytes",
                asInt(imageCounter_), asInt(target.size));
        bytes = target.size;
    }
    TQ4_LOG(log::kImageTrace, nullptr, "DataStream::copyImage: copy %d-Byte-per-Pixel @%d (img_ptr: 0x%p to 0x%x)",
            asInt(layout.bytesPerPixel), asInt(imageCounter_), source, low32(target.buffer));
    if (layout.copies)
        copyShifted(target.buffer, source, static_cast<std::size_t>(bytes), layout.shift ? layout.bytesPerPixel : 1,
                    layout.shift);
    if (target.size > payload) {
        TQ4_LOG(log::kImageTrace, nullptr, "DataStream::copyImage: target buffer @%d too big: %d Bytes",
                asInt(imageCounter_), asInt(target.size));
        std::memset(static_cast<uint8_t*>(target.buffer) + payload, 0, target.size - payload);
    }
}

void Acquisition::stampImage(const ZevoBuffer& target, GenTL::BUFFER_HANDLE buffer, bool msb) {
    GenTL::INFO_DATATYPE type = GenTL::INFO_DATATYPE_UNKNOWN;
    uint64_t nanoseconds = 0;
    std::size_t size = sizeof(nanoseconds);
    const GenTL::GC_ERROR status = callGenTL(module_->fn().DSGetBufferInfo, hDS_, buffer,
                                             GenTL::BUFFER_INFO_TIMESTAMP_NS, &type, &nanoseconds, &size);
    if (status != GenTL::GC_ERR_SUCCESS || nanoseconds == 0) {
        TQ4_LOG(log::kError, nullptr, "DataStream::ImageAcquireThread: Get timestamp from BufferInfo failed: %d",
                status);
        return;
    }
    const StampMoment moment = stampMomentAt(imageCounter_, nanoseconds);
    const PixelLayout layout = layoutOf(settings_.bitsPerPixel, settings_.bitAlignment, msb);
    const StampPixels pixels{layout.bytesPerPixel == 2 ? 2u : 1u, layout.significantBits};
    const std::size_t bytes = static_cast<std::size_t>(std::min<uint64_t>(target.size, settings_.payloadSize));
    const uint16_t mode = settings_.timestampMode;
    if (mode == 1 || mode == 2) writeBinaryStamp(target.buffer, bytes, pixels, moment);
    if (mode == 2 || mode == 3)
        writeReadableStamp(target.buffer, bytes, pixels, static_cast<uint64_t>(settings_.width.load()),
                           static_cast<uint64_t>(settings_.height.load()), moment);
}

}  // namespace tq4::stream
