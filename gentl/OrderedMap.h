// A map from an ID text to a shared object that keeps the order of first registration.
//
// The transport maps (interfaces of a system, devices of an interface, streams of a device)
// are walked to pick "the first free device" and to find a device by handle or number. A plain
// hash map would reorder its walk whenever it rehashes, so which camera receives which number
// could change as cameras appear. Here the walk order is fixed: entries are walked in the order
// in which their ID was first stored; replacing an entry keeps its place. Lookup by ID goes
// through a hash index that starts with 8 buckets and a maximum load factor of 1.0.
//
// The map guards its own structure with a short internal lock, so that a registry lookup can
// walk a snapshot while a refresh on another thread adds entries; the refresh and open work of
// the owners is serialised by their own (longer held) mutexes, not by this one.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace tq4::gentl {

template <typename T>
class OrderedMap {
public:
    OrderedMap() : index_(8) { index_.max_load_factor(1.0f); }
    ~OrderedMap() { clear(); }
    OrderedMap(const OrderedMap&) = delete;
    OrderedMap& operator=(const OrderedMap&) = delete;

    // Stores `value` under `id`, replacing an existing entry in place. The replaced object is
    // released after the lock is dropped (its destructor may call into the producer).
    void put(const std::string& id, std::shared_ptr<T> value) {
        std::unique_lock<std::mutex> lock(mutex_);
        auto found = index_.find(id);
        if (found != index_.end()) {
            std::swap(values_[found->second], value);
            lock.unlock();
            return;  // `value` (the old entry) is released here
        }
        index_.emplace(id, values_.size());
        ids_.push_back(id);
        values_.push_back(std::move(value));
    }

    std::shared_ptr<T> find(const std::string& id) const {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = index_.find(id);
        return found == index_.end() ? nullptr : values_[found->second];
    }
    bool contains(const std::string& id) const {
        std::lock_guard<std::mutex> lock(mutex_);
        return index_.count(id) != 0;
    }

    // Snapshots in registration order (same positions in both vectors).
    std::vector<std::shared_ptr<T>> values() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return values_;
    }
    std::vector<std::string> ids() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return ids_;
    }
    std::size_t size() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return values_.size();
    }
    bool empty() const { return size() == 0; }

    // Drops every entry. The objects are released outside the lock, the last registered first,
    // so that objects registered later (which may depend on earlier ones) go first.
    void clear() {
        std::vector<std::shared_ptr<T>> released;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            released.swap(values_);
            ids_.clear();
            index_.clear();
        }
        while (!released.empty()) released.pop_back();
    }

private:
    mutable std::mutex mutex_;
    std::unordered_map<std::string, std::size_t> index_;
    std::vector<std::string> ids_;
    std::vector<std::shared_ptr<T>> values_;
};

}  // namespace tq4::gentl
