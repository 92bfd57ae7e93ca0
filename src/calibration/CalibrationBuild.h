#pragma once
// The error network of the telegrapher's path: every group's arm S (a 2n-port per group
// frequency, end a at the whole structure, end b towards the device) fitted to the whole
// structure's frequencies and assembled over all ports; the whole structure de-embedded
// at every frequency and written as the output body.

#include <cstdint>

struct VoraJob;

/// Fills job.vdcm_Sout with the de-embedded S at every whole-structure frequency:
/// Sd = (Sba·(Sm - Saa)^-1·Sab + Sbb)^-1. Returns 0; 1 when the job has no calibration
/// group (the output then holds the whole structure's S, but the build counts as failed);
/// -1 after a log line when the loaded data do not fit together.
[[nodiscard]] int32_t CalibrationBuild(VoraJob& job);


/// Port lookups over job.groupPorts; `port` is 0-based, the lists hold 1-based numbers,
/// groups are searched in index order.
[[nodiscard]] bool IsPortInGroup(const VoraJob& job, int32_t port);
/// The first group listing the port, or -1.
[[nodiscard]] int32_t GroupOfPort(const VoraJob& job, int32_t port);
/// The port's place in the group's list, or -1.
[[nodiscard]] int32_t PlaceOfPortInGroup(const VoraJob& job, int32_t port, int32_t group);
