#pragma once
// The generalized mode's output body, written by the driver once the computation has
// filled job.generalizedValues: the computation computes, and only this file formats and
// writes.

#include <cstdint>

struct VoraJob;

/// One line per value of job.generalizedValues: the frequency as whole hertz (rounded
/// down, as an unsigned 64-bit integer), four blanks, the real part, four blanks, the
/// imaginary part, both in fixed notation with 15 decimals. Then the output is put in
/// place. Returns 0, or -1 after logging that the output could not be opened or written.
[[nodiscard]] int32_t WriteGeneralizedOutput(VoraJob& job);
