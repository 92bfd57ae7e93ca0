#include "parallel/WorkerProcess.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <sys/wait.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <string>
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

// Whether process `pid` has ended (gone, or a zombie nobody has reaped yet).
bool Ended(pid_t pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    if (!std::getline(stat, text)) return true;
    const size_t close = text.rfind(')');
    return close != std::string::npos && close + 2 < text.size() && text[close + 2] == 'Z';
}

// A parent killed from outside (a tool's time-out) takes its child with it.
TEST(SplitAcrossProcesses, TheChildEndsWithAKilledParent)
{
    if (UsableProcessors() < 2) GTEST_SKIP() << "one processor: no child";
    SharedRegion shared(sizeof(pid_t));
    pid_t* worker = static_cast<pid_t*>(shared.data());
    const pid_t parent = ::fork();
    ASSERT_GE(parent, 0);
    if (parent == 0) {
        const pid_t self = ::getpid();
        static_cast<void>(SplitAcrossProcesses(2, 2, [&](size_t, size_t) {
            if (::getpid() != self) __atomic_store_n(worker, ::getpid(), __ATOMIC_SEQ_CST);
            for (;;) ::pause();
            return true;
        }));
        ::_exit(0);
    }
    const auto waitFor = [](const std::function<bool()>& done) {
        for (int i = 0; i < 500 && !done(); ++i) ::usleep(10000);
        return done();
    };
    ASSERT_TRUE(waitFor([&] { return __atomic_load_n(worker, __ATOMIC_SEQ_CST) != 0; }));
    const pid_t child = __atomic_load_n(worker, __ATOMIC_SEQ_CST);
    ::kill(parent, SIGKILL);
    ::waitpid(parent, nullptr, 0);
    EXPECT_TRUE(waitFor([&] { return Ended(child); }));
    if (!Ended(child)) ::kill(child, SIGKILL);
}

}  // namespace
