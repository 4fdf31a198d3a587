// The comment of a document: the text of its presentation text fields.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Opens a file for K_GetModcaComment. Returns 1; -8 for a null name; -10.
K_EXPORT int K_InitDecoder(PTOKADECODERSTATE* state, char* fileName);

// Stores the text from page state->nPageNumber on, one line for each presentation
// text field, in at most size bytes; no terminating zero, and no count of what was
// stored. Returns 1, also when the buffer is full; -13 for no buffer; -7 or -9
// when the file ends or has a bad introducer before End Document, the text so far
// being stored then.
K_EXPORT int K_GetModcaComment(PTOKADECODERSTATE* state, unsigned char* buffer, unsigned int size);

// Closes the file and frees the text data; once for each K_InitDecoder that
// returned 1.
K_EXPORT void K_FreeDecoder(PTOKADECODERSTATE* state);
