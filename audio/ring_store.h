#pragma once
// Storage for the engine's big rings, handed round instead of freed and made again. A stream gets
// a ring of a megabyte at every start and seek, an encoder one of half a megabyte at every start.
// Made anew, each was zeroed page by page on the thread that started it, a fault for every page:
// on a virtual machine that held the console thread 30 to 40 ms when twelve encoders started, or
// when twelve failed connects played their tone. Here a ring's storage goes back to its store when
// the ring goes, and the next ring takes it as it was left (a ring's reader reads only what its
// writer wrote). A new array comes from the system zeroed and resident in one call, so that the
// memory a station holds does not creep as its rings are written; the store keeps at most `keep`
// arrays that it is not lending, and gives the others back to the system.
//
// Thread contract: any thread but the audio callback takes and gives back, under the store's
// mutex. The callback never makes a ring, and the rings it reads are dropped off it once it has
// let them go (MixEngine::retire). An array may outlive the engine: it holds its store.

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <type_traits>
#include <vector>

#include "audio/spsc_ring.h"

namespace tw::audio {

// `bytes` of zeroed memory, every page of it resident, or null when the system has none.
void* mapResidentPages(std::size_t bytes);
void unmapPages(void* pages, std::size_t bytes);
// Under AddressSanitizer, an array in a store reads as freed memory: a ring used after its end is
// reported as it would be with the allocator's arrays. Elsewhere these do nothing.
void poisonPages(const void* pages, std::size_t bytes);
void unpoisonPages(const void* pages, std::size_t bytes);

template <typename T>
class RingStore : public std::enable_shared_from_this<RingStore<T>> {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_default_constructible_v<T>,
                  "a ring's items are plain values, whatever an array held before");
    struct Private {};

  public:
    // A store of arrays of `minCapacity` items rounded up to a power of two.
    static std::shared_ptr<RingStore> make(std::size_t minCapacity, std::size_t keep) {
        return std::make_shared<RingStore>(Private{}, minCapacity, keep);
    }
    RingStore(Private, std::size_t minCapacity, std::size_t keep)
        : capacity_(ringCapacity(minCapacity)), keep_(keep) {
        free_.reserve(keep);
    }
    ~RingStore() {
        for (T* items : free_) {
            release(items);
        }
    }
    RingStore(const RingStore&) = delete;
    RingStore& operator=(const RingStore&) = delete;

    std::size_t capacity() const { return capacity_; }

    // Storage for a ring of capacity() items: the array given back last, or a new one. Throws
    // std::bad_alloc when the system has no memory left, as new does.
    RingStorage<T> take() {
        T* items = nullptr;
        {
            std::lock_guard lock(mutex_);
            if (!free_.empty()) {
                items = free_.back();
                free_.pop_back();
            }
        }
        if (items) {
            unpoisonPages(items, bytes());
        } else {
            items = static_cast<T*>(mapResidentPages(bytes()));
            if (!items) {
                throw std::bad_alloc();
            }
            made_.fetch_add(1, std::memory_order_relaxed);
        }
        return RingStorage<T>(
            items, [store = this->shared_from_this()](T* given) { store->giveBack(given); });
    }

    // Any thread: the arrays kept for the next rings, and how many were ever made.
    std::size_t kept() const {
        std::lock_guard lock(mutex_);
        return free_.size();
    }
    std::size_t made() const { return made_.load(std::memory_order_relaxed); }

  private:
    void giveBack(T* items) {
        poisonPages(items, bytes());
        {
            std::lock_guard lock(mutex_);
            if (free_.size() < keep_) {
                free_.push_back(items);  // within the reserved room: no allocation
                return;
            }
        }
        release(items);
    }
    // The pages go back to the system clean: what the system maps there next is not freed memory.
    void release(T* items) {
        unpoisonPages(items, bytes());
        unmapPages(items, bytes());
    }
    std::size_t bytes() const { return capacity_ * sizeof(T); }

    const std::size_t capacity_;
    const std::size_t keep_;
    mutable std::mutex mutex_;
    std::vector<T*> free_;  // mutex_
    std::atomic<std::size_t> made_{0};
};

}  // namespace tw::audio
