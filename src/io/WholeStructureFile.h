#pragma once
#include <cstdint>

struct VoraJob;

/// Reads the whole structure's S records, opens the output and copies the input's comment
/// and option lines into it as its header. Returns 0, or -1 after logging the reason.
[[nodiscard]] int32_t ReadWholeStructureFile(VoraJob& job);
