// The store that hands the engine's ring storage round instead of freeing it and allocating it
// again at every start of a stream or an encoder.

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdint>
#include <thread>
#include <vector>

#include "audio/ring_store.h"
#include "audio/spsc_ring.h"

namespace tw::audio {
namespace {

// Whether the pages of `bytes` at `items` are still mapped into the process.
bool mapped(const void* items, std::size_t bytes) {
    return ::msync(const_cast<void*>(items), bytes, MS_ASYNC) == 0 || errno != ENOMEM;
}

TEST(RingStoreTest, ANewArrayIsZeroedAndAGivenBackOneIsTakenAgainAsItWasLeft) {
    auto store = RingStore<float>::make(1000, 2);
    EXPECT_EQ(store->capacity(), 1024u);
    RingStorage<float> first = store->take();
    for (std::size_t i = 0; i < store->capacity(); ++i) {
        ASSERT_EQ(first[i], 0.0f) << i;
        first[i] = static_cast<float>(i);
    }
    const float* where = first.get();
    first.reset();
    EXPECT_EQ(store->kept(), 1u);
    RingStorage<float> again = store->take();
    EXPECT_EQ(again.get(), where);
    EXPECT_EQ(again[1023], 1023.0f) << "as it was left";
    EXPECT_EQ(store->made(), 1u);
    EXPECT_EQ(store->kept(), 0u);
}

TEST(RingStoreTest, KeepsAtMostItsKeepAndGivesTheOthersBackToTheSystem) {
    auto store = RingStore<std::int16_t>::make(1 << 16, 3);
    const std::size_t bytes = store->capacity() * sizeof(std::int16_t);
    std::vector<RingStorage<std::int16_t>> lent;
    for (int i = 0; i < 5; ++i) {
        lent.push_back(store->take());
    }
    EXPECT_EQ(store->made(), 5u);
    std::vector<const void*> arrays;
    for (const auto& s : lent) {
        arrays.push_back(s.get());
        EXPECT_TRUE(mapped(s.get(), bytes));
    }
    lent.clear();
    EXPECT_EQ(store->kept(), 3u);
    int stillMapped = 0;
    for (const void* a : arrays) {
        stillMapped += mapped(a, bytes);
    }
    EXPECT_EQ(stillMapped, 3) << "the two beyond the keep went back to the system";
    // The kept ones serve the next takes; only then is a new one made.
    for (int i = 0; i < 4; ++i) {
        lent.push_back(store->take());
    }
    EXPECT_EQ(store->made(), 6u);
}

TEST(RingStoreTest, AnArrayLentOutOutlivesItsStoreAndGoesBackToTheSystemAfterIt) {
    auto store = RingStore<float>::make(1 << 16, 4);
    const std::size_t bytes = store->capacity() * sizeof(float);
    const void* where = nullptr;
    {
        RingStorage<float> storage = store->take();
        where = storage.get();
        store.reset();
        storage[7] = 1.0f;
        EXPECT_EQ(storage[7], 1.0f);
    }
    EXPECT_FALSE(mapped(where, bytes)) << "the store went with its last array";
}

TEST(RingStoreTest, ARingOnStorageThatHeldOtherItemsCarriesItsOwnAcrossThreads) {
    auto store = RingStore<std::uint32_t>::make(64, 1);
    {
        RingStorage<std::uint32_t> old = store->take();
        std::fill(old.get(), old.get() + store->capacity(), 0xdeadbeefu);
    }
    SpscRing<std::uint32_t> ring(store->take(), store->capacity());
    EXPECT_EQ(ring.readable(), 0u) << "what the array held is not in the ring";
    constexpr std::uint32_t kItems = 100000;
    std::thread producer([&] {
        for (std::uint32_t i = 0; i < kItems;) {
            i += static_cast<std::uint32_t>(ring.push(i));
        }
    });
    std::uint32_t expected = 0;
    while (expected < kItems) {
        std::uint32_t v = 0;
        if (ring.pop(v)) {
            ASSERT_EQ(v, expected);
            ++expected;
        }
    }
    producer.join();
}

TEST(RingStoreTest, ThreadsTakeAndGiveBackAtOnce) {
    auto store = RingStore<float>::make(4096, 4);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&store, t] {
            for (int i = 0; i < 500; ++i) {
                RingStorage<float> s = store->take();
                s[0] = static_cast<float>(t);
                s[store->capacity() - 1] = static_cast<float>(i);
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_LE(store->made(), 4u) << "no more arrays than takers at once";
    EXPECT_EQ(store->kept(), store->made());
}

#if defined(__SANITIZE_ADDRESS__)
TEST(RingStoreDeathTest, AnArrayInTheStoreReadsAsFreedMemoryUnderAddressSanitizer) {
    auto store = RingStore<float>::make(1024, 2);
    const float* where = nullptr;
    {
        RingStorage<float> storage = store->take();
        where = storage.get();
    }
    EXPECT_DEATH({ [[maybe_unused]] volatile float v = where[5]; }, "use-after-poison");
}
#endif

}  // namespace
}  // namespace tw::audio
