#pragma once
#include <complex>

using Complex = std::complex<double>;
