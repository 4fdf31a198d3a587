// Handing rows to the host's row callback.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"

// Hands over row nRow, counted from 1. Returns 105 when it was taken and more
// rows are wanted, 1 after the last row, else the callback's result.
K_EXPORT int K_SendRawData(_LOADDISPATCH* pDispatch, unsigned char* pRow, int nRow);

// Hands over all rows of a bitmap that the host has loaded, in stored order.
// Returns 1 when every row went out; 0 for a null bitmap; -1 for no memory; else
// the result that stopped it: of the access, of a row that can't be read, or of
// the callback.
K_EXPORT int SendBitmapRows(_LOADDISPATCH* pDispatch, _BITMAPHANDLE* pTemp);

// Makes a target that rows go to top row first have the colours white and black.
// Returns 1; -9 for a target without rows, -1 for no memory.
int PrepareTwoColors(_BITMAPHANDLE* pBitmap);
