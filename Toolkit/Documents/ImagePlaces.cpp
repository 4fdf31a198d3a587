#include "Toolkit/Documents/ImagePlaces.h"

#include "Format/FieldScan.h"

namespace kz {

namespace {

Outcome FaultAt(const ScannedField& field) {
  const std::string place = " at byte " + std::to_string(field.offset);
  if (field.fault == FieldFault::Cut || field.fault == FieldFault::CutData) {
    return Failure(K_ERROR_READ, "the file ends within the structured field" + place);
  }
  return Failure(K_ERROR_INVALID_FORMAT, "there is no valid structured field" + place);
}

}  // namespace

ImagePlaces FindImagePlaces(FileWindow& file, int64_t from, size_t most) {
  ImagePlaces found;
  Container container = Container::Modca;
  bool inImage = false;
  bool documentEnded = false;
  for (int64_t at = from; at < file.Size() && found.places.size() < most;) {
    const ScannedField field = ScanField(file, at);
    if (field.prefixed) container = Container::ModcaCarriageControl;
    const bool named = field.fault == FieldFault::None || field.fault == FieldFault::CutData;
    const bool pictureData = named && field.code == sf::kImagePictureData;
    if (pictureData && !inImage) {
      // With its 0x5A: seen as a file that begins there, a length that begins with the same
      // byte would be taken for it.
      found.places.push_back({field.offset, container});
    }
    inImage = pictureData;
    if (field.fault != FieldFault::None) {
      // Files are padded after their document.
      if (named || !documentEnded) found.structure = FaultAt(field);
      break;
    }
    documentEnded = field.code == sf::kEndDocument;
    at = field.End();
  }
  return found;
}

}  // namespace kz
