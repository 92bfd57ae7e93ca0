#include "parallel/WorkerProcess.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "parallel/ProcessorsHere.h"
#include "parallel/SharedRegion.h"

namespace {

// What the work did per index, in shared memory: how often it ran, its value and the
// process that wrote it.
struct Written {
    int32_t runs;
    int64_t value;
    pid_t writer;
};

struct Recorder {
    explicit Recorder(size_t count) : region(count * sizeof(Written)), count(count) {}
    Written* at() const { return static_cast<Written*>(region.data()); }
    void Fill(size_t k) const
    {
        __atomic_add_fetch(&at()[k].runs, 1, __ATOMIC_SEQ_CST);
        at()[k].value = static_cast<int64_t>(k * k);
        at()[k].writer = ::getpid();
    }
    size_t Fill(size_t begin, size_t end) const
    {
        for (size_t k = begin; k < end; ++k) Fill(k);
        return end;
    }
    std::set<pid_t> Writers() const
    {
        std::set<pid_t> writers;
        for (size_t k = 0; k < count; ++k) writers.insert(at()[k].writer);
        return writers;
    }
    bool AllFilledOnce() const
    {
        for (size_t k = 0; k < count; ++k)
            if (at()[k].runs != 1 || at()[k].value != static_cast<int64_t>(k * k)) return false;
        return true;
    }
    SharedRegion region;
    size_t count;
};

// Flags both processes see. Set(i) raises flag i; WaitFor(i) waits until it is raised, or
// five seconds have passed (so a broken split fails its test instead of hanging it).
struct SharedFlags {
    SharedRegion region{8 * sizeof(int32_t)};
    int32_t* flag(int i) const { return static_cast<int32_t*>(region.data()) + i; }
    void Set(int i) const { __atomic_store_n(flag(i), 1, __ATOMIC_SEQ_CST); }
    bool IsSet(int i) const { return __atomic_load_n(flag(i), __ATOMIC_SEQ_CST) != 0; }
    bool WaitFor(int i) const
    {
        const auto start = std::chrono::steady_clock::now();
        while (!IsSet(i) && std::chrono::steady_clock::now() - start < std::chrono::seconds(5)) ::sched_yield();
        return IsSet(i);
    }
};

// Holds each process's first run until the other process has one too, so that both surely
// take part whichever starts first.
struct BothTakePart {
    SharedFlags flags;
    pid_t parent = ::getpid();
    bool entered = false;  // each process has its own copy after the fork
    void operator()()
    {
        if (entered) return;
        entered = true;
        const int self = ::getpid() == parent ? 0 : 1;
        flags.Set(self);
        flags.WaitFor(1 - self);
    }
};

TEST(SplitAcrossProcesses, EveryIndexIsDoneOnceByOneOfTwoProcesses)
{
    const pid_t self = ::getpid();
    for (const size_t count : {size_t{2}, size_t{3}, size_t{255}, size_t{257}, size_t{1001}, size_t{100000}}) {
        Recorder r(count);
        BothTakePart wait;
        EXPECT_EQ(SplitAcrossProcesses(count, 2,
                                       [&](size_t b, size_t e) {
                                           wait();
                                           return r.Fill(b, e);
                                       }),
                  count);
        EXPECT_TRUE(r.AllFilledOnce()) << count;
        if (ProcessorsHere() >= 2) {
            const std::set<pid_t> writers = r.Writers();
            EXPECT_EQ(writers.size(), 2u) << count;
            EXPECT_EQ(writers.count(self), 1u) << count;
        }
    }
    // Below the minimum everything runs here, in one call.
    Recorder small(10);
    int calls = 0;
    EXPECT_EQ(SplitAcrossProcesses(10, 11,
                                   [&](size_t b, size_t e) {
                                       ++calls;
                                       return small.Fill(b, e);
                                   }),
              10u);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(small.AllFilledOnce());
    EXPECT_EQ(small.Writers(), std::set<pid_t>{self});
    EXPECT_EQ(SplitAcrossProcesses(0, 0, [](size_t b, size_t) { return b; }), 0u);
}

// The answer is the first failing index of all, wherever the failures fall, and once a
// failure is in, no run past it is begun: only a run the other process had already taken
// may still start. (How far past the failure that run lies depends on the scheduler.)
TEST(SplitAcrossProcesses, TheFirstFailureOfAllIsTheAnswer)
{
    const size_t count = 100000;
    const std::vector<std::set<size_t>> cases = {{0}, {5}, {99999}, {70000, 30000, 90000}, {40000, 40001}};
    for (const std::set<size_t>& failing : cases) {
        Recorder r(count);
        BothTakePart wait;
        constexpr int kFailed = 2;  // a flag of wait.flags, raised as a failure is returned
        SharedRegion counter(sizeof(int32_t));
        int32_t* begunAfterFailure = static_cast<int32_t*>(counter.data());
        const size_t answer = SplitAcrossProcesses(count, 2, [&](size_t b, size_t e) {
            wait();
            if (wait.flags.IsSet(kFailed)) __atomic_add_fetch(begunAfterFailure, 1, __ATOMIC_SEQ_CST);
            for (size_t k = b; k < e; ++k) {
                if (failing.count(k) != 0) {
                    wait.flags.Set(kFailed);
                    return k;
                }
                r.Fill(k);
            }
            return e;
        });
        EXPECT_EQ(answer, *failing.begin());
        for (size_t k = 0; k < *failing.begin(); ++k) {
            ASSERT_EQ(r.at()[k].runs, 1) << k;
        }
        EXPECT_LE(*begunAfterFailure, 1) << *failing.begin();
    }
}

// Two failures in runs done at the same time, the later one recorded last: the earlier
// one is still the answer.
TEST(SplitAcrossProcesses, ALaterFailureRecordedLastDoesNotHideAnEarlierOne)
{
    if (ProcessorsHere() < 2) GTEST_SKIP() << "one processor: no child";
    // 1000 indices make runs of 4: index 40 starts run 10, index 45 lies in run 11.
    const SharedFlags flags;
    constexpr int kLaterEntered = 0;
    constexpr int kEarlierReturned = 1;
    const size_t answer = SplitAcrossProcesses(1000, 2, [&](size_t b, size_t e) {
        if (b == 40) {
            flags.WaitFor(kLaterEntered);  // the other process has taken run 11
            flags.Set(kEarlierReturned);
            return b;
        }
        if (b == 44) {
            flags.Set(kLaterEntered);
            flags.WaitFor(kEarlierReturned);
            ::usleep(20000);  // long enough for 40 to be recorded first
            return size_t{45};
        }
        return e;
    });
    EXPECT_TRUE(flags.IsSet(kLaterEntered));
    EXPECT_EQ(answer, 40u);
}

// A child that throws has its runs done again here; one that dies or exits without an
// answer makes the split throw WorkerProcessLost.
TEST(SplitAcrossProcesses, AChildThatThrowsIsReplacedOneThatDiesIsReported)
{
    if (ProcessorsHere() < 2) GTEST_SKIP() << "one processor: no child is started";
    const pid_t self = ::getpid();
    const auto killed = [&] { ::raise(SIGKILL); };
    const auto strangeExit = [&] { ::_exit(77); };
    const auto throws = [&] { throw std::runtime_error("child"); };
    const std::vector<std::pair<std::function<void()>, bool>> ends = {{killed, false}, {strangeExit, false}, {throws, true}};
    for (const auto& [end, childThrew] : ends) {
        for (const size_t failing : {size_t{1000}, size_t{77}}) {
            Recorder r(1000);
            // This process's first run waits until the child has taken one (and ended in it).
            const SharedFlags childEntered;
            bool waited = false;
            size_t answer = 0;
            bool lost = false;
            try {
                answer = SplitAcrossProcesses(1000, 2, [&](size_t b, size_t e) {
                    if (::getpid() != self) {
                        childEntered.Set(0);
                        end();
                    } else if (!waited) {
                        waited = true;
                        childEntered.WaitFor(0);
                    }
                    for (size_t k = b; k < e; ++k) {
                        if (k == failing) return k;
                        r.Fill(k);
                    }
                    return e;
                });
            } catch (const WorkerProcessLost&) {
                lost = true;
            }
            EXPECT_TRUE(childEntered.IsSet(0));
            EXPECT_EQ(lost, !childThrew);
            if (lost) continue;
            EXPECT_EQ(answer, failing);
            for (size_t k = 0; k < failing; ++k) {
                ASSERT_EQ(r.at()[k].runs, 1) << k;
            }
            EXPECT_EQ(r.Writers().count(self), 1u);
            EXPECT_LE(r.Writers().size(), 2u);  // and 0 for indices never reached
        }
    }
}

// An exception of this process's runs stops a child that would never end by itself.
TEST(SplitAcrossProcesses, AnExceptionHereStopsTheChild)
{
    if (ProcessorsHere() < 2) GTEST_SKIP() << "one processor: no child";
    const pid_t tester = ::fork();
    ASSERT_GE(tester, 0);
    if (tester == 0) {
        const pid_t self = ::getpid();
        const SharedFlags flags;
        try {
            static_cast<void>(SplitAcrossProcesses(2, 2, [&](size_t, size_t) -> size_t {
                if (::getpid() != self) {
                    flags.Set(0);
                    for (;;) ::pause();
                }
                flags.WaitFor(0);
                throw std::runtime_error("here");
            }));
        } catch (const std::runtime_error&) {
            ::_exit(0);
        }
        ::_exit(1);
    }
    int status = 0;
    pid_t ended = 0;
    for (int i = 0; i < 1000 && ended == 0; ++i) {
        ended = ::waitpid(tester, &status, WNOHANG);
        if (ended == 0) ::usleep(10000);
    }
    if (ended == 0) {
        ::kill(tester, SIGKILL);  // its child goes with it
        ::waitpid(tester, &status, 0);
        FAIL() << "the exception did not come back: the child was left running";
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
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
    if (ProcessorsHere() < 2) GTEST_SKIP() << "one processor: no child";
    SharedRegion shared(sizeof(pid_t));
    pid_t* worker = static_cast<pid_t*>(shared.data());
    const pid_t parent = ::fork();
    ASSERT_GE(parent, 0);
    if (parent == 0) {
        const pid_t self = ::getpid();
        static_cast<void>(SplitAcrossProcesses(2, 2, [&](size_t, size_t e) {
            if (::getpid() != self) __atomic_store_n(worker, ::getpid(), __ATOMIC_SEQ_CST);
            for (;;) ::pause();
            return e;
        }));
        ::_exit(0);
    }
    const auto waitFor = [](const std::function<bool()>& done) {
        for (int i = 0; i < 500 && !done(); ++i) ::usleep(10000);
        return done();
    };
    if (!waitFor([&] { return __atomic_load_n(worker, __ATOMIC_SEQ_CST) != 0; })) {
        ::kill(parent, SIGKILL);  // it waits for ever in a run of its own
        ::waitpid(parent, nullptr, 0);
        FAIL() << "no child process took a run";
    }
    const pid_t child = __atomic_load_n(worker, __ATOMIC_SEQ_CST);
    ::kill(parent, SIGKILL);
    ::waitpid(parent, nullptr, 0);
    EXPECT_TRUE(waitFor([&] { return Ended(child); }));
    if (!Ended(child)) ::kill(child, SIGKILL);
}

}  // namespace
