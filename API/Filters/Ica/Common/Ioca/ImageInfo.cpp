#include "API/Filters/Ica/Common/Ioca/ImageInfo.h"

#include "API/Filters/Ica/Common/Ioca/Document/FieldStream.h"
#include "API/Filters/Ica/Common/Ioca/Document/Navigation.h"
#include "API/Filters/Ica/Common/Ioca/Segment/SegmentField.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/Compression.h"
#include "Format/SelfDefiningField.h"

namespace {

// Raw resolutions of this value and above stand for "none given".
constexpr uint32_t kNoResolution = 0x8000;
constexpr uint32_t kDefaultResolution = 150;

struct RawResolution {
  uint32_t x = 96;
  uint32_t y = 96;
};

// Goes to the segment of the wanted page, or the last there is.
int SeekImageObject(tagHANDLE* handle, int* pnPage) {
  int position = 0;
  const int status = FindImageObject(handle, &position, 0);
  if (status != K_SUCCESS) return status;
  int page = 1;
  while (page < *pnPage && FindImageObject(handle, &position, 1) == K_SUCCESS) ++page;
  if (K_RedirectedSeek(handle, position, K_SEEK_START) < 0) return K_ERROR_READ;
  *pnPage = page;
  return K_SUCCESS;
}

int ReadField(tagHANDLE* handle, _ICA_SDF* field, uint16_t expected) {
  const int status = ReadICA_SDF(handle, field);
  if (status != K_SUCCESS) return status;
  return field->wId == expected ? K_SUCCESS : K_ERROR_INVALID_FORMAT;
}

uint32_t DotsPerInch(uint32_t value, unsigned char unitBase) {
  switch (unitBase) {
    case kz::kBaseTenInches:
      return value / 10;
    case kz::kBaseTenCentimetres:
      return value * 254 / 1000;
    default:
      return value;
  }
}

int ApplyImageSize(const _ICA_SDF& field, _LOADINFO* info, RawResolution* raw) {
  if (field.wHSize == 0 || field.wVSize == 0) return K_ERROR_INVALID_FORMAT;
  info->nWidth = field.wHSize;
  info->nHeight = field.wVSize;
  *raw = {field.wHResolution, field.wVResolution};
  info->nXResolution = DotsPerInch(raw->x, field.bUnitBase);
  info->nYResolution = DotsPerInch(raw->y, field.bUnitBase);
  return K_SUCCESS;
}

void RepairResolution(_LOADINFO* info, const RawResolution& raw) {
  const bool noX = raw.x >= kNoResolution;
  const bool noY = raw.y >= kNoResolution;
  if (noX && noY) {
    info->nXResolution = kDefaultResolution;
    info->nYResolution = kDefaultResolution;
  } else if (noY) {
    info->nYResolution = info->nXResolution;
  } else if (noX) {
    info->nXResolution = info->nYResolution;
  }
}

void SetFlag(_LOADINFO* info, uint32_t flag, bool on) {
  info->uFlags = on ? info->uFlags | flag : info->uFlags & ~flag;
}

int ApplyImageEncoding(const _ICA_SDF& field, kz::Container container, _LOADINFO* info,
                       const RawResolution& raw) {
  // A compression that can't be loaded is no fault before the image data are reached:
  // another Image Encoding may come.
  const kz::CompressionRow* row = kz::FindCompression(field.abParam[0]);
  info->nFormat = row != nullptr ? kz::DescribedFormatCode(*row, container) : 0;
  if (row != nullptr && row->idDepth != 0) info->nBitsPerPixel = row->idDepth;
  RepairResolution(info, raw);

  switch (field.abParam[1]) {
    case kz::kRecordingRidic:
      SetFlag(info, K_RAW_TOP_DOWN, true);
      break;
    case kz::kRecordingBottomToTop:
      SetFlag(info, K_RAW_TOP_DOWN, false);
      break;
    case kz::kRecordingUnpaddedRidic:
      break;
    default:
      return K_ERROR_INVALID_FORMAT;
  }
  SetFlag(info, K_RAW_REVERSED_BITS, field.abParam[2] == 1);
  return K_SUCCESS;
}

int ApplyIdeSize(unsigned bits, _LOADINFO* info) {
  const kz::CompressionRow* row = kz::FindFormatCode(info->nFormat).row;
  constexpr kz::Depths withoutCompression = kz::DepthsOf(1);
  const kz::Depths depths = row != nullptr ? row->read : withoutCompression;
  if (!kz::HasDepth(depths, static_cast<int>(bits))) return K_ERROR_INVALID_FORMAT;
  // Where the identifier says a depth, 1 is written for any.
  const bool told = bits == 1 && row != nullptr && row->idDepth != 0;
  if (!told) info->nBitsPerPixel = bits;
  return K_SUCCESS;
}

// Where the reading of a segment stands.
struct SegmentPosition {
  int position;
  uint32_t nIPDLeft;
};

// Makes the stream deliver the Image Data header that was just read once more,
// and returns its file position, -1 when a seek fails.
int StepBackOverHeader(tagHANDLE* handle, FilterThreadState* state, const SegmentPosition& before) {
  constexpr unsigned headerLength = kz::SelfDefiningHeaderLength(kz::sdf::kImageData);
  const bool whole =
      state->bReadIPD == 0 || SFDataLength(state->sfiRead) - state->nIPDLeft >= headerLength;
  if (whole) {
    state->nIPDLeft += headerLength;
    return K_RedirectedSeek(handle, -static_cast<int>(headerLength), K_SEEK_CURRENT);
  }
  // The header began in an earlier Image Picture Data field: four bytes back lies
  // an introducer.
  state->nIPDLeft = before.nIPDLeft;
  return K_RedirectedSeek(handle, before.position, K_SEEK_START);
}

// The kind of container, as far as it has been read.
kz::Container ContainerRead(const FilterThreadState* state) {
  if (state->bReadIPD == 0) return kz::Container::Ioca;
  return state->bReadCC != 0 ? kz::Container::ModcaCarriageControl : kz::Container::Modca;
}

// Reads the parameter fields up to the first Image Data field.
int ReadParameters(tagHANDLE* handle, FilterThreadState* state, _LOADINFO* info) {
  RawResolution raw;
  for (;;) {
    const SegmentPosition before{K_RedirectedSeek(handle, 0, K_SEEK_CURRENT), state->nIPDLeft};
    _ICA_SDF field;
    int status = ReadICA_SDF(handle, &field);
    if (status != K_SUCCESS) return status;
    switch (field.wId) {
      case kz::sdf::kImageSize:
        status = ApplyImageSize(field, info, &raw);
        break;
      case kz::sdf::kImageEncoding:
        status = ApplyImageEncoding(field, ContainerRead(state), info, raw);
        break;
      case kz::sdf::kIdeSize:
        status = ApplyIdeSize(field.abParam[0], info);
        break;
      case kz::sdf::kImageLutId:
        break;
      case kz::sdf::kIdeStructure:
        SetFlag(info, K_RAW_IDE_FLAG, (field.abParam[0] & 0x01) != 0);
        break;
      case kz::sdf::kImageData: {
        const int position = StepBackOverHeader(handle, state, before);
        if (position < 0) return K_ERROR_READ;
        info->nDataOffset = static_cast<uint32_t>(position);
        return K_SUCCESS;
      }
      default:
        return K_ERROR_INVALID_FORMAT;
    }
    if (status != K_SUCCESS) return status;
  }
}

}  // namespace

