#pragma once
// The engine on a job held in memory: the same steps as a run from files, from the point
// where the files have been read, without touching the file system. This is the entry a
// scripting binding uses; the file front end (RunProgram) reads files into the same job.
//
// Matrices are given and returned per frequency, row by row: element (i, j) of frequency k
// at k·m² + i·m + j. Two-port data follow Touchstone's reading of a two-port file, so that a
// job held in memory gives what the same data written as files give.

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "job/CalibrationGroup.h"
#include "numerics/Complex.h"

/// Arm data on their own frequencies.
struct ArmData {
    std::vector<double> frequencies;  // Hz
    std::vector<Complex> values;      // m x m per frequency
};

struct MemoryGroup {
    std::vector<int32_t> ports;  // 1-based whole-structure ports, in the order of the arm data's ports
    int32_t armKind = kArmShortZOpenY;
    ArmData first;  // short Z (kArmShortZOpenY), short S (kArmShortSOpenS), or the arm's 2P-port S (kArmS)
    ArmData open;   // open Y or open S; unused for kArmS
};

struct MemoryJob {
    int32_t portCount = 0;
    std::vector<double> frequencies;           // Hz
    std::vector<Complex> s;                    // the whole structure's S, N x N per frequency
    std::vector<double> referenceResistances;  // one per port, or one for all
    // w, t, l, s (metres, S/m) of each port's line, and the largest relative permittivity:
    // the port-line analysis derives its limits from them. Empty geometry: the lines are
    // not described (every value 1, as a map without them).
    std::vector<double> portLineGeometry;
    double maxRelativePermittivity = 0.0;  // 0: not given
    std::vector<MemoryGroup> groups;
};

struct MemoryResult {
    int32_t status = -1;                // 0, or -1 with the reason in the log
    std::vector<Complex> values;        // de-embedded S (N x N per frequency) or g (one per frequency)
    std::vector<std::string> log;       // the run's log lines, without their line feeds
    std::vector<std::string> warnings;  // what a person should hear of
};

/// Whether a run may fork its worker process: it must not when other threads run (a forked
/// child keeps the locks they hold). WhenSingleThreaded asks the system; a host that knows
/// says so.
enum class WorkerProcessUse { WhenSingleThreaded, Allowed, Never };

/// De-embeds the job. Throws std::invalid_argument naming the argument when the job is
/// malformed (sizes, ports, non-finite numbers); every failure of the computation is a
/// status of -1 with its reason in the log. Calls from several threads are run one after
/// another.
[[nodiscard]] MemoryResult DeembedInMemory(const MemoryJob& job,
                                           WorkerProcessUse use = WorkerProcessUse::WhenSingleThreaded);

/// The generalized S-parameter of two two-port S sets on common frequencies (Hz).
[[nodiscard]] MemoryResult GeneralizedSparamInMemory(const std::vector<double>& frequencies,
                                                     const std::vector<Complex>& s1, const std::vector<Complex>& s2,
                                                     WorkerProcessUse use = WorkerProcessUse::WhenSingleThreaded);

/// A whole-structure Touchstone file of `ports` ports read by the engine's own reader (any
/// form it reads: RI/MA/DB, S/Y/Z, version 1 or 2), as S: values holds the matrices in the
/// order above, resistances one R per port. status -1 with the reason in log when the file
/// cannot be read. The reader's header copy goes to a scratch folder removed afterwards.
struct TouchstoneData {
    int32_t status = -1;
    std::vector<double> frequencies;  // Hz
    std::vector<Complex> values;
    std::vector<double> resistances;
    std::vector<std::string> log;
};
[[nodiscard]] TouchstoneData ReadTouchstoneData(const std::string& path, int32_t ports);

/// Held while the engine runs; callers that run the file front end in a process with other
/// threads take it too, since the serial LAPACK must never be entered by two threads.
[[nodiscard]] std::unique_lock<std::mutex> LockEngine();
