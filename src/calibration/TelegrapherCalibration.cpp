#include "calibration/TelegrapherCalibration.h"

#include <ostream>

#include "calibration/CalibrationBuild.h"
#include "calibration/TelegrapherLineModel.h"
#include "job/VoraJob.h"

// The misspellings and doubled blanks of these lines are part of the log interface:
// parent tools match them as written.
int32_t RunTelegrapherCalibration(VoraJob& job)
{
    std::ostream& log = job.logStream;
    for (CalibrationGroup& group : job.calibrationGroups) {
        const char* failedStage = nullptr;
        if (Preprocess(group) == -1) failedStage = "VORA:  Preprocess ";
        else if (Calibrate(group) == -1) failedStage = "VORA:  Calibrate ";
        if (failedStage == nullptr) {
            log << "VORA:  Preprocess and Calibrate succesffuly. \n";
            continue;
        }
        std::ostream& groupLog = group.logStream != nullptr ? *group.logStream : log;
        groupLog << failedStage << group.firstPort << " arm file error. \n";
        log << "VORA:  Preprocess and Calibrate error. \n";
        log << "VORA:  Processing S paramters file error. \n";
        log << "VORA:  DoShortOpenCalibration_BasedOnTelegraphersEquationsOfTransmissionLines error. \n";
        return -1;
    }
    log.flush();
    log << "VORA:  S paremeter file processed succesffuly. \n";

    if (CalibrationBuild(job) != 0) {
        log << "VORA:  Calibration build error. \n";
        log << "VORA:  DoShortOpenCalibration_BasedOnTelegraphersEquationsOfTransmissionLines error. \n";
        return -1;
    }
    log << "VORA:  Calibration  analysis is done succesffuly. \n";
    log << "VORA:  DoShortOpenCalibration_BasedOnTelegraphersEquationsOfTransmissionLines succesffuly. \n";
    return 0;
}
