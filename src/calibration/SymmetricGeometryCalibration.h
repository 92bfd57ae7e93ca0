#pragma once
// Calibration by the symmetric geometry of the port lines: each group's arm is taken as a
// symmetric two-port error box (end a at the whole structure's ports, end b at the device),
// derived per simulated frequency from the arm data; the error boxes of all groups form one
// error network that is removed from the whole structure, and the de-embedded S matrices
// become the output body.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <vector>

#include "job/RecordTable.h"
#include "numerics/Complex.h"
#include "numerics/Dcm.h"

struct VoraJob;
struct CalibrationGroup;

/// The whole method, output body included. Returns 0, or -1 after logging the reason.
[[nodiscard]] int32_t DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines(VoraJob& job);

/// Checks the arm coverage, then per simulated frequency derives every group's error box
/// (into entry 0 of the group's blocks, which InitGroupWork must have given at least one
/// entry), assembles the error network and fills job.vdcm_Sout (sized here, in memory
/// shared with the child process that does half of the frequencies). false on the first
/// failure; only the coverage check logs.
[[nodiscard]] bool Update_vdcm_Sout_ForAllFrequencies_Swhole(VoraJob& job);

/// Sizes the group's error-box vectors to `slots` entries, or to the job's frequency count
/// when slots is negative (matrices n x n and zero, scalars zero). Groups of an unknown arm
/// kind keep none.
void InitGroupWork(CalibrationGroup& group, int32_t slots = -1);

/// The group's error box at every simulated frequency, by its arm kind. false when a
/// lookup fails or a matrix is singular (nothing is logged).
[[nodiscard]] bool DeriveArmSParameters(CalibrationGroup& group);

/// The group's arm at every simulated frequency as one 2n-port S, [Saa Sab; Sba Sbb] (the n
/// ports of end a first), derived by the calibration's own arithmetic and handed to `visit`
/// with the frequency index; for the run report. Needs nothing the calibration checks
/// beyond the group itself, and logs nothing. Returns the number of frequencies derived:
/// fewer than the job's when a derivation fails there, 0 for a group it cannot derive.
size_t ForEachDerivedArm(CalibrationGroup& group, const std::function<void(size_t k, const dcm& S)>& visit);

// --- pieces of the method, also used on their own by the tests ------------------------

/// The "For calibration group" lines: port-line lengths and quarter-wave frequency for
/// arm kinds 0 and 2, then the resonance line for kind 0.
void WritePortLineReport(const VoraJob& job);

/// Every value the calibration indexes by a port number or a record width, checked once
/// before any work. Returns 0, or -1 after logging the first problem.
[[nodiscard]] int32_t CheckCalibrationInputs(const VoraJob& job);

/// The first `count` complex values of an arm record at frequency f: the record within
/// 0.01 Hz of f, else the linear interpolation between the two records that bracket f
/// strictly. `startIndex` is the simulated frequency's index (the search starts there).
/// false when f is neither matched nor bracketed. bAscending: IsAscending(frequencies),
/// which lets the search bisect (same answer).
[[nodiscard]] bool LookupArmValues(const std::vector<double>& frequencies, const RecordTable& records, double f,
                                   size_t startIndex, int32_t count, Complex* out, bool bAscending = false);

/// Saa, Sab, Sba, Sbb of the job (N x N) from entry k of the groups' error boxes: a through
/// on every port, then each group's error box placed on its ports, later groups
/// overwriting earlier ones.
void AssembleErrorNetwork(VoraJob& job, size_t k);

/// Work matrices of the arm derivations, sized once so that the frequency loop allocates
/// nothing of its own.
struct ArmWork {
    dcm Hinv, M, Minv, VD, D, A, B, C, U, V, W, Den, DenInv, T1, T2;
    dcm Sigma, Delta, X, Q, R;
    void Resize(int32_t n);
};

/// Chain-matrix error box of a symmetric arm from its open-arm admittance O and short-arm
/// impedance H with the reference resistances P = diag(z): D = (I - O·H)^(-1/2), B = H·D,
/// C = D·O, A = H·D·H^-1, then chain to S. Pinv is P^-1 (P is fixed per group, so the
/// caller inverts it once). false: singular O, H, I - O·H or denominator, or a failed
/// square root.
[[nodiscard]] bool ChainArmFromOpenShort(const dcm& O, const dcm& H, const dcm& P, const dcm& Pinv, ArmWork& work,
                                         dcm& Saa, dcm& Sab, dcm& Sba, dcm& Sbb);

/// End reflection a and transmission b of a symmetric arm from its reflections O (inner
/// end open) and H (inner end shorted), O = a + b(I - a)^-1 b and H = a - b(I + a)^-1 b:
/// a closed-form start and exactly 7 refining rounds. false: a singular matrix or a
/// failed square root.
[[nodiscard]] bool ReflectionArmFromOpenShort(const dcm& O, const dcm& H, ArmWork& work, dcm& a, dcm& b);
