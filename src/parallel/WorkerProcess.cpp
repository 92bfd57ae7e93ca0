#include "parallel/WorkerProcess.h"

#include <sched.h>
#include <sys/prctl.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace {

// What the child reports through the pipe: its part succeeded, failed, or threw.
constexpr char kPartSucceeded = 0;
constexpr char kPartFailed = 1;
constexpr char kPartThrew = 2;

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

// Closes the reading end, and stops and reaps the child when its part is no longer wanted
// (the lower part failed or threw).
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

}  // namespace

int UsableProcessors()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    if (::sched_getaffinity(0, sizeof set, &set) != 0) return 1;
    const int count = CPU_COUNT(&set);
    return count > 0 ? count : 1;
}

bool SplitAcrossProcesses(size_t count, size_t minCount, const std::function<bool(size_t begin, size_t end)>& work)
{
    if (count == 0) return true;
    answeredChildren.ReapAll();

    const size_t split = count / 2;
    int answer[2] = {-1, -1};
    const bool twoParts = count >= minCount && count >= 2 && UsableProcessors() >= 2 && ::pipe2(answer, O_CLOEXEC) == 0;
    const pid_t parent = ::getpid();
    const pid_t pid = twoParts ? ::fork() : -1;
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
            code = work(split, count) ? kPartSucceeded : kPartFailed;
        } catch (...) {
            code = kPartThrew;
        }
        const ssize_t written = ::write(answer[1], &code, 1);
        ::_exit(written == 1 ? 0 : 1);
    }
    if (pid < 0) {
        if (twoParts) {
            ::close(answer[0]);
            ::close(answer[1]);
        }
        return work(0, split) && work(split, count);
    }

    ::close(answer[1]);
    // A failed lower part decides the answer: the child is stopped by the guard.
    ChildGuard guard{pid, answer[0]};
    if (!work(0, split)) return false;
    const int code = ReadAnswer(answer[0]);
    answeredChildren.pids.push_back(pid);  // may throw: the guard still reaps the child
    guard.pid = -1;
    if (code == kPartSucceeded) return true;
    if (code == kPartFailed) return false;
    return work(split, count);
}
