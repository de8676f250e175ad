// A little-endian register space: typed registers at fixed addresses, each with a getter and
// (when writable) a setter, plus read-only blobs such as the zipped camera description.
// The map itself holds no lock; its owner serialises access.
#pragma once

#include "sim/Common.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zevo {

class RegisterMap {
public:
    using IntGetter = std::function<int64_t()>;
    using IntSetter = std::function<void(int64_t)>;  // throws GenTLError to refuse
    using FloatGetter = std::function<double()>;
    using FloatSetter = std::function<void(double)>;
    using StringGetter = std::function<std::string()>;
    using StringSetter = std::function<void(const std::string&)>;

    void addInteger(uint64_t address, IntGetter get, IntSetter set = nullptr);    // 8 bytes
    void addFloat(uint64_t address, FloatGetter get, FloatSetter set = nullptr);  // 8 bytes
    void addString(uint64_t address, uint32_t length, StringGetter get, StringSetter set = nullptr);
    void addBlob(uint64_t address, std::shared_ptr<const std::vector<uint8_t>> blob);

    // Both throw GenTLError: GC_ERR_INVALID_ADDRESS for unmapped bytes, GC_ERR_ACCESS_DENIED
    // for writes to read-only registers, whatever a setter throws.
    void read(uint64_t address, void* buffer, size_t size) const;
    void write(uint64_t address, const void* buffer, size_t size);

private:
    struct Register {
        uint32_t length = 0;
        std::function<std::vector<uint8_t>()> get;
        std::function<void(const std::vector<uint8_t>&)> set;  // null: read-only
    };
    void add(uint64_t address, Register reg);
    // The register containing `address`, or end().
    std::map<uint64_t, Register>::const_iterator find(uint64_t address) const;

    std::map<uint64_t, Register> registers_;
};

}  // namespace zevo
