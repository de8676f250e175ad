// The camera's register port as the node map sees it: reads and writes go to the producer's
// GCReadPort/GCWritePort. Failures are logged and never raised; the node map then sees
// whatever stands in its buffer.
#pragma once

#include <cstdint>
#include <memory>

#include "features/NodeMap.h"
#include "gentl-module/GenTL.h"

namespace tq4::gentl {

class GenTLModule;

class Port : public features::RegisterPort {
public:
    enum class AccessMode { NA, RW };

    Port(std::shared_ptr<GenTLModule> module, GenTL::PORT_HANDLE hPort);

    // RW while the port handle is set, NA otherwise.
    AccessMode GetAccessMode() const;
    void Read(void* buffer, int64_t address, int64_t length) override;
    void Write(const void* buffer, int64_t address, int64_t length) override;

    GenTL::PORT_HANDLE handle() const { return hPort_; }

private:
    std::shared_ptr<GenTLModule> module_;
    GenTL::PORT_HANDLE hPort_;
};

}  // namespace tq4::gentl
