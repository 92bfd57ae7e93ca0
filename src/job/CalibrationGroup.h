#pragma once
// CalibrationGroup: one calibration group of ports, with its arm files, the arm data read
// from them and the calibration's per-frequency results. Plain data: the readers and the
// calibration fill it in the order of the run.

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "job/RecordTable.h"
#include "numerics/Complex.h"
#include "numerics/Dcm.h"

struct VoraJob;

/// What a group's arm files hold, as the map file's arm line names it.
enum ArmKind : int32_t {
    kArmShortZOpenY = 0,  // EP: a short file of Z and an open file of Y
    kArmS = 1,            // ES: one arm S file of the 2P-port of both ends of the group's lines
    kArmShortSOpenS = 2,  // ED: a short file and an open file, both of S
};

struct CalibrationGroup {
    // --- from the map file's arm line --------------------------------------------------
    VoraJob* job = nullptr;
    int32_t nvpl = 1;
    uint8_t bExtendedArmSyntax = 0;
    std::string directoryPath;
    std::ostream* logStream = nullptr;
    int32_t armKind = kArmShortZOpenY;  // an ArmKind; a plain integer so that any value read can be held
    int32_t portCount = 0;
    std::vector<int32_t> ports;  // 1-based whole-structure port numbers, in line order
    std::string armFile1Path;    // the open file (o-arm); for ES the arm S file again
    std::string armFile2Path;    // the file read first: the short file or the arm S file (s-arm)
    int32_t firstPort = 0;
    std::vector<double> portLineGeometry;  // w, t, l, s per group port
    int32_t methodCode = 3;
    double freqA = 1.0e13;
    double freqB = 4.0e13;
    double freqC = 4.0e13;
    double freqD = 1.0e13;
    double freqE = 2.0e13;
    // Nothing in the program clears it; kept because the analysis and the conversions
    // are defined for active groups only.
    int32_t bActive = 1;

    // --- from the whole-structure and arm files ----------------------------------------
    std::vector<double> portResistances;  // R of each group port
    double wholeMaxFrequency = 0.0;
    double shortUnitFactor = 1.0;
    double openUnitFactor = 1.0;
    int32_t shortPortCount = 0;
    int32_t openPortCount = 0;
    std::vector<double> shortFrequencies;  // Hz: of the short file, or of the arm S file
    int32_t shortRecordCount = 0;
    RecordTable shortValues;               // kept values per record (Zshort after conversion)
    std::vector<double> openFrequencies;
    int32_t openRecordCount = 0;
    RecordTable openValues;                // kept values per record (Yopen after conversion)
    std::vector<double> commonFrequencies;
    int32_t commonFrequencyCount = 0;
    // Nvpl form: value positions kept and the per-line quadrature weights.
    std::vector<int32_t> shortKeepPositions;
    std::vector<int32_t> openKeepPositionsA;
    std::vector<int32_t> openKeepPositionsB;
    std::vector<double> shortWeights;
    std::vector<double> openWeightsA;
    std::vector<double> openWeightsB;
    // Reference and work matrices of the read-time S conversion (extended form, kind 2).
    dcm rootReference;         // D = diag(sqrt(R))
    dcm rootReferenceInverse;  // D^-1
    dcm conversionS;
    dcm conversionE;
    dcm conversionM;
    dcm conversionP;
    dcm conversionT;

    // --- port-line analysis ------------------------------------------------------------
    double shortResonanceFrequency = 0.0;  // Hz; 0 or less: none found
    double openResonanceFrequency = 0.0;
    // Arm frequencies (Hz, in walk order) whose values the analysis replaced or rescaled:
    // the points at or above the analysis limit freqD. For the run report and its warning.
    std::vector<double> extrapolatedFrequencies;

    // --- symmetric-geometry calibration: the error box per simulated frequency ---------
    // vdcm_Sab[k]: block (a, b) of the arm's error box at frequency k; end a faces the
    // whole structure's ports, end b the device.
    vdcm vdcm_Saa;
    vdcm vdcm_Sab;
    vdcm vdcm_Sba;
    vdcm vdcm_Sbb;

    // --- telegrapher's-equations calibration -------------------------------------------
    vdcm armS;  // per common frequency: the arm's 2n-port S (2x2 in the Nvpl form)
};
