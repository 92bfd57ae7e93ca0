#pragma once
// Work over a range of independent indices shared between this process and one child
// process. Processes, not threads: the serial OpenBLAS build keeps its work buffers in
// unlocked globals, so two threads must never be inside it at once, while a forked child
// has a copy of its own.

#include <cstddef>
#include <exception>
#include <functional>

/// The child process of a split ended without answering: killed by a signal, crashed, or
/// exited on its own.
class WorkerProcessLost : public std::exception {
public:
    const char* what() const noexcept override { return "the worker process ended without finishing its share"; }
};

/// Runs work(begin, end) over [0, count) in runs of consecutive indices, handed out in
/// increasing order to this process and one child process working at the same time:
/// whichever is free takes the next run, so a processor that starts late or is slowed by
/// other load simply does fewer. The child sees this process's memory as it was at the call
/// and hands results back only through SharedRegion memory that `work` writes; it never
/// writes to a file or a stream.
///
/// `work` returns the index at which its range failed (the first, if several), or `end`.
/// After a failure no run that starts past it is begun, while every run before it is
/// finished, so the answer is the first failing index of all, or `count` when none failed.
///
/// Everything runs here in one call when count < minCount, when this process may use one
/// processor only, or when the child cannot be started. The runs of a child that reports an
/// exception (out of memory) are done here again; a child that ends without an answer
/// (killed, crashed, exited) throws WorkerProcessLost here: its runs may have been cut off
/// half written, and a run that loses a process was stopped by something a person should
/// hear of. An exception from this process's own runs propagates after the child has been
/// stopped.
[[nodiscard]] size_t SplitAcrossProcesses(size_t count, size_t minCount,
                                          const std::function<size_t(size_t begin, size_t end)>& work);

/// Processors this process may run on (at least 1).
int UsableProcessors();

/// While an object of this class lives, every split runs in this process alone. For hosts
/// that may run other threads (a scripting language), where a forked child would keep
/// locks held by threads it does not have. The hosts serialise their runs.
class SplitsInThisProcess {
public:
    SplitsInThisProcess();
    ~SplitsInThisProcess();
    SplitsInThisProcess(const SplitsInThisProcess&) = delete;
    SplitsInThisProcess& operator=(const SplitsInThisProcess&) = delete;
};

/// Whether this process runs a single thread now (false when that cannot be told).
[[nodiscard]] bool ProcessIsSingleThreaded();
