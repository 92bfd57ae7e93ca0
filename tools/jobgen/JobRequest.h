#pragma once
// What vora-jobgen is asked to build: ports, calibration groups, line model, frequencies,
// device; parsed from the command line and checked before anything is written.

#include <cstdint>
#include <string>
#include <vector>

#include "jobgen/Device.h"

// EP/ES/ED in the extended syntax, or the plain one-port EP/ED syntax (Nvpl form).
enum class ArmSyntax { EP, ES, ED, PlainEP, PlainED };

struct GroupRequest {
    std::vector<int32_t> ports;  // 1-based, in line order
    ArmSyntax syntax = ArmSyntax::EP;
    bool syntaxGiven = false;
    double length = -1.0;  // metres; < 0: the job's default length
};

enum class ArmGrid { Same, Fine, Offset, Shifted };

struct JobRequest {
    int32_t portCount = 4;
    std::vector<GroupRequest> groups;  // empty: two halves of the ports
    ArmSyntax defaultSyntax = ArmSyntax::EP;

    // FR-4-like coupled microstrip of about 50 ohm, per metre.
    double length = 0.005;
    double rSelf = 20.0, rMutual = 2.0;
    double lSelf = 303e-9, lMutual = 40e-9;
    double gSelf = 0.015, gMutual = 0.0015;
    double cSelf = 121e-12, cMutual = 10e-12;
    double er = 4.3;
    double width = 0.0002, thickness = 35e-6, conductivity = 5.8e7;

    double fStart = 10e6, fStop = 2e9;
    int32_t points = 201;
    std::string unit = "GHz";
    std::string format = "RI";  // of the whole-structure and arm files
    int32_t version = 1;        // Touchstone version of those files
    std::string matrixFormat = "Full";  // of version 2
    ArmGrid armGrid = ArmGrid::Same;
    int32_t fineFactor = 4;     // fine:K
    int32_t shiftedFactor = 1;  // shifted:K

    DeviceKind device = DeviceKind::Random;
    uint64_t seed = 1;
    double seriesR = 10.0, seriesL = 1e-9, seriesC = 0.0;

    bool seriesShunt = false;
    double r = 50.0;
    std::string mapName = "job.map";
    std::string commandLine;
};

/// Fills `request` from the arguments after the program name; the last non-option argument is
/// the output directory. Returns "" or the reason the arguments are wrong.
std::string ParseJobArguments(const std::vector<std::string>& args, JobRequest& request, std::string& directory,
                              bool& helpRequested);

/// Checks the request and completes it (default groups, group syntaxes and lengths).
/// Returns "" or the reason the job cannot be built.
std::string CompleteJobRequest(JobRequest& request);

/// Multiplier of a unit name: Hz 1, kHz 1e3, MHz 1e6, GHz 1e9; 0 for anything else.
double UnitMultiplier(const std::string& unit);

/// A number with an optional engineering suffix (p n u m k M G T), as in "10M" or "5m".
/// false: not a number.
bool ParseQuantity(const std::string& text, double& value);

const char* ArmSyntaxName(ArmSyntax syntax);
bool IsPlain(ArmSyntax syntax);

extern const char* const kJobgenUsage;
