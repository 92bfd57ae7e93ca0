#include "jobgen/Device.h"

#include <cmath>

namespace {

// splitmix64: a tiny generator whose output is the same everywhere.
class SeededNumbers {
public:
    explicit SeededNumbers(uint64_t seed) : state_(seed) {}
    // Uniform in [-1, 1).
    double Next()
    {
        uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        z ^= z >> 31;
        return static_cast<double>(z >> 11) * 0x1.0p-52 - 1.0;
    }

private:
    uint64_t state_;
};

// scale·(W·Wᵀ/n + 0.2·I) for a random n×n W: symmetric positive definite, order one.
std::vector<double> RandomPositiveMatrix(int32_t n, double scale, SeededNumbers& numbers)
{
    const size_t nn = static_cast<size_t>(n);
    std::vector<double> W(nn * nn), M(nn * nn, 0.0);
    for (double& x : W) x = numbers.Next();
    for (size_t i = 0; i < nn; ++i)
        for (size_t j = 0; j < nn; ++j) {
            double sum = 0.0;
            for (size_t k = 0; k < nn; ++k) sum += W[i * nn + k] * W[j * nn + k];
            M[i * nn + j] = scale * (sum / static_cast<double>(n) + (i == j ? 0.2 : 0.0));
        }
    return M;
}

}  // namespace

DeviceModel RandomDevice(int32_t portCount, double r, uint64_t seed, double fLow, double fHigh)
{
    DeviceModel device;
    device.kind = DeviceKind::Random;
    device.portCount = portCount;
    device.r = r;
    SeededNumbers numbers(seed);
    // r·|Y| is of order one at the band's geometric centre, where the capacitive and the
    // inductive part balance; the conductance keeps some loss in every mode.
    const double omegaMid = 2.0 * M_PI * std::sqrt(std::max(fLow, 1.0) * std::max(fHigh, 1.0));
    device.G = RandomPositiveMatrix(portCount, 0.3 / r, numbers);
    device.C = RandomPositiveMatrix(portCount, 0.3 / (r * omegaMid), numbers);
    device.Gamma = RandomPositiveMatrix(portCount, 0.3 * omegaMid / r, numbers);
    // The branches carry most of the signal through, fading towards the top of the band.
    const double omegaHigh = 2.0 * M_PI * std::max(fHigh, 1.0);
    for (int32_t k = 0; k < portCount / 2; ++k) {
        device.branchR.push_back(r * (0.25 + 0.2 * numbers.Next()));
        device.branchL.push_back(r / omegaHigh * (1.0 + 0.5 * numbers.Next()));
    }
    return device;
}

DeviceModel ThroughDevice(int32_t portCount, double r)
{
    DeviceModel device;
    device.kind = DeviceKind::Through;
    device.portCount = portCount;
    device.r = r;
    return device;
}

DeviceModel SeriesDevice(int32_t portCount, double r, double seriesR, double seriesL, double seriesC)
{
    DeviceModel device;
    device.kind = DeviceKind::Series;
    device.portCount = portCount;
    device.r = r;
    device.seriesR = seriesR;
    device.seriesL = seriesL;
    device.seriesC = seriesC;
    return device;
}

bool DeviceS(const DeviceModel& device, double omega, dcm& S, dcm& work1, dcm& work2)
{
    const int32_t n = device.portCount;
    S.Resize(n);
    S.SetZero();
    if (device.kind == DeviceKind::Through || device.kind == DeviceKind::Series) {
        Complex reflection = 0.0, transmission = 1.0;
        if (device.kind == DeviceKind::Series) {
            Complex z(device.seriesR, omega * device.seriesL);
            if (device.seriesC > 0.0) z += 1.0 / Complex(0.0, omega * device.seriesC);
            z /= device.r;
            reflection = z / (z + 2.0);
            transmission = 2.0 / (z + 2.0);
        }
        const int32_t half = n / 2;
        for (int32_t k = 0; k < half; ++k) {
            S(k, k) = reflection;
            S(k + half, k + half) = reflection;
            S(k, k + half) = transmission;
            S(k + half, k) = transmission;
        }
        return true;
    }
    // S = (I + y)^-1 (I - y) with y = r·Y; both factors are functions of y, so they commute.
    work1.Resize(n);
    const size_t size = S.Size();
    for (size_t i = 0; i < size; ++i)
        work1.data[i] = device.r * Complex(device.G[i], omega * device.C[i] - device.Gamma[i] / omega);
    const int32_t half = n / 2;
    for (int32_t k = 0; k < static_cast<int32_t>(device.branchR.size()); ++k) {
        const size_t at = static_cast<size_t>(k);
        const Complex y = device.r / Complex(device.branchR[at], omega * device.branchL[at]);
        work1(k, k) += y;
        work1(k + half, k + half) += y;
        work1(k, k + half) -= y;
        work1(k + half, k) -= y;
    }
    work2 = work1;
    work2.Negate();
    for (int32_t i = 0; i < n; ++i) {
        work1(i, i) += 1.0;  // I + y
        work2(i, i) += 1.0;  // I - y
    }
    if (!Inverse(work1, S)) return false;
    Multiply(S, work2, work1);
    S = work1;
    return true;
}
