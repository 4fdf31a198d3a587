// Puts an image content together while its self-defining fields go by.
#pragma once

#include <cstdint>
#include <string>

#include "Toolkit/Images/ContentReader.h"
#include "Toolkit/Images/ImageContent.h"

namespace kz {

class ContentParser {
 public:
  // With `data` image data are kept, else passed over. What there is room for goes there.
  ContentParser(FileWindow& file, const PicturePlace& picture, bool data, const DataRoom& room,
                ImageContent& content);
  // Reads to the end of the content. As ReadImageContent.
  Outcome Run();

 private:
  struct Header {
    unsigned id;
    int64_t length;
    int64_t at;
  };
  enum class Step : uint8_t { Read, End, Cut };

  Step NextHeader(Header& header);
  // Takes the fields up to the end. Fails at what can't be read on.
  Outcome TakeFields();
  Outcome TakeField(const Header& header, bool& ended);
  Outcome TakeBrackets(const Header& header, bool& ended, bool& taken);
  Outcome TakeParameters(const Header& header);
  Outcome TakeTileField(const Header& header, ByteSpan field);
  Outcome TakeData(const Header& header);
  Outcome TakeBandData(const Header& header);
  void TakeRawData();
  Outcome TakeExtended(const Header& header);
  Outcome PassUnknown(const Header& header);
  // Passes over the parameters of a field, softly.
  Outcome Pass(const Header& header);

  // Whether data of the image itself go to a room.
  bool HasRoom();
  Outcome AppendData(const Header& header, size_t band, int64_t count);
  std::vector<unsigned char>* Band(size_t band, int64_t count);
  void BeginTile(const Header& header);
  void EndTile();
  static void Complete(CodedImage& image);
  Outcome Cut(const Header& header) const;
  void Warn(std::string what, int64_t at);

  ContentReader m_reader;
  ImageContent& m_content;
  bool m_keepData;
  bool m_begun = false;  // Begin Image Content was met
  bool m_inTile = false;
  bool m_inMask = false;
  bool m_hasData = false;   // anything that can be shown
  bool m_tileData = false;  // of the tile that is open
  bool m_ignore = false;    // the mask that is open isn't one of the picture
  bool m_tooMany = false;
  ImageTile m_tile;
  CodedImage m_ignored;  // parameters of such a mask
  int m_unknown = 0;
  const DataRoom& m_makeRoom;
  std::span<unsigned char> m_room;  // what is left of it
};

}  // namespace kz
