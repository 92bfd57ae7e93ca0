// Micro-benchmarks of the hot pieces of a large job: number conversion, token splitting,
// output formatting, one frequency of the de-embedding at 4, 16 and 64 ports, and the
// generalized mode's 2x2 eigenvalues.

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "calibration/SymmetricGeometryCalibration.h"
#include "io/LineReader.h"
#include "io/NumberFormat.h"
#include "io/NumberParser.h"
#include "io/TokenList.h"
#include "numerics/Dcm.h"
#include "numerics/LapackBindings.h"
#include "numerics/SmallEigenvalues.h"

namespace {

// Numbers as a simulator writes them: shortest round-trip texts of S-parameter values.
std::vector<std::string> SampleTexts(size_t count)
{
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    std::vector<std::string> texts;
    for (size_t i = 0; i < count; ++i) {
        char text[32];
        const double v = value(random) * (i % 7 == 0 ? 1e-4 : 1.0);
        texts.emplace_back(text, std::to_chars(text, text + sizeof text, v).ptr);
    }
    return texts;
}

std::vector<double> SampleValues(size_t count)
{
    std::mt19937_64 random(11);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    std::vector<double> values;
    for (size_t i = 0; i < count; ++i) values.push_back(value(random) * (i % 7 == 0 ? 1e-4 : 1.0));
    return values;
}

void BM_ParseNumber(benchmark::State& state)
{
    const std::vector<std::string> texts = SampleTexts(4096);
    for (auto _ : state)
        for (const std::string& t : texts) benchmark::DoNotOptimize(ParseNumber(t));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
}
BENCHMARK(BM_ParseNumber);

void BM_FromChars(benchmark::State& state)
{
    const std::vector<std::string> texts = SampleTexts(4096);
    for (auto _ : state)
        for (const std::string& t : texts) {
            double v = 0.0;
            std::from_chars(t.data(), t.data() + t.size(), v);
            benchmark::DoNotOptimize(v);
        }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
}
BENCHMARK(BM_FromChars);

void BM_Strtod(benchmark::State& state)
{
    const std::vector<std::string> texts = SampleTexts(4096);
    for (auto _ : state)
        for (const std::string& t : texts) benchmark::DoNotOptimize(std::strtod(t.c_str(), nullptr));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(texts.size()));
}
BENCHMARK(BM_Strtod);

// One line of a 64-port record as the generator writes it: four pairs.
void BM_SplitTokens(benchmark::State& state)
{
    const std::vector<std::string> texts = SampleTexts(8);
    std::string line;
    for (const std::string& t : texts) line += t + " ";
    TokenList tokens;
    for (auto _ : state) {
        SplitTokens(line, tokens);
        benchmark::DoNotOptimize(tokens.size());
    }
    state.SetItemsProcessed(state.iterations() * 8);
}
BENCHMARK(BM_SplitTokens);

void BM_FormatStream(benchmark::State& state)
{
    const std::vector<double> values = SampleValues(4096);
    std::ostringstream out;
    for (auto _ : state) {
        out.str(std::string());
        for (double v : values) out << ' ' << v;
        benchmark::DoNotOptimize(out.tellp());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(values.size()));
}
BENCHMARK(BM_FormatStream);

void BM_FormatSnprintf(benchmark::State& state)
{
    const std::vector<double> values = SampleValues(4096);
    char text[64];
    for (auto _ : state)
        for (double v : values) benchmark::DoNotOptimize(std::snprintf(text, sizeof text, "%g", v));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(values.size()));
}
BENCHMARK(BM_FormatSnprintf);

void BM_FormatStreamDefault(benchmark::State& state)
{
    const std::vector<double> values = SampleValues(4096);
    char text[kStreamNumberMaxLength];
    for (auto _ : state)
        for (double v : values) benchmark::DoNotOptimize(FormatStreamDefault(text, v));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(values.size()));
}
BENCHMARK(BM_FormatStreamDefault);

