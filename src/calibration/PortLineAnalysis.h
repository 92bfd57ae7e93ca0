#pragma once
// The port-line analysis: how far the arm data can be trusted (resonances of the port
// lines, the analysis limit) and what replaces them above that.

#include <cstdint>

struct CalibrationGroup;

[[nodiscard]] int32_t AnalysePortLines(CalibrationGroup& group);
[[nodiscard]] int32_t AnalysePortLinesNoiseProcess(CalibrationGroup& group);
/// which = 1: the short-arm series Re Z(1,1); which = 0: the open-arm series Re Y(1,1).
/// Returns the resonance frequency, 2·freqE for modes below 2, or -1.0 when none is found.
[[nodiscard]] double FindPortResonance(CalibrationGroup& group, int32_t which);
/// Point k of a group read with method code 0: at or above freqD it is replaced from the last
/// point below (kLow) by ExtrapolateFromReferencePoint with the conductor model, and its
/// frequency recorded as extrapolated. Returns 0, or -1 after logging.
[[nodiscard]] int32_t ExtrapolateArmPoint(CalibrationGroup& group, double f, int32_t kLow, int32_t k,
                                          int32_t valueCount);
[[nodiscard]] double PortLineResistance(const CalibrationGroup& group, const double* geometry, double fRef,
                                        double valueRef, double f, double cap);
/// Point k from the reference point kRef: imaginary parts scaled by f / commonFrequencies[kRef]
/// (constant inductance and capacitance), real parts held at kRef, except that with
/// bModelDiagonalRealParts the short arm's diagonal real parts follow PortLineResistance.
/// Returns 0, or -1 after logging a missing record or port geometry.
[[nodiscard]] int32_t ExtrapolateFromReferencePoint(CalibrationGroup& group, double f, int32_t kRef, int32_t k,
                                                    int32_t valueCount, bool bModelDiagonalRealParts);

