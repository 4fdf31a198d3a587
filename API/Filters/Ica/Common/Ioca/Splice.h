// Pages in the middle of a document.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Saves a page after the first one; unless it is to be inserted, in the place of the
// second. The routines must be bound. Returns 1 or a negative status.
int SaveSpliced(_SAVEDISPATCH* pSave, const FilterThreadState* state, bool insert);
