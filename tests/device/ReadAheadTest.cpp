#include "device/ReadAhead.h"

#include "device/FailingThreads.h"

#include <gtest/gtest.h>
#include <mutex>
#include <random>
#include <semaphore>
#include <set>
#include <stdexcept>

using JobsManagerD::ReadAhead;

namespace Testing {
namespace {

TEST(ReadAheadTest, HandsOverAllItemsInTheirOrderWhateverTheyTake) {
    const std::atomic<bool> cancel{false};
    for (const int threads : {0, 1, 4})
        for (const size_t count : {0, 1, 127, 128, 129, 5000}) {
            const FailingThreads fewer(threads);
            ReadAhead<size_t> items(count, cancel, [](size_t number) {
                if (number % 97 == 0)
                    std::this_thread::yield();
                return number * 3;
            });
            for (size_t number = 0; number < count; ++number)
                ASSERT_EQ(items.Next(), number * 3);
            EXPECT_EQ(items.Next(), std::nullopt);
        }
}

TEST(ReadAheadTest, AnItemIsHandedOverAsSoonAsItIsLoadedAndFourAreLoadedAtATime) {
    const std::atomic<bool> cancel{false};
    std::counting_semaphore begun{0}, mayEnd{0};
    ReadAhead<size_t> items(100, cancel, [&](size_t number) {
        begun.release();
        if (number > 0)
            mayEnd.acquire();
        return number;
    });
    // Number 0 comes while none behind it has been loaded, and four of those are in work.
    EXPECT_EQ(items.Next(), 0u);
    for (int i = 0; i < 5; ++i)
        begun.acquire();
    mayEnd.release(99);
    for (size_t number = 1; number < 100; ++number)
        EXPECT_EQ(items.Next(), number);
}

TEST(ReadAheadTest, WhatIsAheadIsBounded) {
    const std::atomic<bool> cancel{false};
    std::atomic<size_t> loaded{0};
    ReadAhead<size_t> items(10'000, cancel, [&](size_t number) { return ++loaded, number; });
    for (size_t number = 0; number < 10'000; ++number) {
        EXPECT_EQ(items.Next(), number);
        EXPECT_LE(loaded, number + 1 + 128);
    }
}

TEST(ReadAheadTest, ACancelIsSeenBetweenTwoItems) {
    std::atomic<bool> cancel{false};
    std::atomic<size_t> begun{0};
    std::counting_semaphore mayEnd{0};
    size_t whenCancelled = 0;
    {
        ReadAhead<size_t> items(1000, cancel, [&](size_t number) {
            ++begun;
            if (number >= 8)
                mayEnd.acquire();
            return number;
        });
        for (size_t number = 0; number < 8; ++number)
            EXPECT_EQ(items.Next(), number);
        cancel = true;
        whenCancelled = begun;
        EXPECT_EQ(items.Next(), std::nullopt);
        mayEnd.release(100);
    }
    EXPECT_LE(begun, whenCancelled + 4) << "only a thread that was about to begin may have begun";
}

TEST(ReadAheadTest, ACancelEndsTheWaitForAnItemThatIsNotBegun) {
    std::atomic<bool> cancel{false};
    ReadAhead<size_t> items(1000, cancel, [&](size_t number) {
        if (number == 3)
            cancel = true;
        return number;
    });
    size_t number = 0;
    while (items.Next())
        ++number;
    EXPECT_LE(number, 8u);
}

TEST(ReadAheadTest, WhatALoadThrowsReachesTheCallerInItsTurn) {
    const std::atomic<bool> cancel{false};
    for (const int threads : {0, 4}) {
        const FailingThreads fewer(threads);
        ReadAhead<size_t> items(10, cancel,
                                [](size_t number) { return number == 5 ? throw std::runtime_error("odd") : number; });
        for (size_t number = 0; number < 10; ++number) {
            if (number == 5)
                EXPECT_THROW(items.Next(), std::runtime_error);
            else
                EXPECT_EQ(items.Next(), number);
        }
    }
}

} // namespace
} // namespace Testing
