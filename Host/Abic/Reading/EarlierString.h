// The strings that this library wrote before it had the Q-Coder: the arithmetic coder of
// ITU-T T.88 Annex E with the 16-pixel context of its generic regions (template 0, adaptive
// pixels at their nominal places), planes one after the other as now, in the exact width.
#pragma once

#include "Host/Abic/Abic.h"
#include "Host/Abic/AbicImage.h"

// As many decisions as a bit of those strings can stand for.
constexpr int kEarlierLeastInterval = 0x8000;

// Decodes a string that IsEarlierAbic into rows that are 0. Returns K_SUCCESS, K_ERROR_READ
// when it isn't whole, or K_ERROR_NO_MEMORY.
int ReadEarlierString(const AbicString& string, const AbicLayout& layout, unsigned char* imageRows);
