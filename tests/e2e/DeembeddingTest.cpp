// De-embedding through the real binary on generated jobs with a known answer: the device comes
// back at more than six ports, interpolated arm data converge as linear interpolation must,
// failed calibrations end with the driver's lines, and the port-line report prints what the
// geometry says.
#if __has_include("jobgen/JobWriter.h")

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "support/VoraRun.h"

namespace {

const int kFailed = 255;  // -1 as the shell sees it
const std::string kParsed = "VORA:  Command line option successfully.\n";
const std::string kReadingDone = "VORA:  Reading map file successfully. \nVORA:  Reading whole structure file successfully. \n";
const std::string kArmsRead = "VORA:  Reading Open Y Files and Short Z Files succesffuly. \n";
const std::string kSwitches = "VORA:  VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged = true. \n"
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

bool Generate(const TempDir& dir, const std::string& options)
{
    const std::string command =
        std::string(VORA_TOOLS_DIR) + "/vora-jobgen " + options + " " + dir.path().string() + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

VoraRun Deembed(const TempDir& dir, const std::string& output)
{
    return RunVora({"-filepath", dir.dir(), "-in", "job.map", "-out", output}, dir.path(), dir.path());
}

std::string AfterCommandLine(const std::string& log)
{
    const size_t start = log.find(kParsed);
    return start == std::string::npos ? "no command line in: " + log : log.substr(start + kParsed.size());
}

// The lines of a Touchstone text that start with "!" or "#".
std::string Header(const std::string& text)
{
    std::istringstream in(text);
    std::string header, line;
    while (std::getline(in, line))
        if (!line.empty() && (line[0] == '!' || line[0] == '#')) header += line + "\n";
    return header;
}

// Data records of 2·N²+1 numbers each, however they are spread over lines.
std::vector<std::vector<double>> Records(const std::string& text, size_t ports)
{
    std::istringstream in(text);
    std::vector<double> numbers;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '!' || line[0] == '#') continue;
        std::istringstream tokens(line);
        double value;
        while (tokens >> value) numbers.push_back(value);
    }
    const size_t length = 2 * ports * ports + 1;
    std::vector<std::vector<double>> records;
    for (size_t i = 0; i + length <= numbers.size(); i += length)
        records.emplace_back(numbers.begin() + static_cast<std::ptrdiff_t>(i),
                             numbers.begin() + static_cast<std::ptrdiff_t>(i + length));
    return records;
}

// Largest |S_out − S_device| over all entries and frequencies; -1 when the files disagree in shape.
double LargestDeviation(const TempDir& dir, const std::string& output, size_t ports)
{
    const auto result = Records(dir.Read(output), ports);
    const auto device = Records(dir.Read("device.s" + std::to_string(ports) + "p"), ports);
    if (result.empty() || result.size() != device.size()) return -1.0;
    double worst = 0.0;
    for (size_t k = 0; k < device.size(); ++k)
        for (size_t i = 1; i < device[k].size(); i += 2)
            worst = std::max(worst, std::abs(std::complex<double>(result[k][i], result[k][i + 1]) -
                                             std::complex<double>(device[k][i], device[k][i + 1])));
    return worst;
}

// Cuts the last data record (it starts on the last line that begins with a digit).
void DropLastRecord(const TempDir& dir, const std::string& name)
{
    std::string text = dir.Read(name);
    size_t start = std::string::npos;
    for (size_t pos = 0; pos < text.size();) {
        if (std::isdigit(static_cast<unsigned char>(text[pos]))) start = pos;
        const size_t end = text.find('\n', pos);
        if (end == std::string::npos) break;
        pos = end + 1;
    }
    if (start != std::string::npos) text.resize(start);
    dir.Write(name, text);
}

