#pragma once
// The Touchstone text builders now live with the other shared test data.
#include "support/TestData.h"
