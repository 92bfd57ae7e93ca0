// De-embedding through the real binary on generated jobs with a known answer: the device comes
// back at more than six ports, interpolated arm data converge as linear interpolation must,
// failed calibrations end with the driver's lines, and the port-line report prints what the
// geometry says.
#include "support/GeneratedJobs.h"
#ifdef VORA_TESTS_WITH_JOBGEN

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/EndToEnd.h"

namespace {

const std::string kReadingDone = "VORA:  Reading map file successfully. \nVORA:  Reading whole structure file successfully. \n";
const std::string kArmsRead = "VORA:  Reading Open Y Files and Short Z Files succesffuly. \n"
                              "VORA:  VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged = true. \n"
                              "VORA:  VoraGlobal_b_Use_vc_Saa_Sab_Sba_Sbb_ForSpecialCaseOfOnly1CGroupPort = false. \n";
// The real part of a lossy line's short impedance and open admittance rises monotonically
// below the quarter wave, so the resonance search of an equal-length group finds no maximum.
const std::string kNoResonance = "VORA:: Port Resonace Frequency finding error\n";
const std::string kCalibrationFailed = "VORA:  Update_vdcm_Sout_ForAllFrequencies_Swhole error. \n"
                                       "VORA:  DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines"
                                       " error. \nVORA:  Program fails.\n";
const std::string kCalibrationDone = "VORA:  Update_vdcm_Sout_ForAllFrequencies_Swhole succesffuly. \n"
                                     "VORA:  DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines"
                                     " succesffuly. \nVORA:  Program successfully completed.\n";
const double kEr = 4.3;  // the generator's ER

std::string Streamed(double value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

// The report of a group's port lines and of its resonance search ("" resonance: none found).
std::string ReportLine(int group, bool sameLength, double length)
{
    return "VORA:  For calibration group" + std::to_string(group) + ", each port line has " +
           (sameLength ? "same" : "different") + " length, length of line of port 0 = " + Streamed(length) +
           ", frequency at which the length is quarter of wavelength = " + Streamed(3e8 / std::sqrt(kEr) / (4.0 * length)) +
           "\n";
}
std::string ResonanceLine(int group, const std::string& resonance = "")
{
    const std::string g = "VORA:  For calibration group" + std::to_string(group);
    if (!resonance.empty())
        return g + ", first resonant frequency of real(short Z1,1) = " + resonance +
               ", first resonant frequency of real(open Y1,1) = " + resonance + "\n";
    return g + ", first resonant frequency of real(short Z1,1) is out of the simulation frequency range for short Z "
               ", first resonant frequency of real(open Y1,1) is out of the simulation frequency range for open Y \n";
}

// Where the arm data reach a method intact it must give the device back to its 6-digit
// output; where they cannot (see tools/README.md) the result must visibly miss, so the
// README's table stays true. vora-telegrapher is the same program with the telegrapher's-
// equations method switched on: with the lines' series impedance and shunt admittance as arm
// data that model is exact.
TEST(Deembedding, GeneratedJobsGiveTheDeviceBackWhereTheArmDataAllowIt)
{
    const std::string vora = VORA_BINARY, telegrapher = VORA_TELEGRAPHER_BINARY;
    struct Case {
        const char* options;
        int32_t ports;
        const std::string& binary;
        bool exact;  // exact: within the output format; else: off by more than 1e-3
    };
    const Case cases[] = {
        {"", 4, vora, true},                                                    // EP, coupled pairs
        {"--arm ES --fstop 8G", 4, vora, true},                                 // arm S: no limit
        {"--ports 3 --group 1:plain-EP --group 2,3:ES --unit MHz", 3, vora, true},
        {"--ports 2 --group 1:plain-ED --group 2:plain-EP --unit kHz", 2, vora, true},
        {"--ports 6 --group 1-3:EP:3m --group 5:EP:7m --arm-grid fine:3", 6, vora, true},  // port 4, 6 straight
        {"--device series --series-c 2p --unit Hz", 4, vora, true},
        {"--arm ED", 4, vora, false},          // Z/Y iterated as if they were S
        {"--fstop 8G", 4, vora, false},        // beyond fD = 5.4 GHz the analysis replaces arm data
        {"--series-shunt", 4, vora, false},    // lumped stand-in data
        {"--series-shunt --ports 2 --group 1:EP --group 2:EP", 2, telegrapher, true},  // single lines
        {"--series-shunt", 4, telegrapher, true},                                       // two coupled pairs
        {"--series-shunt --ports 5 --group 1-3:EP --group 5:EP:3m", 5, telegrapher, true},  // port 4 straight
        {"--arm ES --fstop 8G", 4, telegrapher, true},                                  // arm S as it stands
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.binary + " " + c.options);
        TempDir dir;
        // Enough points that half of them are de-embedded in a child process.
        ASSERT_TRUE(GenerateJob(std::string("--points 101 ") + c.options, dir.dir()));
        const std::string output = "out.s" + std::to_string(c.ports) + "p";
        const VoraRun run = RunMapJob(dir, output, c.binary);
        ASSERT_EQ(run.status, 0) << run.log;
        const double deviation = DeviationFromDevice(dir.dir(), c.ports, output);
        ASSERT_GE(deviation, 0.0);
        if (c.exact)
            EXPECT_LT(deviation, 2e-6);
        else
            EXPECT_GT(deviation, 1e-3);
    }
}

// Eight ports: a kind-0 group of three coupled lines, one of two shorter lines, an arm S
// group and port 8 wired straight to the device. Port 5's line is made 1 % longer than port
// 4's in the map: the group then counts as of different lengths, its resonance search is not
// run and reports twice the analysis limit, (3e8/sqrt(ER))/(4·l)·0.75, for both series. The
// arm data do not depend on the map's geometry below the limit, so the device still comes
// back, to the six digits of the output (whose records are broken after every fourth entry).
TEST(Deembedding, EightPortJobGivesTheDeviceBackAndReportsEveryGroup)
{
    TempDir dir;
    ASSERT_TRUE(GenerateJob("--ports 8 --group 1-3:EP --group 4,5:EP:3m --group 6,7:ES --points 5", dir.dir()));
    std::string map = dir.Read("job.map");
    const std::string port5 = "0.003 5.8e+07 2e-04 3.5e-05 0.003 ";
    const size_t at = map.find(port5);
    ASSERT_NE(at, std::string::npos) << map;
    map.replace(at, port5.size(), "0.003 5.8e+07 2e-04 3.5e-05 0.00303 ");
    dir.Write("job.map", map);

    const VoraRun run = RunMapJob(dir, "out.s8p");
    ASSERT_EQ(run.status, 0) << run.log;
    const std::string limit = Streamed(2.0 * (3e8 / std::sqrt(kEr)) / (4.0 * 0.003) * 0.75);
    EXPECT_EQ(AfterCommandLine(run.log), kReadingDone + kNoResonance + kNoResonance + kArmsRead +
                                             ReportLine(0, true, 0.005) + ReportLine(1, false, 0.003) + ResonanceLine(0) +
                                             ResonanceLine(1, limit) + kCalibrationDone);

    const double deviation = DeviationFromDevice(dir.dir(), 8, "out.s8p");
    EXPECT_TRUE(deviation >= 0.0 && deviation < 2e-6) << deviation;
}

// Every whole point a third of an arm step h above an arm point: linear interpolation misses
// by h²/9 · (second derivative), so each halving of the arm step cuts the error about 4 times
// (weights taken the wrong way round would miss by a term in h and halve it only). Both
// methods interpolate their arm data, each in its own code.
TEST(Deembedding, InterpolatedArmDataConvergeQuadraticallyInTheArmStep)
{
    const struct {
        std::string binary, options;
    } cases[] = {{VORA_BINARY, "--group 1,2:EP --group 3,4:ES"}, {VORA_TELEGRAPHER_BINARY, "--series-shunt"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.binary);
        std::vector<double> errors;
        for (int factor : {1, 2, 4, 8}) {
            TempDir dir;
            ASSERT_TRUE(GenerateJob(c.options + " --fstart 500M --fstop 2.5G --points 5 --arm-grid shifted:" +
                                        std::to_string(factor),
                                    dir.dir()));
            const VoraRun run = RunMapJob(dir, "out.s4p", c.binary);
            ASSERT_EQ(run.status, 0) << run.log;
            errors.push_back(DeviationFromDevice(dir.dir(), 4, "out.s4p"));
        }
        EXPECT_GT(errors.back(), 1e-5) << "the finest grid must stay clear of the output's rounding";
        for (size_t i = 1; i < errors.size(); ++i) {
            const double ratio = errors[i - 1] / errors[i];
            EXPECT_GT(ratio, 2.5) << "step " << i << ": " << errors[i - 1] << " -> " << errors[i];
            EXPECT_LT(ratio, 6.0) << "step " << i << ": " << errors[i - 1] << " -> " << errors[i];
        }
    }
}

// Cuts the last data record (it starts on the last line that begins with a digit).
std::string DropLastRecord(std::string text)
{
    size_t start = std::string::npos;
    for (size_t pos = 0; pos < text.size();) {
        if (std::isdigit(static_cast<unsigned char>(text[pos]))) start = pos;
        const size_t end = text.find('\n', pos);
        if (end == std::string::npos) break;
        pos = end + 1;
    }
    if (start != std::string::npos) text.resize(start);
    return text;
}

// Arm data that no calibration can use fail it before any record reaches the output: arm
// files one point short of the whole structure (the group's coverage check names the file
// and the missing frequency), or a zero open admittance or short impedance matrix, which has
// no inverse (the chain-matrix derivation fails although the open inverse is never used
// afterwards).
TEST(Deembedding, UnusableArmDataFailTheCalibration)
{
    const std::string zeroY = "# GHz Y RI R 50\n0.5 0 0 0 0 0 0 0 0\n1 0 0 0 0 0 0 0 0\n1.5 0 0 0 0 0 0 0 0\n";
    const std::string zeroZ = "# GHz Z" + zeroY.substr(7);
    const std::string coverage = "'s frequency range does not include 1.5e+09 in <dir>whole.s4p\n";
    struct Case {
        std::string options;                                  // beyond "--fstart 500M --fstop 1.5G --points 3"
        std::vector<std::pair<std::string, std::string>> changed;  // file, new text ("": the last record dropped)
        std::string message;                                  // after the port-line report
    } cases[] = {
        {"", {{"arm2_open.s2p", ""}}, "VORA:: <dir>arm2_open.s2p (Open Y File)" + coverage},
        {"", {{"arm1_short.s2p", ""}}, "VORA:: <dir>arm1_short.s2p (Short Z File)" + coverage},
        // the open file is checked first
        {"", {{"arm1_short.s2p", ""}, {"arm1_open.s2p", ""}}, "VORA:: <dir>arm1_open.s2p (Open Y File)" + coverage},
        {"--group 1,2:EP --group 3,4:ES", {{"arm2.s4p", ""}}, "VORA:: <dir>arm2.s4p (Arm S File)" + coverage},
        // Re Z11 or Re Y11 is flat (the first open value 0 is stored as 1e-12): no maximum either.
        {"--ports 2 --group 1,2:EP", {{"arm1_open.s2p", zeroY}}, ""},
        {"--ports 2 --group 1,2:EP", {{"arm1_short.s2p", zeroZ}}, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.options + " " + c.changed[0].first);
        TempDir dir;
        ASSERT_TRUE(GenerateJob("--fstart 500M --fstop 1.5G --points 3 " + c.options, dir.dir()));
        for (const auto& [name, text] : c.changed) dir.Write(name, text.empty() ? DropLastRecord(dir.Read(name)) : text);
        const bool twoGroups = c.options.find("--ports 2") == std::string::npos;
        const bool twoEP = twoGroups && c.options.find("ES") == std::string::npos;
        const std::string output = twoGroups ? "out.s4p" : "out.s2p";
        const VoraRun run = RunMapJob(dir, output);
        EXPECT_EQ(run.status, kFailed);
        const std::string message = ReplaceAll(c.message, "<dir>", dir.dir());
        const std::string twice = kNoResonance + kNoResonance;
        EXPECT_EQ(AfterCommandLine(run.log), kReadingDone + twice + (twoEP ? twice : "") + kArmsRead +
                                                 ReportLine(0, true, 0.005) + (twoEP ? ReportLine(1, true, 0.005) : "") +
                                                 ResonanceLine(0) + (twoEP ? ResonanceLine(1) : "") + message +
                                                 kCalibrationFailed);
        EXPECT_FALSE(dir.Exists(output));
    }
}

// Half of the frequencies are de-embedded in a child process: an arm that is singular only
// at the last frequency, in the child's half, still fails the whole run, and no output appears.
TEST(Deembedding, ASingularArmAtTheLastFrequencyFailsTheRun)
{
    TempDir dir;
    ASSERT_TRUE(GenerateJob("--fstart 500M --fstop 1.5G --points 300", dir.dir()));
    std::string open = dir.Read("arm1_open.s2p");
    const size_t last = open.rfind('\n', open.size() - 2) + 1;
    const std::string frequency = open.substr(last, open.find(' ', last) - last);
    open = open.substr(0, last) + frequency + " 0 0 0 0 0 0 0 0\n";
    dir.Write("arm1_open.s2p", open);
    const VoraRun run = RunMapJob(dir, "out.s4p");
    EXPECT_EQ(run.status, kFailed);
    EXPECT_TRUE(run.log.ends_with(kCalibrationFailed)) << run.log;
    EXPECT_FALSE(dir.Exists("out.s4p"));
}

}  // namespace

#endif
