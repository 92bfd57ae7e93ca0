#pragma once
// The de-embedded Touchstone body, written by the driver once a calibration has filled
// job.vdcm_Sout: the calibration methods compute, and only this file formats and writes.

#include <cstdint>

struct VoraJob;

/// One line per frequency: the frequency in the whole-structure file's unit and the
/// de-embedded matrix row by row, real and imaginary parts (six significant digits as a
/// default stream writes them, or job.outputPrecision); above 6 ports the line is wrapped
/// after every 4th entry with "\n\t". A version-2 output ends with "[End]". Then the output
/// is put in place. Returns 0, or -1 after logging that it could not be written.
[[nodiscard]] int32_t WriteDeembeddedOutput(VoraJob& job);
