// De-embedding through the real binary on generated jobs with a known answer: the device comes
// back wherever the method can give it, in every file form and to the digits asked for, and
// an arm that fails in the worker's half of the frequencies fails the whole run.
#include "support/GeneratedJobs.h"
#ifdef VORA_TESTS_WITH_JOBGEN

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/EndToEnd.h"

namespace {

const std::string kCalibrationFailed = "VORA:  Update_vdcm_Sout_ForAllFrequencies_Swhole error. \n"
                                       "VORA:  DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines"
                                       " error. \nVORA:  Program fails.\n";

// The most significant digits any number of the output's data lines has.
size_t MostDigits(const std::string& output)
{
    std::istringstream in(output);
    size_t most = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '!' || line[0] == '#') continue;
        std::istringstream words(line);
        for (std::string word; words >> word;) {
            std::string digits;
            for (char c : word.substr(0, word.find_first_of("eE")))
                if (c >= '0' && c <= '9') digits += c;
            const size_t first = digits.find_first_not_of('0');
            if (first != std::string::npos) most = std::max(most, digits.size() - first);
        }
    }
    return most;
}

// Each line of text passed through `edit` (without its line feed).
std::string EachLine(const std::string& text, const Edit& edit)
{
    std::istringstream in(text);
    std::string out, line;
    while (std::getline(in, line)) out += edit(line) + "\n";
    return out;
}

// The option lines changed to one letter case (std::tolower or std::toupper).
Edit OptionLineCase(int (*change)(int))
{
    return [=](const std::string& text) {
        return EachLine(text, [=](std::string line) {
            if (line.starts_with("#"))
                for (char& c : line) c = static_cast<char>(change(static_cast<unsigned char>(c)));
            return line;
        });
    };
}

