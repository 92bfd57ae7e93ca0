#pragma once
// Work over a range of independent indices shared between this process and one child
// process. Processes, not threads: the serial OpenBLAS build keeps its work buffers in
// unlocked globals, so two threads must never be inside it at once, while a forked child
// has a copy of its own.

#include <cstddef>
#include <functional>

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
/// processor only, or when the child cannot be started; the runs of a child that does not
/// end normally (killed, out of memory, threw) are done here again. An exception from this
/// process's own runs propagates after the child has been stopped.
[[nodiscard]] size_t SplitAcrossProcesses(size_t count, size_t minCount,
                                          const std::function<size_t(size_t begin, size_t end)>& work);

/// Processors this process may run on (at least 1).
int UsableProcessors();