int ReadImageInfo(tagHANDLE* handle, _LOADINFO* pInfo, int* pnPage, int nXResolution,
                  int nYResolution) {
  FilterThreadState* state = ThreadState();
  state->bReadIPD = 1;
  BindRead(state);

  unsigned char start[sizeof(kz::kBareStart)];
  if (!ReadBound(state, handle, start, sizeof(start))) return K_ERROR_READ;
  if (K_RedirectedSeek(handle, -static_cast<int>(sizeof(start)), K_SEEK_CURRENT) < 0) {
    return K_ERROR_READ;
  }
  int page = 1;
  if (_memicmp(start, kz::kBareStart, sizeof(start)) == 0) {
    state->bReadIPD = 0;
  } else {
    page = *pnPage;
    const int status = SeekImageObject(handle, &page);
    if (status != K_SUCCESS) return status;
  }

  state->nIPDLeft = 0;
  _ICA_SDF field;
  int status = ReadField(handle, &field, kz::sdf::kBeginSegment);
  if (status == K_SUCCESS) status = ReadField(handle, &field, kz::sdf::kBeginImageContent);
  if (status != K_SUCCESS) return status;

  K_MemorySet(pInfo, 0, sizeof(*pInfo));
  pInfo->nBitsPerPixel = 1;
  pInfo->uFlags = K_RAW_TOP_DOWN;
  pInfo->nXResolution = static_cast<uint32_t>(nXResolution);
  pInfo->nYResolution = static_cast<uint32_t>(nYResolution);
  status = ReadParameters(handle, state, pInfo);
  if (status != K_SUCCESS) return status;
  if (pInfo->nFormat == 0 || pInfo->nWidth == 0 || pInfo->nHeight == 0) {
    return K_ERROR_INVALID_FORMAT;
  }
  *pnPage = page;
  return K_SUCCESS;
}
