#include "parallel/WorkerProcess.h"

#include <sched.h>
#include <sys/prctl.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <fcntl.h>
#include <unistd.h>

#include <dirent.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <cstdint>
#include <new>
#include <vector>

#include "parallel/SharedRegion.h"

namespace {

// What the child reports through the pipe: it took runs until none was left (its failures
// are in the shared state), or it threw.
constexpr char kPartDone = 0;
constexpr char kPartThrew = 1;

// The runs a split is cut into: small enough that the two processes end close together,
// large enough that handing them out costs nothing next to the work.
constexpr size_t kRunsPerSplit = 256;

// Who did a run, kept in shared memory so that a lost child's runs can be found.
constexpr uint8_t kParent = 1;
constexpr uint8_t kChild = 2;

// What both processes share: the next index to hand out and the first failure so far.
// Lock-free atomics work across processes in a shared mapping.
struct Sharing {
    Sharing(size_t count, size_t runLength) : count(count), runLength(runLength), next(0), firstFailure(count) {}
    static_assert(std::atomic<size_t>::is_always_lock_free && std::atomic<uint8_t>::is_always_lock_free);

    // Runs [begin, begin + runLength) unless it starts past the first failure; false then.
    bool Do(size_t begin, const std::function<size_t(size_t, size_t)>& work)
    {
        if (begin >= count || begin > firstFailure.load()) return false;
        const size_t end = std::min(count, begin + runLength);
        const size_t failed = work(begin, end);
        if (failed < end) {
            size_t seen = firstFailure.load();
            while (failed < seen && !firstFailure.compare_exchange_weak(seen, failed)) {
            }
        }
        return true;
    }

    // Takes the next run until none is left that may be wanted.
    void TakeRuns(std::atomic<uint8_t>* owners, uint8_t self, const std::function<size_t(size_t, size_t)>& work)
    {
        for (;;) {
            const size_t begin = next.fetch_add(runLength);
            if (begin >= count) return;
            owners[begin / runLength].store(self, std::memory_order_relaxed);
            if (!Do(begin, work)) return;
        }
    }

    const size_t count;
    const size_t runLength;
    std::atomic<size_t> next;
    std::atomic<size_t> firstFailure;
};

void Reap(pid_t pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
}

// Children whose answer has been read. Their exit takes milliseconds (the kernel tears down
// the address space), which nobody needs to wait for: they are reaped at the next split or
// when this process ends normally, so that their processor time is counted as this
// process's children's.
struct AnsweredChildren {
    std::vector<pid_t> pids;
    void ReapAll()
    {
        for (const pid_t pid : pids) Reap(pid);
        pids.clear();
    }
    ~AnsweredChildren() { ReapAll(); }
} answeredChildren;

// The byte the child wrote, or -1 when the pipe closed without one (the child died).
int ReadAnswer(int fd)
{
    char answer = 0;
    for (;;) {
        const ssize_t got = ::read(fd, &answer, 1);
        if (got == 1) return answer;
        if (got < 0 && errno == EINTR) continue;
        return -1;
    }
}

// Closes the reading end, and stops and reaps the child when its runs are no longer wanted
// (this process's own runs threw).
struct ChildGuard {
    pid_t pid;
    int fd;
    ~ChildGuard()
    {
        if (pid > 0) {
            ::kill(pid, SIGKILL);
            Reap(pid);
        }
        ::close(fd);
    }
};

// The threads of this process, from /proc (0 when it cannot be read).
int ThreadCount()
{
    DIR* tasks = ::opendir("/proc/self/task");
    if (tasks == nullptr) return 0;
    int count = 0;
    while (const dirent* entry = ::readdir(tasks))
        if (entry->d_name[0] != '.') ++count;
    ::closedir(tasks);
    return count;
}

}  // namespace

int UsableProcessors()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    if (::sched_getaffinity(0, sizeof set, &set) != 0) return 1;
    const int count = CPU_COUNT(&set);
    return count > 0 ? count : 1;
}

namespace {
std::atomic<int> splitsHeldHere{0};
}  // namespace

SplitsInThisProcess::SplitsInThisProcess() { splitsHeldHere.fetch_add(1); }
SplitsInThisProcess::~SplitsInThisProcess() { splitsHeldHere.fetch_sub(1); }

bool ProcessIsSingleThreaded() { return ThreadCount() == 1; }

size_t SplitAcrossProcesses(size_t count, size_t minCount, const std::function<size_t(size_t begin, size_t end)>& work)
{
    if (count == 0) return 0;
    answeredChildren.ReapAll();
    // (The counter runs past `count` by at most a run per process, which must not wrap.)
    if (count < minCount || count < 2 || count > SIZE_MAX / 2 || UsableProcessors() < 2 || splitsHeldHere.load() > 0)
        return work(0, count);

    const size_t runLength = count / kRunsPerSplit + (count % kRunsPerSplit != 0);
    const size_t runs = (count + runLength - 1) / runLength;
    SharedRegion region;
    try {
        region = SharedRegion(sizeof(Sharing) + runs * sizeof(std::atomic<uint8_t>));
    } catch (const std::bad_alloc&) {
        return work(0, count);
    }
    Sharing& sharing = *new (region.data()) Sharing{count, runLength};
    std::atomic<uint8_t>* const owners = new (static_cast<char*>(region.data()) + sizeof(Sharing)) std::atomic<uint8_t>[runs];

    int answer[2] = {-1, -1};
    if (::pipe2(answer, O_CLOEXEC) != 0) return work(0, count);
    const pid_t parent = ::getpid();
    // fork copies only the calling thread: a lock another thread held at that moment (the
    // allocator's, a stream's) would stay locked in the child for ever. ThreadSanitizer
    // keeps a thread of its own.
#ifndef __SANITIZE_THREAD__
    assert(ThreadCount() <= 1 && "a worker process may only be forked from a single-threaded process");
#endif
    const pid_t pid = ::fork();
    if (pid == 0) {
        // A parent killed from outside (a tool's time-out) takes the child with it, so no
        // orphan keeps computing, or holding the console and output files open.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(1);
        // The child: its results are in shared memory before the answer is written. No
        // destructor, no exit handler, no stream flush, so nothing of the parent's buffered
        // output is written twice.
        ::close(answer[0]);
        char code = kPartThrew;
        try {
            sharing.TakeRuns(owners, kChild, work);
            code = kPartDone;
        } catch (...) {
            code = kPartThrew;
        }
        const ssize_t written = ::write(answer[1], &code, 1);
        ::_exit(written == 1 ? 0 : 1);
    }
    ::close(answer[1]);
    if (pid < 0) {
        ::close(answer[0]);
        return work(0, count);
    }

    {
        // An exception of this process's runs stops the child (the guard).
        ChildGuard guard{pid, answer[0]};
        sharing.TakeRuns(owners, kParent, work);
        const int code = ReadAnswer(answer[0]);
        if (code < 0) throw WorkerProcessLost();  // the guard reaps the child
        answeredChildren.pids.push_back(pid);  // may throw: the guard still reaps the child
        guard.pid = -1;
        if (code == kPartDone) return sharing.firstFailure.load();
    }
    // The child threw: its runs are lost, including one it took but had not yet marked, so
    // every run this process did not do is done again, in order, as far as the first failure.
    for (size_t r = 0; r < runs; ++r)
        if (owners[r].load(std::memory_order_relaxed) != kParent && !sharing.Do(r * runLength, work)) break;
    return sharing.firstFailure.load();
}
