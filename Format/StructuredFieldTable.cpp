// The one table of structured fields ("Structured fields" of docs/format.md).
#include <algorithm>
#include <iterator>

#include "Format/StructuredField.h"

namespace kz {

namespace {

constexpr bool kNamesResource = true;

// In ascending order. Names and acronyms are those of the MO:DCA registry; fields of
// fonts are those of FOCA, fields of line data those of data map resources.
constexpr StructuredFieldRow kFields[] = {
    // clang-format off
    {0x8C87, "CPI", "Code Page Index"},
    {0x8C89, "FNI", "Font Index"},
    {0x8C8A, "CFI", "Coded Font Index"},
    {0xA088, "MFC", "Medium Finishing Control"},
    {0xA090, "TLE", "Tag Logical Element"},
    {0xA288, "MCC", "Medium Copy Count"},
    {0xA289, "FNM", "Font Patterns Map"},
    {0xA66B, "OBD", "Object Area Descriptor"},
    {0xA67B, "IID", "Image Input Descriptor"},
    {0xA687, "CPD", "Code Page Descriptor"},
    {0xA688, "MDD", "Medium Descriptor"},
    {0xA689, "FND", "Font Descriptor"},
    {0xA68D, "RCD", "Record Descriptor"},
    {0xA68E, "XMD", "XML Descriptor"},
    {0xA692, "CDD", "Container Data Descriptor"},
    {0xA69B, "PTD", "Presentation Text Data Descriptor (format 1)"},
    {0xA6AF, "PGD", "Page Descriptor"},
    {0xA6BB, "GDD", "Graphics Data Descriptor"},
    {0xA6C5, "FGD", "Form Environment Group Descriptor"},
    {0xA6E3, "DXD", "Data Map Transmission Subcase Descriptor"},
    {0xA6E7, "LND", "Line Descriptor"},
    {0xA6EB, "BDD", "Bar Code Data Descriptor"},
    {0xA6FB, "IDD", "Image Data Descriptor"},
    {0xA77B, "IOC", "Image Output Control"},
    {0xA787, "CPC", "Code Page Control"},
    {0xA788, "MMC", "Medium Modification Control"},
    {0xA789, "FNC", "Font Control"},
    {0xA78A, "CFC", "Coded Font Control"},
    {0xA79B, "CTC", "Composed Text Control"},
    {0xA7A8, "PEC", "Presentation Environment Control"},
    {0xA7AF, "PMC", "Page Modification Control"},
    {0xA7CA, "CCP", "Conditional Processing Control"},
    {0xA85F, "BPS", "Begin Page Segment"},
    {0xA877, "BCA", "Begin Color Attribute Table"},
    {0xA87B, "BII", "Begin IM Image"},
    {0xA887, "BCP", "Begin Code Page"},
    {0xA889, "BFN", "Begin Font"},
    {0xA88A, "BCF", "Begin Coded Font"},
    {0xA892, "BOC", "Begin Object Container"},
    {0xA89B, "BPT", "Begin Presentation Text Object"},
    {0xA8A5, "BPF", "Begin Print File"},
    {0xA8A7, "BDI", "Begin Document Index"},
    {0xA8A8, "BDT", "Begin Document"},
    {0xA8AD, "BNG", "Begin Named Page Group"},
    {0xA8AF, "BPG", "Begin Page"},
    {0xA8BB, "BGR", "Begin Graphics Object"},
    {0xA8C4, "BDG", "Begin Document Environment Group"},
    {0xA8C5, "BFG", "Begin Form Environment Group"},
    {0xA8C6, "BRG", "Begin Resource Group"},
    {0xA8C7, "BOG", "Begin Object Environment Group"},
    {0xA8C9, "BAG", "Begin Active Environment Group"},
    {0xA8CA, "BDM", "Begin Data Map"},
    {0xA8CC, "BMM", "Begin Medium Map"},
    {0xA8CD, "BFM", "Begin Form Map"},
    {0xA8CE, "BRS", "Begin Resource"},
    {0xA8D9, "BSG", "Begin Resource Environment Group"},
    {0xA8DF, "BMO", "Begin Overlay"},
    {0xA8E3, "BDX", "Begin Data Map Transmission Subcase"},
    {0xA8EB, "BBC", "Begin Bar Code Object"},
    {0xA8FB, "BIM", "Begin Image Object"},
    {0xA95F, "EPS", "End Page Segment"},
    {0xA977, "ECA", "End Color Attribute Table"},
    {0xA97B, "EII", "End IM Image"},
    {0xA987, "ECP", "End Code Page"},
    {0xA989, "EFN", "End Font"},
    {0xA98A, "ECF", "End Coded Font"},
    {0xA992, "EOC", "End Object Container"},
    {0xA99B, "EPT", "End Presentation Text Object"},
    {0xA9A5, "EPF", "End Print File"},
    {0xA9A7, "EDI", "End Document Index"},
    {0xA9A8, "EDT", "End Document"},
    {0xA9AD, "ENG", "End Named Page Group"},
    {0xA9AF, "EPG", "End Page"},
    {0xA9BB, "EGR", "End Graphics Object"},
    {0xA9C4, "EDG", "End Document Environment Group"},
    {0xA9C5, "EFG", "End Form Environment Group"},
    {0xA9C6, "ERG", "End Resource Group"},
    {0xA9C7, "EOG", "End Object Environment Group"},
    {0xA9C9, "EAG", "End Active Environment Group"},
    {0xA9CA, "EDM", "End Data Map"},
    {0xA9CC, "EMM", "End Medium Map"},
    {0xA9CD, "EFM", "End Form Map"},
    {0xA9CE, "ERS", "End Resource"},
    {0xA9D9, "ESG", "End Resource Environment Group"},
    {0xA9DF, "EMO", "End Overlay"},
    {0xA9E3, "EDX", "End Data Map Transmission Subcase"},
    {0xA9EB, "EBC", "End Bar Code Object"},
    {0xA9FB, "EIM", "End Image Object"},
    {0xAAE7, "LNC", "Line Descriptor Count"},
    {0xAAEC, "FDS", "Fixed Data Size"},
    {0xAB77, "MCA", "Map Color Attribute Table", kNamesResource},
    {0xAB88, "MMT", "Map Media Type"},
    {0xAB89, "FNN", "Font Name Map"},
    {0xAB8A, "MCF", "Map Coded Font", kNamesResource},
    {0xAB92, "MCD", "Map Container Data"},
    {0xABAF, "MPG", "Map Page"},
    {0xABBB, "MGO", "Map Graphics Object"},
    {0xABC3, "MDR", "Map Data Resource", kNamesResource},
    {0xABCA, "IDM", "Invoke Data Map"},
    {0xABCC, "IMM", "Invoke Medium Map", kNamesResource},
    {0xABCD, "MMD", "Map Media Destination"},
    {0xABD8, "MPO", "Map Page Overlay", kNamesResource},
    {0xABEA, "MSU", "Map Suppression"},
    {0xABEB, "MBC", "Map Bar Code Object"},
    {0xABFB, "MIO", "Map Image Object"},
    {0xAC6B, "OBP", "Object Area Position"},
    {0xAC7B, "ICP", "Image Cell Position"},
    {0xAC89, "FNP", "Font Position"},
    {0xACAF, "PGP", "Page Position (format 1)"},
    {0xADC3, "PPO", "Preprocess Presentation Object", kNamesResource},
    {0xAE89, "FNO", "Font Orientation"},
    {0xAF5F, "IPS", "Include Page Segment", kNamesResource},
    {0xAFAF, "IPG", "Include Page", kNamesResource},
    {0xAFC3, "IOB", "Include Object", kNamesResource},
    {0xAFD8, "IPO", "Include Page Overlay", kNamesResource},
    {0xB077, "CAT", "Color Attribute Table"},
    {0xB15F, "MPS", "Map Page Segment", kNamesResource},
    {0xB18A, "MCF", "Map Coded Font (format 1)", kNamesResource},
    {0xB19B, "PTD", "Presentation Text Data Descriptor"},
    {0xB1AF, "PGP", "Page Position"},
    {0xB1DF, "MMO", "Map Medium Overlay"},
    {0xB288, "PFC", "Presentation Fidelity Control"},
    {0xB2A7, "IEL", "Index Element"},
    {0xB490, "LLE", "Link Logical Element"},
    {0xEE7B, "IRD", "Image Raster Data"},
    {0xEE89, "FNG", "Font Patterns"},
    {0xEE92, "OCD", "Object Container Data"},
    {0xEE9B, "PTX", "Presentation Text Data"},
    {0xEEBB, "GAD", "Graphics Data"},
    {0xEEEB, "BDA", "Bar Code Data"},
    {0xEEEC, "FDX", "Fixed Data Text"},
    {0xEEEE, "NOP", "No Operation"},
    {0xEEFB, "IPD", "Image Picture Data"},
    // clang-format on
};

constexpr bool Ascending() {
  for (size_t i = 1; i < std::size(kFields); ++i) {
    if (kFields[i - 1].code >= kFields[i].code) return false;
  }
  return true;
}
static_assert(Ascending());

constexpr const StructuredFieldRow* Find(uint16_t code) {
  const auto* row = std::lower_bound(
      std::begin(kFields), std::end(kFields), code,
      [](const StructuredFieldRow& field, uint16_t wanted) { return field.code < wanted; });
  return row != std::end(kFields) && row->code == code ? row : nullptr;
}

constexpr bool PartnersAreThere() {
  return std::all_of(std::begin(kFields), std::end(kFields), [](const StructuredFieldRow& field) {
    return PartnerOf(field.code) == 0 || Find(PartnerOf(field.code)) != nullptr;
  });
}
static_assert(PartnersAreThere());

}  // namespace

const StructuredFieldRow* FindStructuredField(uint16_t code) { return Find(code); }

bool RefersToResource(uint16_t code) {
  const StructuredFieldRow* row = Find(code);
  return row != nullptr && row->namesResource;
}

std::string FieldWords(uint16_t code) {
  if (const StructuredFieldRow* row = Find(code)) {
    return std::string(row->words) + " (" + row->acronym + ")";
  }
  constexpr char digits[] = "0123456789ABCDEF";
  std::string words = "field D3";
  for (int shift = 12; shift >= 0; shift -= 4) words += digits[code >> shift & 0xF];
  return words;
}

}  // namespace kz
