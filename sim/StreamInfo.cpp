// Answers of DSGetInfo and DSGetBufferInfo.
#include "sim/Stream.h"

namespace zevo {

InfoValue Stream::info(STREAM_INFO_CMD command) const {
    const size_t payload = camera_->payloadSize();
    std::lock_guard<std::mutex> lock(mutex_);
    const auto countState = [this](BufferState state) {
        size_t n = 0;
        for (const auto& b : buffers_) n += b->state == state ? 1 : 0;
        return n;
    };
    switch (command) {
        case STREAM_INFO_ID: return infoString(id_);
        case STREAM_INFO_NUM_DELIVERED: return infoUInt64(delivered_);
        case STREAM_INFO_NUM_UNDERRUN: return infoUInt64(underrun_);
        case STREAM_INFO_NUM_ANNOUNCED: return infoSize(buffers_.size());
        case STREAM_INFO_NUM_QUEUED:
            return infoSize(countState(BufferState::InputPool) + countState(BufferState::Filling));
        case STREAM_INFO_NUM_AWAIT_DELIVERY: return infoSize(output_.size());
        case STREAM_INFO_NUM_STARTED: return infoUInt64(started_);
        case STREAM_INFO_PAYLOAD_SIZE: return infoSize(payload);
        case STREAM_INFO_IS_GRABBING: return infoBool(grabbing_ && !stopRequested_ && acquired_ < toAcquire_);
        case STREAM_INFO_DEFINES_PAYLOADSIZE: return infoBool(config_.definesPayloadSize);
        case STREAM_INFO_TLTYPE: return infoString(TLTypeCustomName);
        case STREAM_INFO_NUM_CHUNKS_MAX: return infoSize(0);
        case STREAM_INFO_BUF_ANNOUNCE_MIN: return infoSize(config_.bufAnnounceMin);
        case STREAM_INFO_BUF_ALIGNMENT: return infoSize(1);
        case STREAM_INFO_FLOW_TABLE:
        case STREAM_INFO_GENDC_PREFETCH_DESCRIPTOR: throw GenTLError(GC_ERR_NO_DATA, "no GenDC flows in this stream");
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown stream info command");
    }
}

InfoValue Stream::bufferInfo(const BufferModule& buffer, BUFFER_INFO_CMD command) const {
    requireOwn(buffer);
    std::lock_guard<std::mutex> lock(mutex_);
    const FillResult& f = buffer.fill;
    const ImageGeometry& g = f.geometry;
    const bool filled = g.format != nullptr;
    const size_t rowBytes = filled ? size_t(g.width) * bytesPerPixel(g.format->bits) : 0;
    switch (command) {
        case BUFFER_INFO_BASE:
            if (const auto fault = faults_.fire("BUFFER_INFO_BASE")) {
                if (*fault != GC_ERR_SUCCESS) throw GenTLError(*fault, "injected fault");
                return infoPtr(nullptr);
            }
            return infoPtr(buffer.base);
        case BUFFER_INFO_SIZE: return infoSize(buffer.size);
        case BUFFER_INFO_USER_PTR: return infoPtr(buffer.userPointer);
        case BUFFER_INFO_TIMESTAMP: return infoUInt64(f.timestampTicks);
        case BUFFER_INFO_NEW_DATA: return infoBool(f.newData);
        case BUFFER_INFO_IS_QUEUED: return infoBool(buffer.state != BufferState::Announced);
        case BUFFER_INFO_IS_ACQUIRING: return infoBool(buffer.state == BufferState::Filling);
        case BUFFER_INFO_IS_INCOMPLETE: return infoBool(f.incomplete);
        case BUFFER_INFO_TLTYPE: return infoString(TLTypeCustomName);
        case BUFFER_INFO_SIZE_FILLED: return infoSize(f.sizeFilled);
        case BUFFER_INFO_WIDTH: return infoSize(g.width);
        case BUFFER_INFO_HEIGHT: return infoSize(g.height);
        case BUFFER_INFO_XOFFSET: return infoSize(g.offsetX);
        case BUFFER_INFO_YOFFSET: return infoSize(g.offsetY);
        case BUFFER_INFO_XPADDING:
        case BUFFER_INFO_YPADDING:
        case BUFFER_INFO_IMAGEOFFSET:
        case BUFFER_INFO_DELIVERED_CHUNKPAYLOADSIZE: return infoSize(0);
        case BUFFER_INFO_FRAMEID: return infoUInt64(f.frameId);
        case BUFFER_INFO_IMAGEPRESENT: return infoBool(filled);
        case BUFFER_INFO_PAYLOADTYPE: return infoSize(PAYLOAD_TYPE_IMAGE);
        case BUFFER_INFO_PIXELFORMAT: return infoUInt64(filled ? g.format->pfnc : 0);
        case BUFFER_INFO_PIXELFORMAT_NAMESPACE: return infoUInt64(PIXELFORMAT_NAMESPACE_PFNC_32BIT);
        case BUFFER_INFO_DELIVERED_IMAGEHEIGHT: return infoSize(rowBytes ? f.sizeFilled / rowBytes : 0);
        case BUFFER_INFO_CHUNKLAYOUTID: return infoUInt64(0);
        case BUFFER_INFO_FILENAME: throw GenTLError(GC_ERR_NO_DATA, "the buffer holds no file");
        case BUFFER_INFO_PIXEL_ENDIANNESS: return infoInt32(PIXELENDIANNESS_LITTLE);
        case BUFFER_INFO_DATA_SIZE: return infoSize(f.dataSize);
        case BUFFER_INFO_TIMESTAMP_NS: return infoUInt64(f.timestampNs);
        case BUFFER_INFO_DATA_LARGER_THAN_BUFFER: return infoBool(f.largerThanBuffer);
        case BUFFER_INFO_CONTAINS_CHUNKDATA:
        case BUFFER_INFO_IS_COMPOSITE: return infoBool(false);
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown buffer info command");
    }
}

}  // namespace zevo
