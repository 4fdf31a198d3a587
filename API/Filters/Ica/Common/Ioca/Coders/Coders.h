// The coders as the driver of a load and the image writer call them: those of one coding
// stand in one file.
#pragma once

#include "API/Filters/Ica/Common/Thread.h"
#include "Format/Compression.h"

// One fltLoad call under way.
struct Loading {
  _LOADDISPATCH* dispatch;
  tagHANDLE* file;
  FilterThreadState* state;
  InstalledReadRoutine* readRoutine;
  const kz::CompressionRow* row;
  int bitsPerPixel;  // of the target, before anything was loaded
  _LOADINFO info;    // with the raw code as its format
};

// Each decodes the image data from where the readers stand and hands the rows over.
// Returns 1, the callback's result when it stops the load, or a negative status.
int LoadFax(Loading* load);
int LoadAbic(Loading* load);
int LoadJpeg(Loading* load);
int LoadUncompressed(Loading* load);

// What ExportedCoders.h lacks: the same contract as its encoders. Of SaveUncompressed
// a result above 0 is a success.
int SaveFax(_SAVEDISPATCH* pSave, tagHANDLE* handle);
int SaveUncompressed(_SAVEDISPATCH* pSave, tagHANDLE* handle);
