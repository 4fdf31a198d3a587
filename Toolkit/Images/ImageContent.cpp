#include "Toolkit/Images/ImageContent.h"

#include <new>

#include "Toolkit/Images/ContentParser.h"

namespace kz {

namespace {

Outcome Parse(FileWindow& file, const PicturePlace& picture, bool data, const DataRoom& room,
              ImageContent& content) {
  content = {};
  if (picture.kind != PictureKind::Ioca) {
    return Failure(K_ERROR_INVALID_FORMAT, "the picture is no IOCA image");
  }
  try {
    return ContentParser(file, picture, data, room, content).Run();
  } catch (const std::bad_alloc&) {
    content = {};
    return Failure(K_ERROR_NO_MEMORY);
  }
}

}  // namespace

Outcome ReadImageContent(FileWindow& file, const PicturePlace& picture, ImageContent& content,
                         const DataRoom& room) {
  return Parse(file, picture, true, room, content);
}

Outcome ReadImageParameters(FileWindow& file, const PicturePlace& picture, ImageContent& content) {
  return Parse(file, picture, false, {}, content);
}

}  // namespace kz
