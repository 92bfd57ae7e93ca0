#pragma once
// The known device of a generated job: the N-port that the arms embed and that the engine
// must give back.

#include <cstdint>
#include <vector>

#include "numerics/Dcm.h"

enum class DeviceKind { Random, Through, Series };

struct DeviceModel {
    DeviceKind kind = DeviceKind::Random;
    int32_t portCount = 0;
    double r = 50.0;  // reference resistance of the S data
    // Random: a passive RLC network Y(ω) = G + jωC + Γ/(jω) plus a series R-L branch from
    // port k to port k + N/2; G, C, Γ symmetric positive semidefinite and the branches a
    // weighted Laplacian, so Re Y is positive semidefinite (passive) and Y = Yᵀ (reciprocal).
    std::vector<double> G, C, Gamma;
    std::vector<double> branchR, branchL;  // one per port pair
    // Series: Z = R + jωL + 1/(jωC) between port k and port k + N/2 (no capacitor when
    // seriesC is 0). Through: port k wired straight to port k + N/2.
    double seriesR = 0.0, seriesL = 0.0, seriesC = 0.0;
};

/// A seeded random RLC network whose resonances fall inside [fLow, fHigh]. The seed fixes
/// the device on every platform (no standard-library distribution is used).
DeviceModel RandomDevice(int32_t portCount, double r, uint64_t seed, double fLow, double fHigh);
DeviceModel ThroughDevice(int32_t portCount, double r);
DeviceModel SeriesDevice(int32_t portCount, double r, double seriesR, double seriesL, double seriesC);

/// S of the device at angular frequency ω (> 0 for the random and series kinds).
/// false: I + r·Y singular.
[[nodiscard]] bool DeviceS(const DeviceModel& device, double omega, dcm& S, dcm& work1, dcm& work2);
