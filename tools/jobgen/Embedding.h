#pragma once
// The whole structure: the device seen through the arms of every calibration group.

#include <cstdint>
#include <vector>

#include "jobgen/LineModel.h"
#include "numerics/Dcm.h"

// Error network over all N ports: a port in no group passes straight to the device.
struct ErrorNetwork {
    dcm Saa, Sab, Sba, Sbb;
};

/// Resets the network to throughs on N ports.
void ResetErrorNetwork(int32_t portCount, ErrorNetwork& network);
/// Places a group's arm blocks at its ports (1-based, in group order).
void PlaceArm(const std::vector<int32_t>& ports, const ArmBlocks& arm, ErrorNetwork& network);

struct EmbeddingWork {
    dcm M, Minv, T, U;
};

/// S = Saa + Sab·Sd·(I - Sbb·Sd)^-1·Sba. false: I - Sbb·Sd singular.
[[nodiscard]] bool EmbedDevice(const ErrorNetwork& network, const dcm& Sd, dcm& S, EmbeddingWork& work);
