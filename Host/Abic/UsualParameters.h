// The parameters that are tried first, and written with.
#pragma once

#include "Host/Abic/AbicParameters.h"

// The usual ones, or those that the environment names in their place (AbicText.h), which is
// asked once. False when what it names isn't understood.
bool FindUsualParameters(kz::AbicParameters& parameters);
