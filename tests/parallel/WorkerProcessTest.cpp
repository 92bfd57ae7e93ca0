#include "parallel/WorkerProcess.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <new>
#include <set>
#include <stdexcept>

#include "parallel/SharedRegion.h"

namespace {

// What the work wrote per index: its value and the process that wrote it.
struct Written {
    int64_t value;
    pid_t writer;
};

struct Recorder {
    explicit Recorder(size_t count) : region(count * sizeof(Written)), count(count) {}
    Written* at() const { return static_cast<Written*>(region.data()); }
    bool Fill(size_t begin, size_t end) const
    {
        for (size_t k = begin; k < end; ++k) at()[k] = {static_cast<int64_t>(k * k), ::getpid()};
        return true;
    }
    std::set<pid_t> Writers() const
    {
        std::set<pid_t> writers;
        for (size_t k = 0; k < count; ++k) writers.insert(at()[k].writer);
        return writers;
    }
    bool AllFilled() const
    {
        for (size_t k = 0; k < count; ++k)
            if (at()[k].value != static_cast<int64_t>(k * k)) return false;
        return true;
    }
    SharedRegion region;
    size_t count;
};

TEST(SplitAcrossProcesses, TheChildsHalfArrivesThroughSharedMemory)
{
    const pid_t self = ::getpid();
    for (const size_t count : {size_t{2}, size_t{3}, size_t{1001}}) {
        Recorder r(count);
        EXPECT_TRUE(SplitAcrossProcesses(count, 2, [&](size_t b, size_t e) { return r.Fill(b, e); }));
        EXPECT_TRUE(r.AllFilled()) << count;
        // The upper half really ran elsewhere (when there is a second processor to run it on).
        const std::set<pid_t> writers = r.Writers();
        if (UsableProcessors() >= 2) {
            EXPECT_EQ(writers.size(), 2u) << count;
            EXPECT_EQ(r.at()[0].writer, self);
            EXPECT_NE(r.at()[count - 1].writer, self);
        }
    }
    // Below the minimum everything runs here.
    Recorder small(10);
    EXPECT_TRUE(SplitAcrossProcesses(10, 11, [&](size_t b, size_t e) { return small.Fill(b, e); }));
    EXPECT_TRUE(small.AllFilled());
    EXPECT_EQ(small.Writers(), std::set<pid_t>{self});
    EXPECT_TRUE(SplitAcrossProcesses(0, 0, [](size_t, size_t) { return false; }));
}

TEST(SplitAcrossProcesses, AFailureInEitherHalfIsReported)
{
    for (const size_t failing : {size_t{10}, size_t{900}}) {
        const bool ok = SplitAcrossProcesses(1000, 2, [&](size_t b, size_t e) { return !(b <= failing && failing < e); });
        EXPECT_FALSE(ok) << failing;
    }
}

// A child that dies, exits strangely or throws has its half done again here; an
// exception of the lower half reaches the caller.
TEST(SplitAcrossProcesses, AChildThatDoesNotEndNormallyIsReplaced)
{
    const pid_t self = ::getpid();
    const auto killed = [&] { ::raise(SIGKILL); };
    const auto strangeExit = [&] { ::_exit(77); };
    const auto throws = [&] { throw std::runtime_error("child"); };
    for (const std::function<void()>& end : std::vector<std::function<void()>>{killed, strangeExit, throws}) {
        Recorder r(100);
        EXPECT_TRUE(SplitAcrossProcesses(100, 2, [&](size_t b, size_t e) {
            if (::getpid() != self) end();
            return r.Fill(b, e);
        }));
        EXPECT_TRUE(r.AllFilled());
        EXPECT_EQ(r.Writers(), std::set<pid_t>{self});
    }
    EXPECT_THROW(static_cast<void>(SplitAcrossProcesses(100, 2,
                                                        [&](size_t b, size_t) -> bool {
                                                            if (b == 0) throw std::bad_alloc();
                                                            return true;
                                                        })),
                 std::bad_alloc);
}

}  // namespace
