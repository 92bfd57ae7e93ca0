#include "calibration/CalibrationDriver.h"

#include "calibration/SymmetricGeometryCalibration.h"
#include "calibration/TelegrapherCalibration.h"
#include "job/Switches.h"
#include "job/VoraJob.h"

int32_t RunCalibration(VoraJob& job)
{
    std::ostream& log = job.logStream;
    if constexpr (VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged)
        log << "VORA:  VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged = true. \n";
    else
        log << "VORA:  VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged = false. \n";

    if constexpr (VoraGlobal_b_UseSymmetricalGeometricalProperty) {
        if (DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines(job) == -1) {
            log << "VORA:  DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines error. \n";
            return -1;
        }
        // The misspelling is part of the log interface: parent tools match this line.
        log << "VORA:  DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines succesffuly. \n";
        return 0;
    } else {
        // Telegrapher's equations: Preprocess and Calibrate per group, the calibration
        // build and the corrected output, all with their own log lines.
        return RunTelegrapherCalibration(job);
    }
}
