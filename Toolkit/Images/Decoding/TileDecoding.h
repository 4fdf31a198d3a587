// Tiled image contents to pictures.
#pragma once

#include "Toolkit/Images/Decoding/CodedPicture.h"

namespace kz {

// The shape of a tiled content: its size as the descriptor, the content or else the tiles
// have it; 1 bit for bilevel tiles without colours, 8 for those and grey ones, 32 (inks) if
// all are of inks, else 24.
ImageShape ShapeOfTiles(const ImageContent& content, const ImageDescriptor& descriptor);

// Decodes tiles onto a white canvas. One of which nothing can be had stays white. Tiles may
// cover the canvas four times, and 16 million pixels more, in all: what overlaps more is
// made to cost time, and fails with -9. Else fails as DecodeImage does; with -7 when not
// one tile could be read.
Outcome DecodeTiles(const ImageContent& content, const ImageDescriptor& descriptor,
                    const LoadOptions& options, CodedPicture& picture);

}  // namespace kz
