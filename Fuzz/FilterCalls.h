// The filter's entry points on the file of the MemoryDisk, as a host calls them.
#pragma once

#include <cstdint>
#include <vector>

#include "API/Filters/Ica/Common/Ica.h"
#include "Host/Abic/Abic.h"

// Keeps the codec library loaded for the whole run: the fuzzer reads the coverage
// counters of every library that it has ever seen. Returns its decoder.
K_DecodeAbicRoutine PinCodecLibrary();

// Describes a page, with the page count. Returns fltInfo's status.
int Describe(int page, _IMAGEFILEINFO* info);

// Loads the page described and reads every byte of every row; pictures above a
// few megapixels are left alone. Returns fltLoad's status, or 1.
int LoadDescribed(int page, const _IMAGEFILEINFO& info);

// Saves a small picture that depends on `seed` into the file. Returns fltSave's
// status.
int SavePicture(int format, uint32_t flags, int page, uint32_t seed);

// How many bytes the two have in common at their beginning and their end, at most
// all of the shorter: all of a file when something was inserted into it.
size_t KeptBytes(const std::vector<uint8_t>& one, const std::vector<uint8_t>& other);

// The End Page fields of a file that is readable structured fields to its end and no
// more than one document; -1 for others.
int EndPages(const std::vector<uint8_t>& file);
