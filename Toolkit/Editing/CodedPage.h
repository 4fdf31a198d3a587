// Pages of function set 11 of IOCA, whose image data somebody has coded.
#pragma once

#include <string>

#include "Format/BigEndian.h"
#include "Format/PageFields.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Editing/SavePage.h"
#include "Toolkit/Files/FileDescriptor.h"

namespace kz {

// Writes one page into a file: Open, Begin, the data with Put, Finish. A failure leaves
// the file damaged, but those of Open.
class CodedPageWriter {
 public:
  // Opens the file: to replace what it holds or, in Append mode, to write over the End
  // Document that it ends with, unless it is empty. -9 when it doesn't end so, -14 or -7
  // when it can't be opened or read.
  Outcome Open(const std::string& file, SaveMode mode, Container container);
  // Writes what stands before the image data. Resolutions must not be 0. As those below,
  // -5 when writing fails.
  Outcome Begin(const SegmentImage& image);
  // Adds image data, cut anywhere.
  Outcome Put(ByteSpan data);
  Outcome Finish();

 private:
  void AddField(ByteSpan field, bool prefixed);
  void AddPictureData(ByteSpan data);
  Outcome Flush();

  OwnedDescriptor m_file;
  Container m_container = Container::Modca;
  bool m_newFile = true;
  std::string m_data;  // of the Image Data field being filled
  std::string m_out;   // to be written
};

}  // namespace kz
