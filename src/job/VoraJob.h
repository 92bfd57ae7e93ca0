#pragma once
// VoraJob: the whole state of one run. The driver creates it, every step receives it, and
// everything of the run hangs from it except the run log stream, which the driver owns.
// It is plain data: the output file is only held here, opened and written by io/.

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "job/CalibrationGroup.h"
#include "job/RecordTable.h"
#include "numerics/Dcm.h"

class OutputFile;  // io/OutputFile.h

struct VoraJob {
    explicit VoraJob(std::ostream& log);
    VoraJob(const VoraJob&) = delete;
    VoraJob& operator=(const VoraJob&) = delete;

    std::string programName = "VORA";
    int32_t bMaxEprNotGiven = 1;
    int32_t bExtendedArmSyntax = 0;
    std::string directoryPath;  // always ends in "/" or "\\" once set
    std::string mapFileName;
    std::string outputFileName;
    std::string mapFilePath;
    std::string outputFilePath;
    std::string logFilePath;
    std::ostream& logStream;
    double maxEpr = 1.0;
    int64_t portCount = 0;
    std::vector<double> portLineGeometry;  // w, t, l, s per port
    int32_t nvpl = 1;
    int32_t calibrationGroupCount = 0;
    std::map<int32_t, std::vector<int32_t>> groupPorts;
    std::vector<CalibrationGroup> calibrationGroups;
    std::vector<int32_t> groupMethodCode{3};
    std::vector<double> groupFreqA{1.0e13};
    std::vector<double> groupFreqB{4.0e13};
    std::vector<double> groupFreqC{4.0e13};
    std::vector<double> groupFreqD{1.0e13};
    std::vector<double> groupFreqE{2.0e13};
    std::string wholeStructureFilePath;
    std::string sFile1Name;
    std::string sFile2Name;
    uint8_t runMode = 0;  // 0: de-embedding; 1: generalized S-parameters
    // Options no parent tool passes. reportFileName: the JSON report, beside the output ("":
    // none). outputPrecision: significant digits of the de-embedded output, 0 for the legacy
    // six-digit format, -1 for the shortest text that reads back to the same number.
    std::string reportFileName;
    int32_t outputPrecision = 0;
    // Warnings for the person at the console, one line each without its newline. They never
    // reach the run log, which parent tools parse; the driver prints them on standard error.
    std::vector<std::string> warnings;

    // --- whole structure (and the two files of the generalized mode) -------------------
    std::vector<double> frequencies;  // Hz, in file order
    int32_t frequencyCount = 0;
    RecordTable wholeValues;          // 2·N² numbers per frequency index, as read
    double freqUnitFactor = 1.0;
    std::vector<double> portResistances;
    // Shared, not unique: the pointer carries the deleter made where it was created (by io,
    // which knows the type), so the job can be destroyed where OutputFile is incomplete.
    std::shared_ptr<OutputFile> outputStream;
    int32_t bOutputVersion2 = 0;  // the output's header is Touchstone 2's: its data end with [End]
    RecordTable sFile1Values;
    RecordTable sFile2Values;
    std::string sFile1Format;
    std::string sFile2Format;

    // --- calibration work (N x N) and result ------------------------------------------
    dcm Swhole;
    dcm Saa;
    dcm Sab;
    dcm Sba;
    dcm Sbb;
    dcm scratch1;
    dcm scratch2;
    vdcm vdcm_Sout;
    // Generalized mode: the two transfer matrices.
    dcm T1;
    dcm T2;
    // Generalized mode, kept only for a run report: g of every frequency solved.
    std::vector<Complex> generalizedValues;
};
