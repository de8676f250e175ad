#include "telegram/Response.h"

#include <algorithm>
#include <cstring>

#include "log/Log.h"
#include "tq4_genicam.h"

namespace ZEVO_TELEGRAM {

namespace {
// Shown in the short-request message whatever length the handler needs; kept so that the
// lines read as callers of the protocol have always seen them.
constexpr int kReportedMinimum = 8;

// "<origin>: " for a named handler, "" for the shared unsupported answer (its lines start
// with a blank).
const char* separatorAfter(const char* origin) { return origin[0] != '\0' ? ":" : ""; }
}  // namespace

Response::Response(uint16_t code, uint16_t length) : length_(std::min<uint16_t>(length, kMaxTelegramSize)) {
    storeU16(bytes_.data() + kCodeOffset, code);
    storeU16(bytes_.data() + kSizeOffset, length_);
}

Response Response::failure(uint16_t code, uint32_t error) {
    Response response(code, kFailureTelegramSize);
    response.putU32(kPayloadOffset, error);
    return response;
}

void Response::putU16(std::size_t offset, uint16_t value) {
    if (fits(offset, 2)) {
        storeU16(bytes_.data() + offset, value);
    }
}

void Response::putU32(std::size_t offset, uint32_t value) {
    if (fits(offset, 4)) {
        storeU32(bytes_.data() + offset, value);
    }
}

uint32_t Response::u32(std::size_t offset) const { return fits(offset, 4) ? loadU32(bytes_.data() + offset) : 0; }

void Response::putText(std::size_t offset, const std::string& text, std::size_t fieldLength) {
    if (fieldLength == 0 || !fits(offset, fieldLength)) {
        return;
    }
    const std::size_t count = std::min(text.size(), fieldLength - 1);
    std::memcpy(bytes_.data() + offset, text.data(), count);
    std::memset(bytes_.data() + offset + count, 0, fieldLength - count);
}

void Response::putBytes(std::size_t offset, const uint8_t* data, std::size_t count) {
    if (fits(offset, count)) {
        std::memcpy(bytes_.data() + offset, data, count);
    }
}

void Response::seal(uint16_t flag) {
    if (length_ < kEmptyTelegramSize) {
        return;
    }
    bytes_[length_ - 1] = checksumOf(bytes_.data(), length_ - 1u);
    storeU16(bytes_.data() + kCodeOffset, static_cast<uint16_t>(loadU16(bytes_.data()) | flag));
}

void Response::copyTo(uint8_t* out, uint32_t size_out) const {
    if (out == nullptr) {
        return;
    }
    const std::size_t count = std::min<std::size_t>(length_, size_out);
    std::memcpy(out, bytes_.data(), count);
    std::memset(out + count, 0, size_out - count);
}

bool Call::requestHasAtLeast(int32_t needed) const {
    if (request_.sizeIn() >= needed) {
        return true;
    }
    TQ4_LOG(tq4::log::kError, handle_, "%s%s size_in %d smaller than expected: %d.", origin_, separatorAfter(origin_),
            request_.sizeIn(), kReportedMinimum);
    return false;
}

uint32_t Call::send(Response& response, uint16_t flag, uint32_t result) const {
    if (sizeOut_ < response.length()) {
        TQ4_LOG(tq4::log::kError, handle_, "%s%s size_out %d smaller than size of response: %d.", origin_,
                separatorAfter(origin_), static_cast<int>(sizeOut_), static_cast<int>(response.length()));
    }
    response.sealInto(flag, out_, sizeOut_);
    return result;
}

uint32_t Call::sendFailure(uint32_t error) const {
    Response response = Response::failure(code(), error);
    return send(response, kFailureFlag, error);
}

uint32_t Call::sendUnsupported() const {
    Call shared(*this);
    shared.origin_ = "";
    const uint32_t result = shared.sendFailure(ZEVO_ERROR_TELEGRAM_NOTSUPPORTED);
    TQ4_LOG(tq4::log::kVerbose, handle_, " Unsupported command code: 0x%04X, size: %d", static_cast<unsigned>(code()),
            static_cast<int>(request_.size()));
    return result;
}

}  // namespace ZEVO_TELEGRAM
