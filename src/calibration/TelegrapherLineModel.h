#pragma once
// The arms of a calibration group taken as uniform coupled lines: the short-arm impedance
// (Zshort) and the open-arm admittance (Yopen) are the lines' total series impedance and
// total shunt admittance, from which the telegrapher's equations give the exact chain
// matrix and so the arm's S as a 2n-port (end a: ports 0 .. n-1, end b: n .. 2n-1).

#include <cstdint>

struct CalibrationGroup;

/// Fills group.armS, one matrix per common frequency: the 2n-port S in the extended form
/// (the arm S records as they stand for an arm S file, else the line model on Zshort and
/// Yopen), and in the Nvpl form the 2x2 chain matrix of the weighted single line, with B
/// and C normalised to the first port's R (made S by Calibrate). Frees the Nvpl tables.
/// Returns 0, or -1 after writing the reason to the group's log.
[[nodiscard]] int32_t Preprocess(CalibrationGroup& group);

/// Nvpl form: turns every 2x2 chain matrix left by Preprocess into the S of a reciprocal
/// two-port (S12 = S21). Nothing to do in the extended form. Returns 0.
[[nodiscard]] int32_t Calibrate(CalibrationGroup& group);
