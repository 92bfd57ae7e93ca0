#pragma once
// Work over a range of independent indices shared between this process and one child
// process. Processes, not threads: the serial OpenBLAS build keeps its work buffers in
// unlocked globals, so two threads must never be inside it at once, while a forked child
// has a copy of its own.

#include <cstddef>
#include <functional>

/// Runs work(begin, end) over [0, count): the lower half here, the upper half in a child
/// process at the same time. The child sees this process's memory as it was at the call
/// and hands results back only through SharedRegion memory that `work` writes; it never
/// writes to a file or a stream. `work` returns false to report a failure of its part.
///
/// Everything runs here, one part after the other, when count < minCount, when this
/// process may use one processor only, or when the child cannot be started; a child that
/// does not end normally (killed, out of memory, threw) has its part done here again.
/// Returns true when both parts returned true; a failed lower part is the answer at once
/// (the upper part is stopped or never run). An exception from the lower part propagates
/// after the child has been stopped.
[[nodiscard]] bool SplitAcrossProcesses(size_t count, size_t minCount,
                                        const std::function<bool(size_t begin, size_t end)>& work);

/// Processors this process may run on (at least 1).
int UsableProcessors();
