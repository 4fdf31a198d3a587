// What a bare image segment needs to become a page of a document.
#pragma once

#include <string>

#include "Toolkit/Documents/PageIndex.h"

namespace kz {

// The fields around the image segment of a page, as the filter writes them.
struct PageEnvelope {
  std::string before;  // Begin Page to End Object Environment Group
  std::string after;   // End Image Object and End Page
};

// Makes the envelope for the image of a bare IOCA file, of its size and resolution.
// Fails when the image can't be described.
Outcome MakePageEnvelope(const std::string& file, bool prefixed, PageEnvelope& envelope);

// A document's first and last field, without 0x5A.
std::string MakeBeginDocument();
std::string MakeEndDocument();

}  // namespace kz