std::string Streamed(double value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

std::string ReportLine(int group, bool sameLength, double length)
{
    return "VORA:  For calibration group" + std::to_string(group) + ", each port line has " +
           (sameLength ? "same" : "different") + " length, length of line of port 0 = " + Streamed(length) +
           ", frequency at which the length is quarter of wavelength = " + Streamed(3e8 / std::sqrt(kEr) / (4.0 * length)) +
           "\n";
}

std::string NoResonanceLine(int group)
{
    return "VORA:  For calibration group" + std::to_string(group) +
           ", first resonant frequency of real(short Z1,1) is out of the simulation frequency range for short Z "
           ", first resonant frequency of real(open Y1,1) is out of the simulation frequency range for open Y \n";
}

// Eight ports: a kind-0 group of three coupled lines, one of two shorter lines, an arm S
// group and port 8 wired straight to the device.
const std::string kEightPorts = "--ports 8 --group 1-3:EP --group 4,5:EP:3m --group 6,7:ES --points 5";

TEST(Deembedding, EightPortJobGivesTheDeviceBackToSixDigitsWithBrokenLines)
{
    TempDir dir;
    ASSERT_TRUE(Generate(dir, kEightPorts));
    const VoraRun run = Deembed(dir, "out.s8p");
    ASSERT_EQ(run.status, 0) << run.log;

    const std::string output = dir.Read("out.s8p");
    const auto result = Records(output, 8);
    const auto device = Records(dir.Read("device.s8p"), 8);
    ASSERT_EQ(result.size(), 5u);
    ASSERT_EQ(device.size(), 5u);
    for (size_t k = 0; k < device.size(); ++k)
        for (size_t i = 0; i < device[k].size(); ++i)
            // %g with 6 significant digits is off by at most half a unit of the sixth digit.
            EXPECT_NEAR(result[k][i], device[k][i], 5e-6 * std::abs(device[k][i]) + 1e-9)
                << "record " << k << " value " << i;

    // 64 entries per record: a break "\n\t" after entries 4, 8, .., 60, none after 64.
    std::istringstream body(output.substr(Header(output).size()));
    std::vector<std::string> lines;
    for (std::string line; std::getline(body, line);) lines.push_back(line);
    ASSERT_EQ(lines.size(), 5u * 16u) << output;
    for (size_t j = 0; j < lines.size(); ++j) {
        std::istringstream tokens(lines[j]);
        size_t count = 0;
        for (std::string token; tokens >> token;) ++count;
        if (j % 16 == 0) {
            EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(lines[j][0]))) << lines[j];
            EXPECT_EQ(count, 9u) << lines[j];
        } else {
            EXPECT_TRUE(lines[j].starts_with("\t ")) << lines[j];
            EXPECT_EQ(count, 8u) << lines[j];
        }
    }
}

// Every whole point a third of an arm step h above an arm point: linear interpolation misses
// by h²/9 · (second derivative), so each halving of the arm step cuts the error about 4 times
// (weights taken the wrong way round would miss by a term in h and halve it only).
TEST(Deembedding, InterpolatedArmDataConvergeQuadraticallyInTheArmStep)
{
    std::vector<double> errors;
    for (int factor : {1, 2, 4, 8}) {
        TempDir dir;
        ASSERT_TRUE(Generate(dir, "--group 1,2:EP --group 3,4:ES --fstart 500M --fstop 2.5G --points 5 --arm-grid shifted:" +
                                      std::to_string(factor)));
        const VoraRun run = Deembed(dir, "out.s4p");
        ASSERT_EQ(run.status, 0) << run.log;
        errors.push_back(LargestDeviation(dir, "out.s4p", 4));
    }
    EXPECT_GT(errors.back(), 1e-5) << "the finest grid must stay clear of the output's rounding";
    for (size_t i = 1; i < errors.size(); ++i) {
        const double ratio = errors[i - 1] / errors[i];
        EXPECT_GT(ratio, 2.5) << "step " << i << ": " << errors[i - 1] << " -> " << errors[i];
        EXPECT_LT(ratio, 6.0) << "step " << i << ": " << errors[i - 1] << " -> " << errors[i];
    }
}

