#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "CalibrationJobs.h"
#include "calibration/TelegrapherCalibration.h"
#include "io/OutputFile.h"
#include "support/VoraRun.h"

namespace {

using namespace calibration_jobs;

// One port behind a line of Zc = 60 Ω and γl = 0.1 + 0.8i, given by its series impedance
// and shunt admittance: the device comes back, with the log lines of a successful run.
TEST(TelegrapherCalibration, DeembedsALineGivenByItsShortAndOpenData)
{
    const Complex Zc(60.0, 0.0), gl(0.1, 0.8);
    const LineS s = ClosedFormLineS(Zc, gl, 50.0);
    dcm line(2), device(1);
    line(0, 0) = line(1, 1) = s.s11;
    line(0, 1) = line(1, 0) = s.s21;
    device(0, 0) = Complex(0.3, -0.4);

    TestJob t;
    SetWhole(t.job, {2e9}, {Embed(device, line)});
    t.job.freqUnitFactor = 1e9;
    CalibrationGroup& group = AddGroup(t.job, {1}, {2e9}, {});
    group.armKind = 0;
    group.portResistances = {50.0};
    AppendRecord(group.openValues, {gl / Zc});
    AppendRecord(group.shortValues, {Zc * gl});
    ASSERT_EQ(RunTelegrapherCalibration(t.job), 0);
    EXPECT_EQ(t.log.str(),
              "VORA:  Preprocess and Calibrate succesffuly. \n"
              "VORA:  S paremeter file processed succesffuly. \n"
              "VORA:  Calibration  analysis is done succesffuly. \n"
              "VORA:  DoShortOpenCalibration_BasedOnTelegraphersEquationsOfTransmissionLines succesffuly. \n");
    ASSERT_EQ(t.job.vdcm_Sout.size(), 1u);
    EXPECT_NEAR(t.job.vdcm_Sout[0](0, 0).real(), 0.3, 1e-6);
    EXPECT_NEAR(t.job.vdcm_Sout[0](0, 0).imag(), -0.4, 1e-6);
}

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
