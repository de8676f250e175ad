// Exported GenTL functions of the data stream module, its buffers and the event objects, the
// same in every producer built on this kit.
#include "producer-kit/Exports.h"
#include "producer-kit/StreamModule.h"

#include <cstring>

using namespace gentlkit;

namespace {

std::shared_ptr<StreamModule> stream(DS_HANDLE h) { return lookup<StreamModule>(h, ModuleKind::Stream); }
std::shared_ptr<BufferModule> buffer(BUFFER_HANDLE h) { return lookup<BufferModule>(h, ModuleKind::Buffer); }
std::shared_ptr<NewBufferEvent> event(EVENT_HANDLE h) { return lookup<NewBufferEvent>(h, ModuleKind::Event); }

// The stream and one of its own buffers; a foreign buffer is an invalid handle.
std::pair<std::shared_ptr<StreamModule>, std::shared_ptr<BufferModule>> streamBuffer(DS_HANDLE ds, BUFFER_HANDLE b) {
    auto s = stream(ds);
    auto buf = buffer(b);
    require(buf->owner == s.get(), GC_ERR_INVALID_HANDLE, "buffer belongs to another data stream");
    return {s, buf};
}

void registerBuffer(const std::shared_ptr<BufferModule>& b, BUFFER_HANDLE* phBuffer) {
    producerLibrary().registry().add(b);
    *phBuffer = b->handle();
}

// Segment information of a contiguous buffer: it is its own single segment.
BUFFER_INFO_CMD segmentCommand(SEGMENT_INFO_CMD command) {
    switch (command) {
        case SEGMENT_INFO_BASE: return BUFFER_INFO_BASE;
        case SEGMENT_INFO_SIZE: return BUFFER_INFO_SIZE;
        case SEGMENT_INFO_IS_INCOMPLETE: return BUFFER_INFO_IS_INCOMPLETE;
        case SEGMENT_INFO_SIZE_FILLED: return BUFFER_INFO_SIZE_FILLED;
        case SEGMENT_INFO_DATA_SIZE: return BUFFER_INFO_DATA_SIZE;
        default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown segment info command");
    }
}

}  // namespace

// ---- buffers -----------------------------------------------------------------------------

