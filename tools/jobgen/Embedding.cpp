#include "jobgen/Embedding.h"

void ResetErrorNetwork(int32_t portCount, ErrorNetwork& network)
{
    network.Saa.Resize(portCount);
    network.Sbb.Resize(portCount);
    network.Sab.Resize(portCount);
    network.Sba.Resize(portCount);
    network.Saa.SetZero();
    network.Sbb.SetZero();
    network.Sab.SetIdentity();
    network.Sba.SetIdentity();
}

void PlaceArm(const std::vector<int32_t>& ports, const ArmBlocks& arm, ErrorNetwork& network)
{
    const int32_t p = static_cast<int32_t>(ports.size());
    for (int32_t i = 0; i < p; ++i)
        for (int32_t j = 0; j < p; ++j) {
            const int32_t row = ports[static_cast<size_t>(i)] - 1;
            const int32_t col = ports[static_cast<size_t>(j)] - 1;
            network.Saa(row, col) = arm.Saa(i, j);
            network.Sab(row, col) = arm.Sab(i, j);
            network.Sba(row, col) = arm.Sba(i, j);
            network.Sbb(row, col) = arm.Sbb(i, j);
        }
}

bool EmbedDevice(const ErrorNetwork& network, const dcm& Sd, dcm& S, EmbeddingWork& work)
{
    const int32_t n = Sd.n;
    Multiply(network.Sbb, Sd, work.M);
    work.M.Negate();
    for (int32_t i = 0; i < n; ++i) work.M(i, i) += 1.0;
    if (!Inverse(work.M, work.Minv)) return false;
    Multiply(Sd, work.Minv, work.T);        // Sd·(I - Sbb·Sd)^-1
    Multiply(work.T, network.Sba, work.U);  // ...·Sba
    Multiply(network.Sab, work.U, S);
    S += network.Saa;
    return true;
}
