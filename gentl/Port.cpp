#include "gentl/Port.h"

#include "gentl-module/GenTLCall.h"
#include "gentl-module/GenTLModule.h"
#include "log/Log.h"

namespace tq4::gentl {

Port::Port(std::shared_ptr<GenTLModule> module, GenTL::PORT_HANDLE hPort) : module_(std::move(module)), hPort_(hPort) {}

Port::AccessMode Port::GetAccessMode() const { return hPort_ ? AccessMode::RW : AccessMode::NA; }

void Port::Read(void* buffer, int64_t address, int64_t length) {
    if (!hPort_) {
        TQ4_LOG(log::kError, nullptr, "Port::Read: GenTL Port has been closed.");
        return;
    }
    std::size_t size = static_cast<std::size_t>(length);
    const GenTL::GC_ERROR status =
        callGenTL(module_->fn().GCReadPort, hPort_, static_cast<uint64_t>(address), buffer, &size);
    if (status != GenTL::GC_ERR_SUCCESS) TQ4_LOG(log::kError, nullptr, "Port::Read: GCReadPort failed: %d", status);
    if (size != static_cast<std::size_t>(length))
        TQ4_LOG(log::kError, nullptr, "Port::Read: Returned size (%d) not as expected: %d.", static_cast<int>(size),
                static_cast<int>(length));
}

void Port::Write(const void* buffer, int64_t address, int64_t length) {
    if (!hPort_) {
        TQ4_LOG(log::kError, nullptr, "Port::Write: GenTL Port has been closed.");
        return;
    }
    std::size_t size = static_cast<std::size_t>(length);
    const GenTL::GC_ERROR status =
        callGenTL(module_->fn().GCWritePort, hPort_, static_cast<uint64_t>(address), buffer, &size);
    if (status != GenTL::GC_ERR_SUCCESS) TQ4_LOG(log::kError, nullptr, "Port::Write: GCWritePort failed: %d", status);
    if (size != static_cast<std::size_t>(length))
        TQ4_LOG(log::kError, nullptr, "Port::Write: Returned size not as expected.");
}

}  // namespace tq4::gentl
