#include "sim/RegisterMap.h"

#include <algorithm>
#include <cstring>

namespace zevo {
namespace {

template <typename T>
std::vector<uint8_t> toBytes(T value) {
    std::vector<uint8_t> bytes(sizeof(T));
    std::memcpy(bytes.data(), &value, sizeof(T));  // the host is little-endian like the port
    return bytes;
}

template <typename T>
T fromBytes(const std::vector<uint8_t>& bytes) {
    T value{};
    std::memcpy(&value, bytes.data(), sizeof(T));
    return value;
}

}  // namespace

void RegisterMap::add(uint64_t address, Register reg) { registers_[address] = std::move(reg); }

void RegisterMap::addInteger(uint64_t address, IntGetter get, IntSetter set) {
    Register reg;
    reg.length = 8;
    reg.get = [get = std::move(get)] { return toBytes<int64_t>(get()); };
    if (set) reg.set = [set = std::move(set)](const std::vector<uint8_t>& b) { set(fromBytes<int64_t>(b)); };
    add(address, std::move(reg));
}

void RegisterMap::addFloat(uint64_t address, FloatGetter get, FloatSetter set) {
    Register reg;
    reg.length = 8;
    reg.get = [get = std::move(get)] { return toBytes<double>(get()); };
    if (set) reg.set = [set = std::move(set)](const std::vector<uint8_t>& b) { set(fromBytes<double>(b)); };
    add(address, std::move(reg));
}

void RegisterMap::addString(uint64_t address, uint32_t length, StringGetter get, StringSetter set) {
    Register reg;
    reg.length = length;
    reg.get = [get = std::move(get), length] {
        std::vector<uint8_t> bytes(length, 0);
        const std::string text = get();
        std::memcpy(bytes.data(), text.data(), std::min<size_t>(text.size(), length - 1));
        return bytes;
    };
    if (set)
        reg.set = [set = std::move(set)](const std::vector<uint8_t>& b) {
            const auto end = std::find(b.begin(), b.end(), uint8_t(0));
            set(std::string(b.begin(), end));
        };
    add(address, std::move(reg));
}

void RegisterMap::addBlob(uint64_t address, std::shared_ptr<const std::vector<uint8_t>> blob) {
    Register reg;
    reg.length = static_cast<uint32_t>(blob->size());
    reg.get = [blob = std::move(blob)] { return *blob; };
    add(address, std::move(reg));
}

std::map<uint64_t, RegisterMap::Register>::const_iterator RegisterMap::find(uint64_t address) const {
    auto it = registers_.upper_bound(address);
    if (it == registers_.begin()) return registers_.end();
    --it;
    return address < it->first + it->second.length ? it : registers_.end();
}

void RegisterMap::read(uint64_t address, void* buffer, size_t size) const {
    auto* out = static_cast<uint8_t*>(buffer);
    while (size > 0) {
        const auto it = find(address);
        require(it != registers_.end(), GC_ERR_INVALID_ADDRESS, "read of an unmapped address");
        const std::vector<uint8_t> bytes = it->second.get();
        const size_t offset = size_t(address - it->first);
        const size_t n = std::min(size, bytes.size() - offset);
        std::memcpy(out, bytes.data() + offset, n);
        out += n;
        address += n;
        size -= n;
    }
}

void RegisterMap::write(uint64_t address, const void* buffer, size_t size) {
    const auto it = find(address);
    require(it != registers_.end(), GC_ERR_INVALID_ADDRESS, "write to an unmapped address");
    const Register& reg = it->second;
    const size_t offset = size_t(address - it->first);
    require(offset + size <= reg.length, GC_ERR_INVALID_ADDRESS, "write crosses a register end");
    require(bool(reg.set), GC_ERR_ACCESS_DENIED, "register is read-only");
    // A partial write changes only its bytes: read, overlay, write back.
    std::vector<uint8_t> bytes = reg.get();
    std::memcpy(bytes.data() + offset, buffer, size);
    reg.set(bytes);
}

}  // namespace zevo