GC_ERROR GC_CALLTYPE GenTL::DSAnnounceBuffer(DS_HANDLE hDataStream, void* pBuffer, size_t iSize, void* pPrivate,
                                             BUFFER_HANDLE* phBuffer) {
    return guarded("DSAnnounceBuffer", [&] {
        requirePointer(phBuffer);
        registerBuffer(stream(hDataStream)->announce(pBuffer, iSize, pPrivate), phBuffer);
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSAllocAndAnnounceBuffer(DS_HANDLE hDataStream, size_t iSize, void* pPrivate,
                                                     BUFFER_HANDLE* phBuffer) {
    return guarded("DSAllocAndAnnounceBuffer", [&] {
        requirePointer(phBuffer);
        registerBuffer(stream(hDataStream)->allocateAndAnnounce(iSize, pPrivate), phBuffer);
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSRevokeBuffer(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, void** pBuffer,
                                           void** pPrivate) {
    return guarded("DSRevokeBuffer", [&] {
        auto [s, b] = streamBuffer(hDataStream, hBuffer);
        s->revoke(*b, pBuffer, pPrivate);
        producerLibrary().registry().remove(hBuffer);
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSQueueBuffer(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer) {
    return guarded("DSQueueBuffer", [&] {
        auto [s, b] = streamBuffer(hDataStream, hBuffer);
        s->queue(*b);
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSFlushQueue(DS_HANDLE hDataStream, ACQ_QUEUE_TYPE iOperation) {
    return guarded("DSFlushQueue", [&] { stream(hDataStream)->flush(iOperation); });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetBufferID(DS_HANDLE hDataStream, uint32_t iIndex, BUFFER_HANDLE* phBuffer) {
    return guarded("DSGetBufferID",
                   [&] { setOutput<void*>(phBuffer, stream(hDataStream)->bufferAt(iIndex)->handle()); });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetBufferInfo(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, BUFFER_INFO_CMD iInfoCmd,
                                            INFO_DATATYPE* piType, void* pBuffer, size_t* piSize) {
    return guarded("DSGetBufferInfo", [&] {
        auto [s, b] = streamBuffer(hDataStream, hBuffer);
        deliverInfo(s->bufferInfo(*b, iInfoCmd), piType, pBuffer, piSize);
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetBufferInfoStacked(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer,
                                                   DS_BUFFER_INFO_STACKED* pInfoStacked, size_t iNumInfos) {
    return guarded("DSGetBufferInfoStacked", [&] {
        requirePointer(pInfoStacked);
        require(iNumInfos > 0, GC_ERR_INVALID_PARAMETER, "no entries");
        auto [s, b] = streamBuffer(hDataStream, hBuffer);
        for (size_t i = 0; i < iNumInfos; ++i) {
            DS_BUFFER_INFO_STACKED& e = pInfoStacked[i];
            try {
                size_t size = e.iSize;
                INFO_DATATYPE type = INFO_DATATYPE_UNKNOWN;
                deliverInfo(s->bufferInfo(*b, e.iInfoCmd), &type, e.pBuffer, &size);
                e.iSize = size;
                e.iType = type;
                e.iResult = GC_ERR_SUCCESS;
            } catch (const GenTLError& err) {
                e.iResult = err.code();
            }
        }
    });
}

// ---- acquisition and stream --------------------------------------------------------------

GC_ERROR GC_CALLTYPE GenTL::DSStartAcquisition(DS_HANDLE hDataStream, ACQ_START_FLAGS iStartFlags,
                                               uint64_t iNumToAcquire) {
    return guarded("DSStartAcquisition", [&] {
        require(iStartFlags == ACQ_START_FLAGS_DEFAULT, GC_ERR_INVALID_PARAMETER, "unknown start flags");
        stream(hDataStream)->start(iNumToAcquire);
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSStopAcquisition(DS_HANDLE hDataStream, ACQ_STOP_FLAGS iStopFlags) {
    return guarded("DSStopAcquisition", [&] { stream(hDataStream)->stop(iStopFlags); });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetInfo(DS_HANDLE hDataStream, STREAM_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                                      void* pBuffer, size_t* piSize) {
    return guarded("DSGetInfo", [&] { deliverInfo(stream(hDataStream)->info(iInfoCmd), piType, pBuffer, piSize); });
}

GC_ERROR GC_CALLTYPE GenTL::DSClose(DS_HANDLE hDataStream) {
    return guarded("DSClose", [&] {
        const auto s = stream(hDataStream);
        std::vector<void*> released;
        if (const auto d = s->parentDevice())
            d->streamClosed(*s, released);
        else
            s->close(released), released.push_back(s->handle());
        producerLibrary().release(released);
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetParentDev(DS_HANDLE hDataStream, DEV_HANDLE* phDevice) {
    return guarded("DSGetParentDev", [&] {
        const auto d = stream(hDataStream)->parentDevice();
        require(d != nullptr, GC_ERR_INVALID_HANDLE, "device closed");
        setOutput<void*>(phDevice, d->handle());
    });
}

// ---- what a plain image stream does not have: chunks, parts, flows, composite buffers -----

GC_ERROR GC_CALLTYPE GenTL::DSGetBufferChunkData(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, SINGLE_CHUNK_DATA*,
                                                 size_t* piNumChunks) {
    return guarded("DSGetBufferChunkData", [&] {
        streamBuffer(hDataStream, hBuffer);
        requirePointer(piNumChunks);
        throw GenTLError(GC_ERR_NO_DATA, "the buffer holds no chunk data");
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetNumBufferParts(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, uint32_t* piNumParts) {
    return guarded("DSGetNumBufferParts", [&] {
        streamBuffer(hDataStream, hBuffer);
        requirePointer(piNumParts);
        throw GenTLError(GC_ERR_NO_DATA, "not a multi-part buffer");
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetBufferPartInfo(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, uint32_t,
                                                BUFFER_PART_INFO_CMD, INFO_DATATYPE*, void*, size_t*) {
    return guarded("DSGetBufferPartInfo", [&] {
        streamBuffer(hDataStream, hBuffer);
        throw GenTLError(GC_ERR_NO_DATA, "not a multi-part buffer");
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetBufferPartInfoStacked(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer,
                                                       DS_BUFFER_PART_INFO_STACKED*, size_t) {
    return guarded("DSGetBufferPartInfoStacked", [&] {
        streamBuffer(hDataStream, hBuffer);
        throw GenTLError(GC_ERR_NO_DATA, "not a multi-part buffer");
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSAnnounceCompositeBuffer(DS_HANDLE hDataStream, size_t iNumSegments, void**, size_t*,
                                                      void*, BUFFER_HANDLE*) {
    return guarded("DSAnnounceCompositeBuffer", [&] {
        stream(hDataStream);
        require(iNumSegments > 0, GC_ERR_INVALID_PARAMETER, "no segments");
        throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "composite buffers are not supported");
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetNumFlows(DS_HANDLE hDataStream, uint32_t*) {
    return guarded("DSGetNumFlows", [&] {
        stream(hDataStream);
        throw GenTLError(GC_ERR_NO_DATA, "no flows in this stream");
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetFlowInfo(DS_HANDLE hDataStream, uint32_t, FLOW_INFO_CMD, INFO_DATATYPE*, void*,
                                          size_t*) {
    return guarded("DSGetFlowInfo", [&] {
        stream(hDataStream);
        throw GenTLError(GC_ERR_NO_DATA, "no flows in this stream");
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetNumBufferSegments(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer,
                                                   uint32_t* piNumSegments) {
    return guarded("DSGetNumBufferSegments", [&] {
        streamBuffer(hDataStream, hBuffer);
        setOutput(piNumSegments, uint32_t(1));
    });
}

GC_ERROR GC_CALLTYPE GenTL::DSGetBufferSegmentInfo(DS_HANDLE hDataStream, BUFFER_HANDLE hBuffer, uint32_t iSegmentIndex,
                                                   SEGMENT_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pBuffer,
                                                   size_t* piSize) {
    return guarded("DSGetBufferSegmentInfo", [&] {
        auto [s, b] = streamBuffer(hDataStream, hBuffer);
        require(iSegmentIndex == 0, GC_ERR_INVALID_INDEX, "a contiguous buffer has one segment");
        deliverInfo(s->bufferInfo(*b, segmentCommand(iInfoCmd)), piType, pBuffer, piSize);
    });
}

// ---- events ------------------------------------------------------------------------------

GC_ERROR GC_CALLTYPE GenTL::GCRegisterEvent(EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID, EVENT_HANDLE* phEvent) {
    return guarded("GCRegisterEvent", [&] {
        const auto source = producerLibrary().registry().find(hEventSrc);
        require(source && source->kind() != ModuleKind::RemotePort && source->kind() != ModuleKind::Event,
                GC_ERR_INVALID_HANDLE, "not an event source");
        requirePointer(phEvent);
        require(source->kind() == ModuleKind::Stream && iEventID == EVENT_NEW_BUFFER, GC_ERR_NOT_IMPLEMENTED,
                "only new-buffer events on data streams are supported");
        const auto e = std::static_pointer_cast<StreamModule>(source)->registerEvent();
        producerLibrary().registry().add(e);
        *phEvent = e->handle();
    });
}

GC_ERROR GC_CALLTYPE GenTL::GCUnregisterEvent(EVENTSRC_HANDLE hEventSrc, EVENT_TYPE iEventID) {
    return guarded("GCUnregisterEvent", [&] {
        const auto source = producerLibrary().registry().find(hEventSrc);
        require(source && source->kind() != ModuleKind::RemotePort && source->kind() != ModuleKind::Event,
                GC_ERR_INVALID_HANDLE, "not an event source");
        require(source->kind() == ModuleKind::Stream && iEventID == EVENT_NEW_BUFFER, GC_ERR_NOT_IMPLEMENTED,
                "only new-buffer events on data streams are supported");
        producerLibrary().registry().remove(std::static_pointer_cast<StreamModule>(source)->unregisterEvent());
    });
}

GC_ERROR GC_CALLTYPE GenTL::EventGetData(EVENT_HANDLE hEvent, void* pBuffer, size_t* piSize, uint64_t iTimeout) {
    return guarded("EventGetData", [&] {
        const auto e = event(hEvent);
        requirePointer(piSize);
        require(pBuffer == nullptr || *piSize >= sizeof(EVENT_NEW_BUFFER_DATA), GC_ERR_BUFFER_TOO_SMALL,
                "event data needs more room");
        const auto s = e->stream.lock();
        require(s != nullptr, GC_ERR_ABORT, "data stream closed");
        BufferModule* filled = nullptr;
        const GC_ERROR rc = s->waitNewBuffer(*e, iTimeout, filled);
        if (rc == GC_ERR_TIMEOUT) throw GenTLError(rc, "no new buffer within the time-out");
        if (rc != GC_ERR_SUCCESS) throw GenTLError(rc, "wait aborted");
        if (pBuffer) {
            EVENT_NEW_BUFFER_DATA data{filled->handle(), filled->userPointer};
            std::memcpy(pBuffer, &data, sizeof(data));
        }
        *piSize = sizeof(EVENT_NEW_BUFFER_DATA);
    });
}

GC_ERROR GC_CALLTYPE GenTL::EventGetDataInfo(EVENT_HANDLE hEvent, const void* pInBuffer, size_t iInSize,
                                             EVENT_DATA_INFO_CMD iInfoCmd, INFO_DATATYPE* piType, void* pOutBuffer,
                                             size_t* piOutSize) {
    return guarded("EventGetDataInfo", [&] {
        event(hEvent);
        requirePointer(pInBuffer);
        require(iInSize >= sizeof(EVENT_NEW_BUFFER_DATA), GC_ERR_INVALID_PARAMETER, "event data too short");
        EVENT_NEW_BUFFER_DATA data;
        std::memcpy(&data, pInBuffer, sizeof(data));
        switch (iInfoCmd) {
            case EVENT_DATA_ID: return deliverInfo(infoPtr(data.BufferHandle), piType, pOutBuffer, piOutSize);
            case EVENT_DATA_VALUE: return deliverInfo(infoPtr(data.pUserPointer), piType, pOutBuffer, piOutSize);
            case EVENT_DATA_NUMID: throw GenTLError(GC_ERR_NOT_AVAILABLE, "a buffer handle has no numeric ID");
            default: throw GenTLError(GC_ERR_NOT_IMPLEMENTED, "unknown event data info command");
        }
    });
}

GC_ERROR GC_CALLTYPE GenTL::EventGetInfo(EVENT_HANDLE hEvent, EVENT_INFO_CMD iInfoCmd, INFO_DATATYPE* piType,
                                         void* pBuffer, size_t* piSize) {
    return guarded("EventGetInfo", [&] {
        const auto e = event(hEvent);
        const auto s = e->stream.lock();
        require(s != nullptr, GC_ERR_INVALID_HANDLE, "data stream closed");
        deliverInfo(s->eventInfo(*e, iInfoCmd), piType, pBuffer, piSize);
    });
}

GC_ERROR GC_CALLTYPE GenTL::EventFlush(EVENT_HANDLE hEvent) {
    return guarded("EventFlush", [&] {
        if (const auto s = event(hEvent)->stream.lock()) s->flushEvent();
    });
}

GC_ERROR GC_CALLTYPE GenTL::EventKill(EVENT_HANDLE hEvent) {
    return guarded("EventKill", [&] {
        const auto e = event(hEvent);
        if (const auto s = e->stream.lock()) s->kill(*e);
    });
}
