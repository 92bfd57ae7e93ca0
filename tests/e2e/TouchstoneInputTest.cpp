// Whole structures a writer may give in other parameters or with references that differ per
// port, read through the real binary on generated jobs with a known device: the device
// comes back, and the output says in its option line and header what it holds.
#include "support/GeneratedJobs.h"
#ifdef VORA_TESTS_WITH_JOBGEN

#include <gtest/gtest.h>

#include <complex>
#include <sstream>
#include <string>

#include "e2e/EndToEnd.h"
#include "numerics/Dcm.h"

namespace {

std::string OptionLineOf(const std::string& text)
{
    const size_t at = text.find("\n#");
    return at == std::string::npos ? "" : text.substr(at + 1, text.find('\n', at + 1) - at);
}

// A whole structure given as Z in MA form with a reference of 20 ohm, or as Y in RI form
// (both normalised to the reference, as version 1 writes them), or as Z in ohms in
// version 2, reads as the S it came from.
TEST(TouchstoneInput, YAndZWholeStructuresReadAsTheirS)
{
    struct Case {
        char parameter;
        bool bVersion2;
    };
    for (const Case c : {Case{'Z', false}, Case{'Y', false}, Case{'Z', true}, Case{'Y', true}}) {
        SCOPED_TRACE(std::string(1, c.parameter) + (c.bVersion2 ? " version 2" : " version 1"));
        TempDir dir;
        ASSERT_TRUE(GenerateJob("--points 21 --r-ref 20", dir.dir()));
        TouchstoneSeries whole;
        ASSERT_TRUE(ReadAllEntries(dir.dir() + "whole.s4p", 4, whole));
        std::ostringstream text;
        text.precision(17);
        if (c.bVersion2) text << "[Version] 2.0\n";
        text << "! converted\n# GHz " << c.parameter << (c.parameter == 'Z' && !c.bVersion2 ? " MA" : " RI") << " R 20\n";
        if (c.bVersion2) text << "[Number of Ports] 4\n[Reference] 20 20\n20 20\n[Network Data]\n";
        // Version 2 gives Z in ohms and Y in siemens.
        const double scale = !c.bVersion2 ? 1.0 : c.parameter == 'Z' ? 20.0 : 1.0 / 20.0;
        dcm S(4), IplusS(4), IminusS(4), inverse(4), converted(4);
        for (size_t k = 0; k < whole.frequencies.size(); ++k) {
            for (int32_t e = 0; e < 16; ++e) S.data[e] = whole.values[static_cast<size_t>(e)][k];
            for (int32_t e = 0; e < 16; ++e) {
                const Complex identity = e % 5 == 0 ? 1.0 : 0.0;
                IplusS.data[e] = identity + S.data[e];
                IminusS.data[e] = identity - S.data[e];
            }
            // z = (I + S)(I - S)^-1, y = (I - S)(I + S)^-1
            ASSERT_TRUE(Inverse(c.parameter == 'Z' ? IminusS : IplusS, inverse));
            Multiply(c.parameter == 'Z' ? IplusS : IminusS, inverse, converted);
            text << whole.frequencies[k] / 1e9;
            for (int32_t e = 0; e < 16; ++e) {
                const Complex v = converted.data[e] * scale;
                if (c.parameter == 'Z' && !c.bVersion2)
                    text << " " << std::abs(v) << " " << std::arg(v) * 180.0 / M_PI;
                else
                    text << " " << v.real() << " " << v.imag();
            }
            text << "\n";
        }
        if (c.bVersion2) text << "[End]\n";
        dir.Write("whole.s4p", text.str());
        const VoraRun run = RunMapJob(dir, "out.s4p");
        ASSERT_EQ(run.status, 0) << run.log;
        EXPECT_LT(DeviationFromDevice(dir.dir(), 4, "out.s4p"), 2e-6);
        EXPECT_EQ(OptionLineOf(dir.Read("out.s4p")), "# GHz S RI R 20\n");
    }
}

// References that differ per port cannot be stated by version 1: the output is version 2,
// with the references of the input, version 1's two-port order, and [End] after the data.
TEST(TouchstoneInput, ReferencesThatDifferPerPortGiveAVersionTwoOutput)
{
    for (const int32_t ports : {4, 2}) {
        SCOPED_TRACE(ports);
        TempDir dir;
        ASSERT_TRUE(GenerateJob(std::string("--points 5 --version 2") + (ports == 2 ? " --ports 2 --group 1:EP --group 2:EP" : ""),
                                dir.dir()));
        const std::string whole = "whole.s" + std::to_string(ports) + "p";
        const std::string same = ports == 4 ? "50 50 50 50" : "50 50";
        const std::string differ = ports == 4 ? "50 60 50 75" : "50 60";
        dir.Write(whole, ReplaceAll(dir.Read(whole), "[Reference]\n" + same + "\n", "[Reference]\n" + differ + "\n"));
        const std::string output = "out.s" + std::to_string(ports) + "p";
        const VoraRun run = RunMapJob(dir, output);
        ASSERT_EQ(run.status, 0) << run.log;
        const std::string text = dir.Read(output);
        const std::string header = "[Version] 2.0\n# GHz S RI R 50\n[Number of Ports] " + std::to_string(ports) + "\n" +
                                   (ports == 2 ? "[Two-Port Data Order] 21_12\n" : "") +
                                   "[Number of Frequencies] 5\n[Reference] " + differ + "\n[Network Data]\n";
        EXPECT_NE(text.find("\n" + header), std::string::npos) << text;
        EXPECT_EQ(text.substr(text.size() - 6), "[End]\n");
        // Five records follow the header.
        std::istringstream body(text.substr(text.find("[Network Data]\n") + 15));
        int records = 0;
        for (std::string line; std::getline(body, line);) records += !line.empty() && line[0] != '[' && line[0] != '\t';
        EXPECT_EQ(records, 5);
    }
}

}  // namespace

#endif
