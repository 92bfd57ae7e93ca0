#pragma once
// The two files of the generalized mode read each on its own, the second in a helper thread
// when it is large, and only then checked against each other: the common shape of such a
// job loaded without the two readers waiting on each other line by line.

#include <cstdint>
#include <string>

#include "io/TextSource.h"

struct VoraJob;

/// Reads `file1` into job.frequencies and job.sFile1Values while `file2` is read into
/// job.sFile2Values (and a list of its frequencies), records of `recordLength` tokens
/// (at least 2), both files from their start.
///
/// true: both files held option lines (as many in each) and then nothing but well-formed
/// records, as many in each, with equal frequencies; the job then holds exactly what the
/// record-by-record reader leaves for them (frequencyCount, frequencies, both tables,
/// both formats) and nothing was logged. false: anything else; the job's tables and
/// frequencies then hold leftovers and the formats are untouched, the sources are used up.
/// std::bad_alloc of either side propagates, after the helper has ended; any other
/// exception of the helper gives false.
[[nodiscard]] bool ReadTwoFilesApart(VoraJob& job, TextSource& file1, const std::string& sFile1Name, TextSource& file2,
                                     const std::string& sFile2Name, int64_t recordLength);
