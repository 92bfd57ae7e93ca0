#include "io/Touchstone.h"

double FrequencyUnitFactor(std::string_view unitToken)
{
    if (unitToken.empty()) return 1.0;
    switch (unitToken.front()) {
    case 'G': return 1e9;
    case 'M': return 1e6;
    case 'm': return 1e-3;
    case 'K':
    case 'k': return 1e3;
    case 'T': return 1e12;
    case 'U':
    case 'u': return 1e-6;
    case 'N':
    case 'n': return 1e-9;
    case 'P':
    case 'p': return 1e-12;
    default: return 1.0;  // also "Hz", and lower-case "g" and "t"
    }
}
