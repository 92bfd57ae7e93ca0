#pragma once
// Coupled lossy uniform transmission lines: the per-unit-length model of one arm, its chain
// matrix, and the network data of the arm that a job writes (arm S, Zshort, Yopen).
//
// Conventions: end a faces the whole structure's ports, end b the device. The chain matrix
// maps end b to end a: Va = A·Vb + B·Ib, Ia = C·Vb + D·Ib, with Ia entering end a and Ib
// leaving end b.

#include <cstdint>
#include <vector>

#include "numerics/Dcm.h"

// P coupled lines of one length. R, L, G, C are symmetric P×P, row-major, per metre.
struct LineParameters {
    int32_t lineCount = 0;
    std::vector<double> R, L, G, C;
    double length = 0.0;  // metres
};

struct ChainMatrix {
    dcm A, B, C, D;
};

// The arm as a 2P-port, reference resistance r at every port.
struct ArmBlocks {
    dcm Saa, Sab, Sba, Sbb;
};

// Scratch of the chain-matrix routines, kept across frequencies.
struct LineWork {
    dcm Zs, Ys, X, V, Vinv, F, T, U;
    dcv w;
};

/// Z' = R + jωL and Y' = G + jωC.
void SeriesImpedancePerLength(const LineParameters& line, double omega, dcm& Z);
void ShuntAdmittancePerLength(const LineParameters& line, double omega, dcm& Y);

/// exp([[0, Z'],[Y', 0]]·l) through the modes of Y'Z' = V·diag(γ²)·V^-1:
/// D = cosh(√(Y'Z')·l), A = Dᵀ, B = Z'·l·F, C = Y'·l·Fᵀ with F = sinh(√(Y'Z')·l)/(√(Y'Z')·l).
/// Only even functions of γ occur, so the branch of the root does not matter.
/// false: the eigen-decomposition failed or does not reproduce Y'Z' (defective or badly
/// conditioned modes); the caller then takes ChainMatrixByScalingAndSquaring.
[[nodiscard]] bool ChainMatrixByModes(const LineParameters& line, double omega, ChainMatrix& chain,
                                      LineWork& work);

/// The same exponential by scaling and squaring of its Taylor series on the 2P×2P matrix.
/// Slower; independent of any eigen-decomposition.
void ChainMatrixByScalingAndSquaring(const LineParameters& line, double omega, ChainMatrix& chain);

/// Modes first, scaling and squaring when the modes are not trustworthy.
void LineChainMatrix(const LineParameters& line, double omega, ChainMatrix& chain, LineWork& work);

/// Arm S from its chain matrix with reference r:
/// Den = A + B/r + r·C + D, Sba = 2·Den^-1, Sbb = -Den^-1·(A - B/r + r·C - D),
/// Saa = ½(A + B/r - r·C - D)·Sba, Sab = ½((A + B/r - r·C - D)·Sbb + (A - B/r - r·C + D)).
/// false: Den is singular.
[[nodiscard]] bool ArmSFromChain(const ChainMatrix& chain, double r, ArmBlocks& arm, LineWork& work);

/// Zshort = B·D^-1 (end b shorted), Yopen = C·A^-1 (end b open), made exactly symmetric.
/// false: A or D singular (at a quarter-wave resonance).
[[nodiscard]] bool ShortAndOpenFromChain(const ChainMatrix& chain, dcm& Zshort, dcm& Yopen, LineWork& work);

/// The lumped stand-in for short and open data: Z'·l and Y'·l.
void SeriesAndShunt(const LineParameters& line, double omega, dcm& Zseries, dcm& Yshunt);

/// Reflection matrix of an impedance Z with reference r: S = (Z/r - I)(Z/r + I)^-1.
[[nodiscard]] bool ReflectionFromImpedance(const dcm& Z, double r, dcm& S, LineWork& work);
/// Reflection matrix of an admittance Y with reference r: S = (I - r·Y)(I + r·Y)^-1.
[[nodiscard]] bool ReflectionFromAdmittance(const dcm& Y, double r, dcm& S, LineWork& work);

/// Effective relative permittivity of every mode, c0²·eig(L·C) (lossless part), sorted
/// ascending. Used to check that the job's ER covers the slowest mode.
std::vector<double> ModalEffectivePermittivities(const LineParameters& line);

/// Default coupled-line matrices: self values on the diagonal, mutual values between lines
/// i and j scaled by 0.25^(|i-j|-1), and the capacitance's mutual entries negative.
LineParameters CoupledLines(int32_t lineCount, double length, double rSelf, double rMutual, double lSelf,
                            double lMutual, double gSelf, double gMutual, double cSelf, double cMutual);
