// The strings that this library wrote before it had the Q-Coder: the arithmetic coder of
// ITU-T T.88 Annex E with the 16-pixel context of its generic regions (template 0, adaptive
// pixels at their nominal places), planes one after the other as now, in the exact width.
#pragma once

#include "Host/Abic/Abic.h"
#include "Host/Abic/AbicImage.h"

// Decodes a string that IsEarlierAbic into rows that are 0. False when it isn't whole, or there is
// no memory.
bool ReadEarlierString(const AbicString& string, const AbicLayout& layout,
                       unsigned char* imageRows);