void FillRandom(dcm& m, std::mt19937_64& random, double diagonal)
{
    std::uniform_real_distribution<double> value(-0.3, 0.3);
    for (int32_t i = 0; i < m.n; ++i)
        for (int32_t j = 0; j < m.n; ++j) m(i, j) = Complex(value(random) + (i == j ? diagonal : 0.0), value(random));
}

// The de-embedding of one frequency as the calibration does it on N ports:
// Sd = (Sba·(S - Saa)^-1·Sab + Sbb)^-1.
void BM_DeembedFrequency(benchmark::State& state)
{
    const int32_t N = static_cast<int32_t>(state.range(0));
    std::mt19937_64 random(3);
    dcm S(N), Saa(N), Sab(N), Sba(N), Sbb(N), X(N), T(N), Sd(N);
    FillRandom(S, random, 1.0);
    FillRandom(Saa, random, 0.0);
    FillRandom(Sab, random, 1.0);
    FillRandom(Sba, random, 1.0);
    FillRandom(Sbb, random, 0.0);
    for (auto _ : state) {
        X.Assign(S);
        X -= Saa;
        benchmark::DoNotOptimize(Inverse(X, T));
        Multiply(Sba, T, X);
        Multiply(X, Sab, T);
        T += Sbb;
        benchmark::DoNotOptimize(Inverse(T, Sd));
    }
}
BENCHMARK(BM_DeembedFrequency)->Arg(4)->Arg(16)->Arg(64);

// One arm of n coupled lines from its open and short data at one frequency.
void BM_ChainArmFromOpenShort(benchmark::State& state)
{
    const int32_t n = static_cast<int32_t>(state.range(0));
    std::mt19937_64 random(5);
    dcm O(n), H(n), P(n), Saa(n), Sab(n), Sba(n), Sbb(n);
    FillRandom(O, random, 0.5);
    FillRandom(H, random, 0.5);
    for (int32_t i = 0; i < n; ++i) P(i, i) = Complex(50.0, 0.0);
    dcm Pinv;
    if (!Inverse(P, Pinv)) state.SkipWithError("singular P");
    ArmWork work;
    work.Resize(n);
    for (auto _ : state) benchmark::DoNotOptimize(ChainArmFromOpenShort(O, H, P, Pinv, work, Saa, Sab, Sba, Sbb));
}
BENCHMARK(BM_ChainArmFromOpenShort)->Arg(2)->Arg(4)->Arg(8)->Arg(32);


// The generalized mode's per-frequency eigenvalue problem: ZGEEV itself against the same
// routines called without its set-up.
std::vector<Complex> Random2x2Matrices(size_t count)
{
    std::mt19937_64 random(11);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    std::vector<Complex> matrices(4 * count);
    for (Complex& m : matrices) m = {value(random), value(random)};
    return matrices;
}

void BM_Eigenvalues2x2Zgeev(benchmark::State& state)
{
    const std::vector<Complex> matrices = Random2x2Matrices(256);
    const int n = 2;
    Complex work[64];
    Complex unused[1];
    double rwork[4];
    const int one = 1;
    const int lwork = 64;
    size_t i = 0;
    for (auto _ : state) {
        Complex A[4] = {matrices[4 * i], matrices[4 * i + 1], matrices[4 * i + 2], matrices[4 * i + 3]};
        Complex w[2];
        int info = 0;
        zgeev_("N", "N", &n, A, &n, w, unused, &one, unused, &one, work, &lwork, rwork, &info);
        benchmark::DoNotOptimize(w);
        i = (i + 1) % 256;
    }
}
BENCHMARK(BM_Eigenvalues2x2Zgeev);

void BM_Eigenvalues2x2(benchmark::State& state)
{
    const std::vector<Complex> matrices = Random2x2Matrices(256);
    size_t i = 0;
    for (auto _ : state) {
        Complex A[4] = {matrices[4 * i], matrices[4 * i + 1], matrices[4 * i + 2], matrices[4 * i + 3]};
        Complex w[2];
        benchmark::DoNotOptimize(EigenvaluesOf2x2(A, w));
        benchmark::DoNotOptimize(w);
        i = (i + 1) % 256;
    }
}
BENCHMARK(BM_Eigenvalues2x2);

}  // namespace

BENCHMARK_MAIN();
