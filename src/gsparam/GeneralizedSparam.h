#pragma once
#include <cstdint>
#include <string>

#include "numerics/Complex.h"

struct VoraJob;

/// Per frequency g = 1/w[1], w the eigenvalues of T2·T1^-1, into job.generalizedValues
/// (up to the first frequency that cannot be solved). Without a run report to read them
/// again, the two files' records are released on the way. Returns 0, or -1 after logging
/// the reason.
[[nodiscard]] int32_t ComputeGeneralizedSparam(VoraJob& job);
/// T of a 2x2 S (row-major [[S11, S12], [S21, S22]]).
void SparamToTransfer(const Complex* S, Complex* T);
/// In-place inverse of a 2x2 matrix by its determinant; no singularity test.
void Invert2x2(Complex* M);
/// S (row-major 2x2) of a record S11, S21, S12, S22 in the pair format "RI", "MA" or "DB"
/// (angles in degrees), as the computation reads it before it averages S12 and S21.
/// false for any other format.
[[nodiscard]] bool TwoPortSparamOfRecord(const double* record, const std::string& format, Complex* S);
