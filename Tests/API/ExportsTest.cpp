// The library exports what hosts are promised, and nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "API/Filters/Ica/Common/Ica.h"

namespace {

// Lines of a command's output.
std::vector<std::string> Lines(const std::string& command) {
  std::vector<std::string> lines;
  FILE* out = ::popen(command.c_str(), "r");
  if (out == nullptr) return lines;
  char line[500];
  while (std::fgets(line, sizeof line, out) != nullptr) {
    lines.emplace_back(line, std::strcspn(line, "\n"));
  }
  ::pclose(out);
  return lines;
}

TEST(Exports, AreThePromisedNames) {
  const std::vector<std::string> expected = {
      // clang-format off
      // Entry points and data, with the names as they are in the file.
      "fltComment", "fltDeletePage", "fltInfo", "fltLoad", "fltSave", "aCrLf", "aFilters",
      "EmbeddedLoaders::g_aLoaders", "g_kzicaMutex", "g_kzicaThreadData", "g_kzicaTls",
      // The filter's functions.
      "AppendPage(_SAVEDISPATCH*, tagHANDLE*, int)", "FindImageObject(tagHANDLE*, int*, int)",
      "GetBufferData(tagHANDLE*, unsigned char*, unsigned int)",
      "K_ABICInitDecoder(_LOADDISPATCH*, unsigned char*, unsigned char**, unsigned int)",
      "K_ABICInitEncoder(_SAVEDISPATCH*, tagHANDLE*)", "K_FreeDecoder(PTOKADECODERSTATE*)",
      "K_GetEndPage(tagHANDLE*, int)",
      "K_GetModcaComment(PTOKADECODERSTATE*, unsigned char*, unsigned int)",
      "K_GetTotalPages(tagHANDLE*, int*)", "K_InitDecoder(PTOKADECODERSTATE*, char*)",
      "K_InitEncoder(_SAVEDISPATCH*, tagHANDLE*)", "K_JPEGInitEncoder(_SAVEDISPATCH*, tagHANDLE*)",
      "K_SendRawData(_LOADDISPATCH*, unsigned char*, int)", "LoadCodecLibrary()",
      "MyLoadInfoCallBack(int, _LOADINFO*, void*)", "ReadICA_SDF(tagHANDLE*, _ICA_SDF*)",
      "ReadIMG(tagHANDLE*, unsigned char*, unsigned int, void*)",
      "ReadIPD(tagHANDLE*, unsigned char*, unsigned int)",
      "ReadImageInfo(tagHANDLE*, _LOADINFO*, int*, int, int)",
      "ReadRawIMG(tagHANDLE*, unsigned char*, unsigned int, int*)", "ReadSFI(tagHANDLE*, _SFI*)",
      "SendBitmapRows(_LOADDISPATCH*, _BITMAPHANDLE*)", "SkipSFData(tagHANDLE*, _SFI*)",
      "UnloadCodecLibrary()", "WriteICA_SDF(tagHANDLE*, _ICA_SDF*)",
      "WriteIDD(tagHANDLE*, _BITMAPHANDLE*)",
      "WriteIMG(tagHANDLE*, unsigned char*, unsigned int, void*)",
      "WriteIPD(tagHANDLE*, unsigned int)", "WriteImage(_SAVEDISPATCH*, tagHANDLE*, int)",
      "WriteImageDataHdr(tagHANDLE*, unsigned int, int)", "WriteMODCAEndDoc(tagHANDLE*)",
      "WriteMODCAEndPage(tagHANDLE*)", "WriteMODCAStartDoc(tagHANDLE*)",
      "WriteMODCAStartPage(_SAVEDISPATCH*, tagHANDLE*)",
      "WriteMODCA_SDF(tagHANDLE*, _MODCA_SDF*)",
      "WriteRawIMG(tagHANDLE*, unsigned char*, unsigned int, int*)", "kzicaAllocateThreadData()",
      "kzicaFreeThreadData(void*)",
      // clang-format on
  };
  std::vector<std::string> exported;
  for (const std::string& line : Lines("nm -DC --defined-only " KZ_FILTER)) {
    const std::string name = line.substr(std::min(line.size(), size_t{19}));
    // The sanitizers' own: marks of globals, the types of functions that are called by pointer,
    // and what was run.
    if (name.starts_with("__odr_asan") || name.starts_with("typeinfo ") ||
        name.find("___sancov_") != std::string::npos) {
      continue;
    }
    exported.push_back(name);
  }
  EXPECT_THAT(exported, testing::UnorderedElementsAreArray(expected));
  EXPECT_THAT(Lines("objdump -p " KZ_FILTER),
              testing::Contains(testing::ContainsRegex("SONAME +libkzica.so.19$")));
}

}  // namespace
