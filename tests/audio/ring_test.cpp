// The single-producer single-consumer ring that carries audio and commands between threads.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

#include "audio/spsc_ring.h"

namespace tw::audio {
namespace {

TEST(AudioRingTest, CapacityIsRoundedUpToAPowerOfTwo) {
    EXPECT_EQ(SpscRing<int>(1000).capacity(), 1024u);
    EXPECT_EQ(SpscRing<int>(1024).capacity(), 1024u);
    EXPECT_EQ(SpscRing<int>(1).capacity(), 1u);
}

TEST(AudioRingTest, WritesWhatFitsAndReadsInOrderAcrossTheWrap) {
    SpscRing<int> ring(8);
    std::vector<int> in = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(ring.write(in.data(), 6), 6u);
    int out[8] = {};
    EXPECT_EQ(ring.read(out, 4), 4u);
    EXPECT_EQ(out[3], 4);
    std::vector<int> more = {7, 8, 9, 10, 11, 12, 13};
    EXPECT_EQ(ring.write(more.data(), 7), 6u);  // two left in, room for six
    EXPECT_EQ(ring.writable(), 0u);
    EXPECT_FALSE(ring.push(99));
    EXPECT_EQ(ring.readable(), 8u);
    EXPECT_EQ(ring.read(out, 8), 8u);
    const int expected[8] = {5, 6, 7, 8, 9, 10, 11, 12};
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(out[i], expected[i]);
    }
    int x = 0;
    EXPECT_FALSE(ring.pop(x));
}

// Items go in and out in up to two runs (to the end of the storage, then from its start): from
// every place in the ring, every count from none to more than the ring holds passes whole.
TEST(AudioRingTest, EveryCountFromEveryPlacePassesInOrder) {
    for (int start = 0; start < 8; ++start) {
        for (int count = 0; count <= 9; ++count) {
            SpscRing<int> ring(8);
            int scratch[8] = {};
            ASSERT_EQ(ring.write(scratch, static_cast<std::size_t>(start)),
                      static_cast<std::size_t>(start));
            ASSERT_EQ(ring.read(scratch, 8), static_cast<std::size_t>(start));
            std::vector<int> in;
            for (int i = 0; i < count; ++i) {
                in.push_back(100 * start + i);
            }
            const std::size_t fit = std::min<std::size_t>(in.size(), 8);
            ASSERT_EQ(ring.write(in.data(), in.size()), fit) << start << " " << count;
            std::vector<int> out(9, -1);
            ASSERT_EQ(ring.read(out.data(), out.size()), fit) << start << " " << count;
            for (std::size_t i = 0; i < fit; ++i) {
                EXPECT_EQ(out[i], in[i]) << "from " << start << ", " << count << " items";
            }
            EXPECT_EQ(out[fit], -1) << "nothing past what was read";
        }
    }
}

TEST(AudioRingTest, TwoThreadsPassEveryItemOnceAndInOrder) {
    SpscRing<std::uint32_t> ring(64);
    constexpr std::uint32_t kItems = 200000;
    std::thread producer([&] {
        for (std::uint32_t i = 0; i < kItems;) {
            if (ring.push(i)) {
                ++i;
            }
        }
    });
    std::uint32_t next = 0;
    bool inOrder = true;
    while (next < kItems) {
        std::uint32_t v;
        if (ring.pop(v)) {
            inOrder = inOrder && v == next;
            ++next;
        }
    }
    producer.join();
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(ring.readable(), 0u);
}

}  // namespace
}  // namespace tw::audio
