// Coding of the rows of a raster.
#pragma once

#include "Host/Abic/Coding/ArithmeticDecoder.h"
#include "Host/Abic/Coding/ArithmeticEncoder.h"
#include "Host/Abic/Coding/Neighbourhood.h"
#include "Host/Abic/Coding/Raster.h"

// Decodes the raster's current row.
void DecodeRow(ArithmeticDecoder& decoder, ContextStates& states, const Neighbourhood& neighbours,
               const Raster& raster);
// Encodes a row of the raster's width, bytes of 0 or 1, and makes it the current one.
void EncodeRow(ArithmeticEncoder& encoder, ContextStates& states, const Neighbourhood& neighbours,
               const unsigned char* pixels, const Raster& raster);
