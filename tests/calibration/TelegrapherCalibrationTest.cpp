#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "CalibrationJobs.h"
#include "calibration/TelegrapherCalibration.h"
#include "io/OutputFile.h"
#include "support/VoraRun.h"

namespace {

using namespace calibration_jobs;

TEST(TelegrapherCalibration, WithoutGroupsTheBuildFails)
{
    TestJob t;
    SetWhole(t.job, {1e9}, {RandomMatrix(1, 0.5, 1)});
    EXPECT_EQ(RunTelegrapherCalibration(t.job), -1);
    EXPECT_EQ(t.log.str(),
              "VORA:  S paremeter file processed succesffuly. \n"
              "VORA:  Calibration build error. \n"
              "VORA:  DoShortOpenCalibration_BasedOnTelegraphersEquationsOfTransmissionLines error. \n");
}

}  // namespace
