#pragma once
// The frequency search is pure math and lives in numerics/; this name stays until its last
// users include the new one.
#include "numerics/FrequencySearch.h"
