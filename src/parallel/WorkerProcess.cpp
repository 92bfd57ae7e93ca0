#include "parallel/WorkerProcess.h"

#include <sched.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace {

// Exit codes of the child: its part succeeded, failed, or threw.
constexpr int kPartSucceeded = 0;
constexpr int kPartFailed = 1;
constexpr int kPartThrew = 2;

// The child's exit code, or -1 when it did not end by exiting.
int WaitForChild(pid_t pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Stops and reaps the child when its part is no longer wanted (the lower part failed or threw).
struct ChildGuard {
    pid_t pid;
    ~ChildGuard()
    {
        if (pid > 0) {
            ::kill(pid, SIGKILL);
            WaitForChild(pid);
        }
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
    const size_t split = count / 2;
    const pid_t pid = count >= minCount && count >= 2 && UsableProcessors() >= 2 ? ::fork() : -1;
    if (pid == 0) {
        // The child: no destructor, no exit handler, no stream flush, so nothing of the
        // parent's buffered output is written twice.
        int code = kPartThrew;
        try {
            code = work(split, count) ? kPartSucceeded : kPartFailed;
        } catch (...) {
            code = kPartThrew;
        }
        ::_exit(code);
    }
    if (pid < 0) return work(0, split) && work(split, count);

    // A failed lower part decides the answer: the child is stopped by the guard.
    ChildGuard guard{pid};
    if (!work(0, split)) return false;
    guard.pid = -1;
    const int code = WaitForChild(pid);
    if (code == kPartSucceeded) return true;
    if (code == kPartFailed) return false;
    return work(split, count);
}
