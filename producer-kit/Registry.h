// The table that turns handles into modules. A handle is the address of its module object;
// only handles in the registry are accepted, so unknown, closed or foreign handles get
// GC_ERR_INVALID_HANDLE instead of a crash. `Module` has `kind()` and `handle()`.
#pragma once

#include "producer-kit/Common.h"

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace gentlkit {

template <typename Module>
class Registry {
public:
    void add(const std::shared_ptr<Module>& module) {
        std::lock_guard<std::mutex> lock(mutex_);
        modules_[module->handle()] = module;
    }
    void remove(const void* handle) {
        std::lock_guard<std::mutex> lock(mutex_);
        modules_.erase(handle);
    }
    void remove(const std::vector<void*>& handles) {
        for (void* h : handles) remove(h);
    }
    // The modules die outside the lock: their destructors may look handles up.
    void clear() {
        std::unordered_map<const void*, std::shared_ptr<Module>> doomed;
        std::lock_guard<std::mutex> lock(mutex_);
        doomed.swap(modules_);
    }
    std::shared_ptr<Module> find(const void* handle) const {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto it = modules_.find(handle);
        return it == modules_.end() ? nullptr : it->second;
    }

    // The module of that handle and kind; throws GC_ERR_INVALID_HANDLE otherwise.
    template <typename T, typename Kind>
    std::shared_ptr<T> get(const void* handle, Kind kind) const {
        const auto module = find(handle);
        require(module && module->kind() == kind, GC_ERR_INVALID_HANDLE, "unknown handle");
        return std::static_pointer_cast<T>(module);
    }

private:
    mutable std::mutex mutex_;
    std::unordered_map<const void*, std::shared_ptr<Module>> modules_;
};

}  // namespace gentlkit