// Where the arm data reach a method intact it must give the device back to its output's
// digits (6, or those -precision asks for), in every form a writer may give the job's
// Touchstone files; where they cannot (see tools/README.md) the result must visibly miss, so
// the README's table stays true. vora-telegrapher is the same program with the telegrapher's-
// equations method switched on: with the lines' series impedance and shunt admittance as arm
// data that model is exact.
TEST(Deembedding, GeneratedJobsGiveTheDeviceBackWhereTheArmDataAllowIt)
{
    const std::string vora = VORA_BINARY, telegrapher = VORA_TELEGRAPHER_BINARY;
    const std::string twoPorts = "--ports 2 --group 1:EP --group 2:EP ";
    struct Case {
        std::string options;
        int32_t ports;
        const std::string& binary;
        double within = 2e-6;    // of the device; negative: off by more than -within
        Edit edit = nullptr;     // of every data file
        const char* precision = nullptr;
    };
    const Case cases[] = {
        {"", 4, vora},                                                         // EP, coupled pairs
        {"--arm ES --fstop 8G", 4, vora},                                      // arm S: no limit
        {"--ports 3 --group 1:plain-EP --group 2,3:ES --unit MHz", 3, vora},
        {"--ports 2 --group 1:plain-ED --group 2:plain-EP --unit kHz", 2, vora},
        {"--ports 6 --group 1-3:EP:3m --group 5:EP:7m --arm-grid fine:3", 6, vora},  // port 4, 6 straight
        {"--device series --series-c 2p --unit Hz", 4, vora},
        // Records broken after every fourth entry; a kind-0 group of three lines, two
        // shorter lines, an arm S group and port 8 wired straight.
        {"--ports 8 --group 1-3:EP --group 4,5:EP:3m --group 6,7:ES", 8, vora},
        {"--arm ED", 4, vora, -1e-3},          // Z/Y iterated as if they were S
        {"--fstop 8G", 4, vora, -1e-3},        // beyond fD = 5.4 GHz the analysis replaces arm data
        {"--series-shunt", 4, vora, -1e-3},    // lumped stand-in data
        {"--series-shunt --ports 2 --group 1:EP --group 2:EP", 2, telegrapher},  // single lines
        {"--series-shunt", 4, telegrapher},                                       // two coupled pairs
        {"--series-shunt --ports 5 --group 1-3:EP --group 5:EP:3m", 5, telegrapher},  // port 4 straight
        {"--arm ES --fstop 8G", 4, telegrapher},                                  // arm S as it stands
        // The forms of the data files.
        {"--format MA", 4, vora},
        {"--format DB --unit MHz", 4, vora},
        {"--unit MHz", 4, vora, 2e-6, OptionLineCase(::tolower)},  // "mhz" is megahertz, not millihertz
        // Touchstone's defaults (GHz, MA, R 50) without an option line, or with a bare one in
        // the whole structure only: the extended arm files must name their Z and Y.
        {"--format MA", 4, vora, 2e-6,
         [](const std::string& t) { return EachLine(t, [](const std::string& l) { return l.starts_with("#") ? "! " + l : l; }); }},
        {"--format MA", 4, vora, 2e-6, ReplaceText("# GHz S MA R 50\n", "#\n")},
        // Version 2: wrapped rows with a comment after each, [Reference] on the next line.
        {"--version 2", 4, vora},
        {"--version 2 --matrix Upper --format DB", 4, vora},
        {"--version 2 --matrix Lower --format MA", 4, vora},
        {twoPorts + "--version 2", 2, vora},  // two-port order 12_21
        // Noise parameters after a version-1 two-port's data: frequency, minimum noise figure,
        // reflection magnitude and angle, effective noise resistance.
        {twoPorts, 2, vora, 2e-6,
         [](const std::string& t) {
             return t.find("S RI") == std::string::npos ? t : t + "! noise\n0.01 0.5 0.3 20 0.2\n1 0.7 0.25 30\n 0.3\n";
         }},
        {"", 4, vora, 5e-3, nullptr, "3"},
        {"", 4, vora, 1e-9, nullptr, "10"},
        {"", 4, vora, 1e-11, nullptr, "full"},
        {"--series-shunt", 4, telegrapher, 1e-11, nullptr, "FULL"},
        {"--series-shunt", 4, telegrapher, 5e-2, nullptr, "2"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.binary + " " + c.options + (c.precision ? std::string(" -precision ") + c.precision : ""));
        TempDir dir;
        // Enough points that half of them are de-embedded in a child process.
        ASSERT_TRUE(GenerateJob("--points 101 " + c.options, dir.dir()));
        if (c.edit)
            for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
                const std::string name = entry.path().filename().string();
                if (!name.starts_with("device") && name.find(".s") != std::string::npos) dir.Write(name, c.edit(dir.Read(name)));
            }
        const std::string output = "out.s" + std::to_string(c.ports) + "p";
        std::vector<std::string> args = {"-filepath", dir.dir(), "-in", "job.map", "-out", output};
        if (c.precision) args.insert(args.end(), {"-precision", c.precision});
        const VoraRun run = RunVora(args, dir.path(), dir.path(), c.binary);
        ASSERT_EQ(run.status, 0) << run.log;
        // The frequencies too come back, to the digits they are printed with. (The plot
        // tool's reader takes unit letters in upper case only.)
        dir.Write(output, OptionLineCase(::toupper)(dir.Read(output)));
        const size_t digits = !c.precision ? 6 : std::isdigit(c.precision[0]) ? std::stoul(c.precision) : 17;
        const double deviation = DeviationFromDevice(dir.dir(), c.ports, output, digits < 6 ? std::pow(10.0, 1.0 - digits) : 1e-5);
        ASSERT_GE(deviation, 0.0);
        if (c.within > 0)
            EXPECT_LE(deviation, c.within);
        else
            EXPECT_GT(deviation, -c.within);
        const size_t most = MostDigits(dir.Read(output));
        EXPECT_LE(most, digits);
        EXPECT_GT(most, digits / 2);
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
