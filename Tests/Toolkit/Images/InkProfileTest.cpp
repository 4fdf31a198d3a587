// Pictures of inks and the ICC profiles that say what the inks look like.
#include <gtest/gtest.h>

#include <string>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/ImageContents.h"
#include "Tests/Support/InkProfiles.h"
#include "Toolkit/Documents/Document.h"

namespace {

Bytes Container(const Bytes& data) {
  Bytes fields = Field(0xA892, Bytes(8, 0xC1));
  for (size_t at = 0; at < data.size(); at += 30000) {
    fields = fields + Field(0xEE92, Slice(data, at, 30000));
  }
  return fields + Field(0xA992, Bytes(8, 0xC1));
}

// One pixel of cyan and one without ink.
Bytes Document(const Bytes& resource = {}) {
  const Bytes structure = Parameter(0x9B, {0, 4, 0, 0, 0, 8, 8, 8, 8});
  const Bytes segment = Segment(ImageSize(2, 1) + Encoding(3) + Parameter(0x96, {32}) + structure,
                                {255, 0, 0, 0, 0, 0, 0, 0});
  const Bytes group = resource.empty() ? Bytes()
                                       : Field(0xA8C6) + Field(0xA8CE, Bytes(10, 0xC1)) + resource +
                                             Field(0xA9CE) + Field(0xA9C6);
  return group + Field(0xA8A8, Bytes(8, 0xC1)) + Field(0xA8AF, Bytes(8, 0xC1)) +
         Field(0xA8FB, Bytes(8, 0xC1)) + PictureDataFields(segment) + Field(0xA9FB) +
         Field(0xA9AF) + Field(0xA9A8);
}

class InkProfile : public testing::Test {
 protected:
  // Red, green and blue of both pixels.
  Bytes Colors(const Bytes& document, const Bytes& profile) {
    kz::LoadOptions options;
    if (!profile.empty()) options.profile = std::make_shared<const Bytes>(profile);
    kz::Bitmap bitmap;
    const kz::Outcome outcome =
        kz::LoadPicture(m_folder.File("file.afp", document), 1, options, bitmap);
    EXPECT_TRUE(outcome.Ok()) << outcome.what;
    if (!outcome.Ok() || bitmap.BitsPerPixel() != 24) return {};
    const unsigned char* row = bitmap.TopDownRow(0);
    Bytes colors(row, row + 6);
    if (bitmap.ColorOrder() != K_ORDER_RGB) {
      std::swap(colors[0], colors[2]);
      std::swap(colors[3], colors[5]);
    }
    return colors;
  }

  TemporaryFolder m_folder;
  const Bytes m_profile = GreenProfile();
};

bool IsGreen(const Bytes& color) { return color[1] > color[0] + 50 && color[1] > color[2] + 50; }

TEST_F(InkProfile, IsTheDocumentsOrTheCallersOrThePlainFormula) {
  EXPECT_EQ(Colors(Document(), {}), Bytes({0, 255, 255, 255, 255, 255}));
  const Bytes given = Colors(Document(), m_profile);
  ASSERT_EQ(given.size(), 6u);
  EXPECT_TRUE(IsGreen(given)) << testing::PrintToString(given);
  // Paper is white, whatever the profile makes of it.
  EXPECT_EQ(Bytes(given.begin() + 3, given.end()), Bytes(3, 255));
  // A colour management resource has its own header before the profile.
  const Bytes managed = Document(Container(Bytes(200, 0x40) + m_profile));
  EXPECT_EQ(Colors(managed, {}), given);
}

TEST_F(InkProfile, OfOtherColorsOrDamagedIsNone) {
  EXPECT_TRUE(kz::IsInkProfile(m_profile));
  EXPECT_FALSE(kz::IsInkProfile(GreenProfile(cmsSig4colorData)));
  EXPECT_FALSE(kz::IsInkProfile({}));
  EXPECT_FALSE(kz::IsInkProfile(Bytes(m_profile.begin(), m_profile.begin() + 100)));
  const Bytes plain = {0, 255, 255, 255, 255, 255};
  EXPECT_EQ(Colors(Document(Container(Slice(m_profile, 0, m_profile.size() - 10))), {}), plain);
  Bytes tooLong = m_profile;
  tooLong[0] = 0x7F;
  EXPECT_EQ(Colors(Document(Container(tooLong)), {}), plain);
}

TEST_F(InkProfile, GoesWithInksThatAreKept) {
  kz::LoadOptions options;
  options.profile = std::make_shared<const Bytes>(m_profile);
  options.keepInks = true;
  kz::Document document(m_folder.File("file.afp", Document()));
  kz::DecodedImage image;
  ASSERT_TRUE(document.Open().Ok());
  ASSERT_TRUE(document.LoadPicture(1, options, image).Ok());
  ASSERT_TRUE(image.IsInks());
  EXPECT_EQ(image.inks.rows, Bytes({255, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(image.inks.profile, m_profile);
}

// One transform serves all tiles, and one warning.
TEST_F(InkProfile, CountsForTilesAsForWholePictures) {
  kz::ImageContent content;
  content.tiled = true;
  content.image.parameters.width = 6;
  content.image.parameters.height = 1;
  for (const int x : {0, 2, 4}) {
    kz::ImageTile& tile = content.tiles.emplace_back();
    const Bytes inks = {255, 0, 0, 0, 0, 0, 0, 0};
    tile.image =
        kz::test::Make({"", kz::test::kNone, 2, 1, 32, kz::test::kCmyk, {8, 8, 8, 8}, {inks}, ""})
            .image;
    tile.x = x;
  }
  kz::LoadOptions options;
  const kz::test::Decoded plain = kz::test::Decode(content, {}, options);
  EXPECT_TRUE(plain.outcome.warnings.empty());
  EXPECT_EQ(plain.Text(), "00FFFF FFFFFF 00FFFF FFFFFF 00FFFF FFFFFF");
  options.profile = std::make_shared<const Bytes>(Bytes{1, 2, 3});
  const kz::test::Decoded damaged = kz::test::Decode(content, {}, options);
  EXPECT_EQ(damaged.Text(), plain.Text());
  EXPECT_EQ(damaged.outcome.warnings,
            std::vector<std::string>{"the profile of the inks can't be used"});
  options.profile = std::make_shared<const Bytes>(m_profile);
  const std::string colors = kz::test::Decode(content, {}, options).Text();
  EXPECT_EQ(colors.substr(0, 13), colors.substr(28));
  EXPECT_NE(colors.substr(0, 6), "00FFFF");
}

}  // namespace
