#include <gmock/gmock.h>

#include "Host/Kernel/Kernel.h"
#include "Tests/Fax/Pictures.h"
#include "Tests/Fax/RawFax.h"

namespace {

// Every kind of picture in every width, as libtiff codes it.
TEST(Decode, MatchesLibtiff) {
  struct Way {
    int nCode;
    bool bFill;
  };
  const Way aWays[] = {{K_FAX_G3_1D, false},
                       {K_FAX_G3_1D, true},
                       {K_FAX_G3_2D, false},
                       {K_FAX_G3_2D, true},
                       {K_FAX_G4, false}};
  for (Picture& picture : TestPictures()) {
    for (const Way& way : aWays) {
      SCOPED_TRACE(testing::Message() << picture.nWidth << " x " << picture.nHeight << ", code "
                                      << way.nCode << (way.bFill ? ", fill" : ""));
      const RawFaxLoad load = LoadRaw(EncodeWithTiff(picture, way.nCode, way.bFill), picture.nWidth,
                                      picture.nHeight, way.nCode);
      ASSERT_EQ(load.nResult, K_SUCCESS);
      ASSERT_EQ(load.nLoadError, 0);
      ASSERT_EQ(load.nRows, picture.nHeight);
      ASSERT_TRUE(load.bRowsAsPromised);
      ASSERT_TRUE(load.picture == picture);
    }
  }
}

}  // namespace
