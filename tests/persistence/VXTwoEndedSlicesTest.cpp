// Two threads taking slices from the two ends: every slice is taken once, each side's in its own
// order, whichever of the two threads is the faster.

#include "VXTwoEndedSlices.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

TEST(TwoEndedSlices, EverySliceIsTakenOnceEachSideInItsOrder)
{
    for (const std::size_t count :
         {std::size_t(0), std::size_t(1), std::size_t(2), std::size_t(7), std::size_t(5000)}) {
        for (const bool firstIsSlow : {false, true}) {
            SCOPED_TRACE(testing::Message()
                         << count << " slices, the slow side " << (firstIsSlow ? "from the first" : "from the last"));
            VXTwoEndedSlices slices;
            slices.reset(count);
            std::vector<std::size_t> fromTheFirst;
            std::vector<std::size_t> fromTheLast;
            // (The side from the first starts once the other took its first slice, or found none.)
            std::atomic<bool> started {false};
            std::thread other([&] {
                while (const std::optional<std::size_t> slice = slices.next(VXTwoEndedSlices::FromTheLast)) {
                    fromTheLast.push_back(*slice);
                    started = true;
                    if (!firstIsSlow)
                        std::this_thread::yield();
                }
                started = true;
            });
            while (!started)
                std::this_thread::yield();
            while (const std::optional<std::size_t> slice = slices.next(VXTwoEndedSlices::FromTheFirst)) {
                fromTheFirst.push_back(*slice);
                if (firstIsSlow)
                    std::this_thread::yield();
            }
            other.join();
            // Each side in its order, from its end: the first side's run from 0, the last's down to
            // where the first stopped.
            for (std::size_t i = 0; i < fromTheFirst.size(); ++i)
                EXPECT_EQ(fromTheFirst[i], i);
            for (std::size_t i = 0; i < fromTheLast.size(); ++i)
                EXPECT_EQ(fromTheLast[i], count - 1 - i);
            EXPECT_EQ(fromTheFirst.size() + fromTheLast.size(), count);
            EXPECT_EQ(fromTheLast.empty(), count == 0);
            // Once they met, neither side gets another.
            EXPECT_FALSE(slices.next(VXTwoEndedSlices::FromTheFirst));
            EXPECT_FALSE(slices.next(VXTwoEndedSlices::FromTheLast));
        }
    }
}
