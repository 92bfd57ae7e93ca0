// Writes the two 2-port Touchstone files of a generalized-mode benchmark: two reciprocal
// lossy lines of slightly different length, K points, RI data in the shortest form that
// reads back exactly (as a simulator would write them).
//
//   vora-twoport-gen POINTS FILE1 FILE2

#include <charconv>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using C = std::complex<double>;

void Put(std::FILE* f, double v)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, v);
    std::fputc(' ', f);
    std::fwrite(text, 1, static_cast<size_t>(result.ptr - text), f);
}

// S of a matched-impedance-mismatched line section: Z0 line of electrical length theta in a
// 50-ohm system, with loss alpha·length.
void LineS(double z0, double gammaLength, double lossNepers, C& s11, C& s21)
{
    const C gl(lossNepers, gammaLength);
    const double r = (z0 - 50.0) / (z0 + 50.0);
    const C e = std::exp(-gl);
    const C den = 1.0 - r * r * e * e;
    s11 = r * (1.0 - e * e) / den;
    s21 = (1.0 - r * r) * e / den;
}

bool Write(const char* path, long points, double length)
{
    std::FILE* f = std::fopen(path, "w");
    if (f == nullptr) return false;
    std::fprintf(f, "! two-port line, %ld points\n# Hz S RI R 50\n", points);
    for (long k = 0; k < points; ++k) {
        const double hz = 1e7 + static_cast<double>(k) * 1e4;  // 10 MHz upwards in 10 kHz steps
        const double beta = 2.0 * M_PI * hz * std::sqrt(3.3) / 3e8;
        C s11, s21;
        LineS(55.0, beta * length, 0.02 * std::sqrt(hz / 1e9) * length / 0.01, s11, s21);
        std::fprintf(f, "%.0f", hz);
        for (C s : {s11, s21, s21, s11}) {
            Put(f, s.real());
            Put(f, s.imag());
        }
        std::fputc('\n', f);
    }
    return std::fclose(f) == 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: vora-twoport-gen POINTS FILE1 FILE2\n");
        return 2;
    }
    const long points = std::strtol(argv[1], nullptr, 10);
    if (points < 1) return 2;
    return Write(argv[2], points, 0.010) && Write(argv[3], points, 0.012) ? 0 : 1;
}
