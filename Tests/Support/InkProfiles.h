// ICC profiles of printing inks.
#pragma once

#include <gtest/gtest.h>
#include <lcms2.h>

#include "Tests/Support/TemporaryFolder.h"

inline cmsInt32Number GreenInk(const cmsUInt16Number in[], cmsUInt16Number out[], void*) {
  const cmsCIELab lab = {80.0 - 40.0 * in[0] / 65535.0, -60, 40};
  cmsFloat2LabEncoded(out, &lab);
  return TRUE;
}

// An ICC profile under which all inks look green.
inline Bytes GreenProfile(cmsColorSpaceSignature space = cmsSigCmykData) {
  cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
  cmsSetProfileVersion(profile, 4.0);
  cmsSetDeviceClass(profile, cmsSigOutputClass);
  cmsSetColorSpace(profile, space);
  cmsSetPCS(profile, cmsSigLabData);
  cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, 4, 3);
  cmsStage* table = cmsStageAllocCLut16bit(nullptr, 3, 4, 3, nullptr);
  EXPECT_TRUE(cmsStageSampleCLut16bit(table, GreenInk, nullptr, 0));
  // A table stands between curves, here without effect.
  for (cmsStage* stage : {cmsStageAllocToneCurves(nullptr, 4, nullptr), table,
                          cmsStageAllocToneCurves(nullptr, 3, nullptr)}) {
    EXPECT_TRUE(cmsPipelineInsertStage(pipeline, cmsAT_END, stage));
  }
  EXPECT_TRUE(cmsWriteTag(profile, cmsSigAToB0Tag, pipeline));
  cmsUInt32Number size = 0;
  EXPECT_TRUE(cmsSaveProfileToMem(profile, nullptr, &size));
  Bytes bytes(size);
  EXPECT_TRUE(cmsSaveProfileToMem(profile, bytes.data(), &size));
  cmsPipelineFree(pipeline);
  cmsCloseProfile(profile);
  return bytes;
}
