#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "CalibrationJobs.h"
#include "calibration/TelegrapherCalibration.h"
#include "support/VoraRun.h"

namespace {

using namespace calibration_jobs;

const std::string kFailed = "VORA:  DoShortOpenCalibration_BasedOnTelegraphersEquationsOfTransmissionLines error. \n";

void AppendRecord(RecordTable& table, const std::vector<C>& values)
{
    if (table.empty()) table.Reset(static_cast<int64_t>(2 * values.size()));
    double* r = table.Append();
    for (size_t e = 0; e < values.size(); ++e) {
        r[2 * e] = values[e].real();
        r[2 * e + 1] = values[e].imag();
    }
}

TEST(TelegrapherCalibration, DeembedsALineGivenByItsShortAndOpenData)
{
    // One port behind a line of Zc = 60 Ω and γl = 0.1 + 0.8i: the whole structure is the
    // device seen through the line's textbook S.
    const C Zc(60.0, 0.0), gl(0.1, 0.8);
    const double R = 50.0;
    const C sh = std::sinh(gl), ch = std::cosh(gl);
    const C den = (Zc * Zc + R * R) * sh + 2.0 * Zc * R * ch;
    Mat line(2);
    line(0, 0) = line(1, 1) = (Zc * Zc - R * R) * sh / den;
    line(0, 1) = line(1, 0) = 2.0 * Zc * R / den;
    Mat device(1);
    device(0, 0) = C(0.3, -0.4);
    ErrorNetwork e(1);
    PlaceArm(e, {0}, line);

    TempDir dir;
    TestJob t;
    SetWhole(t.job, {2e9}, {Embed(device, e)});
    t.job.freqUnitFactor = 1e9;
    CalibrationGroup& group = AddGroup(t.job, {1}, {2e9}, {});
    group.armKind = 0;
    group.portResistances = {R};
    AppendRecord(group.openValues, {gl / Zc});
    AppendRecord(group.shortValues, {Zc * gl});
    t.job.outputStream = std::make_unique<OutputFile>();
    ASSERT_TRUE(t.job.outputStream->Open((dir.path() / "out.s1p").string()));

    ASSERT_EQ(RunTelegrapherCalibration(t.job), 0);
    EXPECT_EQ(t.log.str(),
              "VORA:  Preprocess and Calibrate succesffuly. \n"
              "VORA:  S paremeter file processed succesffuly. \n"
              "VORA:  Calibration  analysis is done succesffuly. \n"
              "VORA:  DoShortOpenCalibration_BasedOnTelegraphersEquationsOfTransmissionLines succesffuly. \n");
    EXPECT_FALSE(t.job.outputStream->IsOpen());
    std::istringstream out(dir.Read("out.s1p"));
    double f = 0.0, re = 0.0, im = 0.0;
    ASSERT_TRUE(out >> f >> re >> im);
    EXPECT_EQ(f, 2.0);
    EXPECT_NEAR(re, 0.3, 1e-5);
    EXPECT_NEAR(im, -0.4, 1e-5);
}

TEST(TelegrapherCalibration, WithoutGroupsTheBuildFailsAndNothingIsWritten)
{
    TestJob t;
    SetWhole(t.job, {1e9}, {testing_matrix::Pattern(1, 0.5, 1)});
    t.job.outputStream = std::make_unique<OutputFile>();
    EXPECT_EQ(RunTelegrapherCalibration(t.job), -1);
    EXPECT_EQ(t.log.str(),
              "VORA:  S paremeter file processed succesffuly. \n"
              "VORA:  Calibration build error. \n" + kFailed);
}

TEST(TelegrapherCalibration, AFailingGroupStopsTheLoop)
{
    TestJob t;
    SetWhole(t.job, {1e9}, {testing_matrix::Pattern(3, 0.5, 1)});
    AddGroup(t.job, {1}, {1e9}, {});
    AppendRecord(t.job.calibrationGroups[0].shortValues, {C(0.1), C(0.9), C(0.9), C(0.1)});
    AddGroup(t.job, {2}, {1e9}, {});
    CalibrationGroup& third = AddGroup(t.job, {3}, {1e9}, {});
    AppendRecord(third.shortValues, {C(0.1), C(0.9), C(0.9), C(0.1)});
    third.armS[0](0, 0) = C(7.0);  // Preprocess would overwrite it with the record
    // An arm S file in the Nvpl form cannot be preprocessed.
    t.job.calibrationGroups[1].bExtendedArmSyntax = 0;
    t.job.calibrationGroups[1].firstPort = 5;

    EXPECT_EQ(RunTelegrapherCalibration(t.job), -1);
    EXPECT_EQ(t.log.str(),
              "VORA:  Preprocess and Calibrate succesffuly. \n"
              "VORA:: Arm S file of port 5 needs the extended arm syntax\n"
              "VORA:  Preprocess 5 arm file error. \n"
              "VORA:  Preprocess and Calibrate error. \n"
              "VORA:  Processing S paramters file error. \n" + kFailed);
    EXPECT_EQ(t.job.calibrationGroups[2].armS[0](0, 0), C(7.0));
}

}  // namespace
