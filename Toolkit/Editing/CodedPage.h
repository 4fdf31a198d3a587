// Pages whose image data somebody has coded, of function set 11 of IOCA or as the filter
// writes them.
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
  // Begins the page with what stands before the image data. In a document resolutions must
  // not be 0.
  void Begin(const SegmentImage& image);
  // Adds image data, cut anywhere. As the next one, -5 when writing fails.
  Outcome Put(ByteSpan data);
  Outcome Finish();

 private:
  void AddField(ByteSpan field, bool prefixed);
  void AddIntroducer(std::string& to, unsigned length) const;
  void AddSegmentFields(ByteSpan fields);
  unsigned MostData() const;
  std::string DataHeaders(unsigned length) const;
  void EndImageData();
  Outcome Write();

  OwnedDescriptor m_file;
  Container m_container = Container::Modca;
  bool m_newFile = true;
  std::string m_out;      // to be written
  size_t m_dataHead = 0;  // in it, where the Image Data field being filled begins
  unsigned m_room = 0;    // data bytes that this field still takes; 0: there is none
};

}  // namespace kz
