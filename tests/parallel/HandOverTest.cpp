#include "parallel/HandOver.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>

namespace {

// Entries arrive once each and in order through rings of every shape, the producer often
// finding the ring full and the consumer often finding it empty; WaitUntilTaken returns
// only when the consumer has given back everything filled.
TEST(HandOver, EntriesArriveInOrder)
{
    for (const size_t slots : {size_t{1}, size_t{3}, size_t{64}, size_t{300}}) {
        constexpr int64_t kCount = 50000;
        HandOver<int64_t> ring(slots);
        std::atomic<int64_t> given{0};
        int64_t received = 0;
        bool inOrder = true;
        std::thread consumer([&] {
            while (const int64_t* entry = ring.Take()) {
                inOrder = inOrder && *entry == received;
                ++received;
                given.store(received);
                ring.Done();
            }
        });
        for (int64_t k = 0; k < kCount; ++k) {
            *ring.Fill() = k;
            ring.Filled();
            if (k == kCount / 2) {
                ring.WaitUntilTaken();
                EXPECT_EQ(given.load(), k + 1) << slots;
            }
        }
        ring.Close();
        consumer.join();
        EXPECT_EQ(received, kCount) << slots;
        EXPECT_TRUE(inOrder) << slots;
    }
}

// A consumer that stops releases a producer waiting for room; a ring closed empty ends the
// consumer at once.
TEST(HandOver, StopAndCloseEndTheOtherSide)
{
    HandOver<int> ring(4);
    std::thread consumer([&] {
        ASSERT_NE(ring.Take(), nullptr);
        ring.Stop();
    });
    int filled = 0;
    while (int* entry = ring.Fill()) {
        *entry = filled++;
        ring.Filled();
    }
    consumer.join();
    EXPECT_GE(filled, 1);
    EXPECT_LE(filled, 4);

    HandOver<int> empty(4);
    std::thread waiting([&] { EXPECT_EQ(empty.Take(), nullptr); });
    empty.Close();
    waiting.join();
}

}  // namespace