// Arm files that stop one point short of the whole structure: the group's coverage check
// names the file and the missing frequency, and the calibration fails before any output.
TEST(Deembedding, ArmFilesShortOfTheLastFrequencyFailWithTheirFileType)
{
    const std::string twoEP = "--fstart 500M --fstop 1.5G --points 3";
    const std::string epAndES = twoEP + " --group 1,2:EP --group 3,4:ES";
    struct Case {
        std::string options;
        std::vector<std::string> truncated;
        std::string message;  // after "VORA:: " + the job directory
        bool secondGroupIsEP;
    } cases[] = {
        {twoEP, {"arm2_open.s2p"}, "arm2_open.s2p (Open Y File)'s frequency range does not include 1.5e+09 in ", true},
        {twoEP, {"arm1_short.s2p"}, "arm1_short.s2p (Short Z File)'s frequency range does not include 1.5e+09 in ", true},
        // the open file is checked first
        {twoEP, {"arm1_short.s2p", "arm1_open.s2p"},
         "arm1_open.s2p (Open Y File)'s frequency range does not include 1.5e+09 in ", true},
        {epAndES, {"arm2.s4p"}, "arm2.s4p (Arm S File)'s frequency range does not include 1.5e+09 in ", false},
    };
    for (const Case& c : cases) {
        TempDir dir;
        ASSERT_TRUE(Generate(dir, c.options));
        for (const std::string& name : c.truncated) DropLastRecord(dir, name);
        const VoraRun run = Deembed(dir, "out.s4p");
        EXPECT_EQ(run.status, kFailed) << c.message;
        const std::string expected =
            kReadingDone + kNoResonance + kNoResonance + (c.secondGroupIsEP ? kNoResonance + kNoResonance : "") +
            kArmsRead + kSwitches + ReportLine(0, true, 0.005) + (c.secondGroupIsEP ? ReportLine(1, true, 0.005) : "") +
            NoResonanceLine(0) + (c.secondGroupIsEP ? NoResonanceLine(1) : "") + "VORA:: " + dir.dir() + c.message +
            dir.dir() + "whole.s4p\n" + kCalibrationFailed;
        EXPECT_EQ(AfterCommandLine(run.log), expected);
        EXPECT_EQ(dir.Read("out.s4p"), Header(dir.Read("whole.s4p")));
    }
}

// A zero open admittance or short impedance matrix has no inverse; the chain-matrix
// derivation fails although the open inverse is never used afterwards.
TEST(Deembedding, SingularOpenOrShortMatrixFailsTheCalibration)
{
    const struct {
        std::string file, type;
    } cases[] = {{"arm1_open.s2p", "Y"}, {"arm1_short.s2p", "Z"}};
    for (const auto& [file, type] : cases) {
        TempDir dir;
        ASSERT_TRUE(Generate(dir, "--ports 2 --group 1,2:EP --fstart 500M --fstop 1.5G --points 3"));
        std::string zeros = "# GHz " + type + " RI R 50\n";
        for (const char* f : {"0.5", "1", "1.5"}) zeros += std::string(f) + " 0 0 0 0 0 0 0 0\n";
        dir.Write(file, zeros);
        const VoraRun run = Deembed(dir, "out.s2p");
        EXPECT_EQ(run.status, kFailed) << file;
        // Re Z11 or Re Y11 is flat (the first open value 0 is stored as 1e-12): no maximum either.
        EXPECT_EQ(AfterCommandLine(run.log), kReadingDone + kNoResonance + kNoResonance + kArmsRead + kSwitches +
                                                 ReportLine(0, true, 0.005) + NoResonanceLine(0) + kCalibrationFailed)
            << file;
        EXPECT_EQ(dir.Read("out.s2p"), Header(dir.Read("whole.s2p"))) << file;
    }
}

// The whole log of a successful eight-port job. Port 5's line is made 1 % longer than port 4's
// in the map: the group then counts as of different lengths, its resonance search is not run
// and reports twice the analysis limit, (3e8/sqrt(ER))/(4·l)·0.75, for both series. The arm
// data do not depend on the map's geometry below the limit, so the device still comes back.
TEST(Deembedding, LogReportsThePortLinesAndResonancesOfEveryShortOpenGroup)
{
    TempDir dir;
    ASSERT_TRUE(Generate(dir, kEightPorts));
    std::string map = dir.Read("job.map");
    const std::string port5 = "0.003 5.8e+07 2e-04 3.5e-05 0.003 ";
    const size_t at = map.find(port5);
    ASSERT_NE(at, std::string::npos) << map;
    map.replace(at, port5.size(), "0.003 5.8e+07 2e-04 3.5e-05 0.00303 ");
    dir.Write("job.map", map);

    const VoraRun run = Deembed(dir, "out.s8p");
    EXPECT_EQ(run.status, 0);
    const std::string limit = Streamed(2.0 * (3e8 / std::sqrt(kEr)) / (4.0 * 0.003) * 3.0 * 0.25);
    EXPECT_EQ(AfterCommandLine(run.log),
              kReadingDone + kNoResonance + kNoResonance + kArmsRead + kSwitches + ReportLine(0, true, 0.005) +
                  ReportLine(1, false, 0.003) + NoResonanceLine(0) + "VORA:  For calibration group1, first resonant " +
                  "frequency of real(short Z1,1) = " + limit + ", first resonant frequency of real(open Y1,1) = " + limit +
                  "\n" + kCalibrationDone);
    EXPECT_LT(LargestDeviation(dir, "out.s8p", 8), 2e-6);
}

}  // namespace

#endif
