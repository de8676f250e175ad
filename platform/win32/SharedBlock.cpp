// Named shared memory as page-file-backed file mappings.
#include <windows.h>

#include "platform/Platform.h"

namespace tq4::platform {
namespace {

std::string mappingName(const std::string& name) { return name + getEnvironment("TQ4_SHM_SUFFIX"); }

}  // namespace

// Opened with full access when it exists, created read-write otherwise; mapped whole.
std::unique_ptr<SharedBlock> SharedBlock::openOrCreate(const std::string& name, std::size_t size) {
    if (size == 0) return nullptr;
    const std::string objectName = mappingName(name);
    bool created = false;
    HANDLE mapping = OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, objectName.c_str());
    if (!mapping) {
        mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, static_cast<DWORD>(size),
                                     objectName.c_str());
        if (!mapping) return nullptr;
        created = GetLastError() != ERROR_ALREADY_EXISTS;  // another process may have won the race
    }
    void* view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, size);
    if (!view) {
        CloseHandle(mapping);
        return nullptr;
    }
    std::unique_ptr<SharedBlock> block(new SharedBlock());
    block->data_ = view;
    block->size_ = size;
    block->created_ = created;
    block->handle_ = reinterpret_cast<intptr_t>(mapping);
    return block;
}

SharedBlock::~SharedBlock() {
    if (data_) UnmapViewOfFile(data_);
    if (handle_ != -1) CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

// A mapping's name goes away with its last handle: there is nothing to remove.
void SharedBlock::unlink(const std::string&) {}

}  // namespace tq4::platform
