#pragma once
// The one ring buffer used wherever audio or commands cross threads: one producer thread, one
// consumer thread, power-of-two capacity, acquire/release indices. Neither side ever waits or
// allocates after construction, so the audio callback may be either end.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <new>

namespace tw::audio {

// Where a ring's items live: an array of the ring's own, or one lent by a store of them
// (ring_store.h), which takes it back when the ring goes.
template <typename T>
using RingStorage = std::unique_ptr<T[], std::function<void(T*)>>;

// The capacity of a ring that holds at least `minCapacity` items: a power of two, so that an
// index wraps with a mask instead of a division.
inline std::size_t ringCapacity(std::size_t minCapacity) {
    std::size_t cap = 1;
    while (cap < minCapacity) {
        cap <<= 1;
    }
    return cap;
}

template <typename T>
class SpscRing {
  public:
    // Construction allocates: do it off the audio thread.
    explicit SpscRing(std::size_t minCapacity)
        : SpscRing(ownArray(ringCapacity(minCapacity)), ringCapacity(minCapacity)) {}
    // On lent storage of `capacity` items, a power of two, whatever it holds: the reader reads only
    // what the writer wrote.
    SpscRing(RingStorage<T> storage, std::size_t capacity)
        : capacity_(capacity), mask_(capacity - 1), data_(std::move(storage)) {}
    SpscRing(const SpscRing&) = delete;
    SpscRing& operator=(const SpscRing&) = delete;

    std::size_t capacity() const { return capacity_; }

    // Producer thread only, wait-free.
    std::size_t writable() const {
        return capacity_ -
               (tail_.load(std::memory_order_relaxed) - head_.load(std::memory_order_acquire));
    }
    // Consumer thread only, wait-free.
    std::size_t readable() const {
        return tail_.load(std::memory_order_acquire) - head_.load(std::memory_order_relaxed);
    }

    // Producer thread only, wait-free. Writes as many items as fit; returns how many.
    std::size_t write(const T* items, std::size_t count) {
        const std::size_t tail = tail_.load(std::memory_order_relaxed);
        const std::size_t room = capacity_ - (tail - head_.load(std::memory_order_acquire));
        const std::size_t n = count < room ? count : room;
        // In at most two runs: up to the end of the storage, then from its start.
        const std::size_t at = tail & mask_;
        const std::size_t first = n < capacity_ - at ? n : capacity_ - at;
        std::copy(items, items + first, data_.get() + at);
        std::copy(items + first, items + n, data_.get());
        tail_.store(tail + n, std::memory_order_release);
        return n;
    }

    // Producer thread only, wait-free. One item, false when full.
    bool push(const T& item) { return write(&item, 1) == 1; }

    // Consumer thread only, wait-free. Reads up to count items; returns how many.
    std::size_t read(T* items, std::size_t count) {
        const std::size_t head = head_.load(std::memory_order_relaxed);
        const std::size_t avail = tail_.load(std::memory_order_acquire) - head;
        const std::size_t n = count < avail ? count : avail;
        const std::size_t at = head & mask_;
        const std::size_t first = n < capacity_ - at ? n : capacity_ - at;
        std::copy(data_.get() + at, data_.get() + at + first, items);
        std::copy(data_.get(), data_.get() + (n - first), items + first);
        head_.store(head + n, std::memory_order_release);
        return n;
    }

    // Consumer thread only, wait-free. One item, false when empty.
    bool pop(T& item) { return read(&item, 1) == 1; }

  private:
    // The indices run freely and are masked on use; keeping them on separate cache lines stops the
    // two threads from invalidating each other's line on every item.
    alignas(64) std::atomic<std::size_t> head_{0};
    alignas(64) std::atomic<std::size_t> tail_{0};
    alignas(64) std::size_t capacity_ = 0;
    std::size_t mask_ = 0;
    RingStorage<T> data_;

    // Zeroed, so that every page of a ring is the process's from the start: left unset, a ring
    // takes its pages as it is written, and the memory a station holds would follow how far each
    // sound wrote into the rings the allocator hands round (it grew a ring at a time, long after
    // the start).
    static RingStorage<T> ownArray(std::size_t capacity) {
        return RingStorage<T>(new T[capacity](), [](T* items) { delete[] items; });
    }
};

}  // namespace tw::audio
