// The whole image data of an image: where they begin, to start over from, and all of
// them in one buffer, for decoders that need it so.
#pragma once

#include <cstddef>

#include "API/Filters/Ica/Common/Ica.h"
#include "Host/Kernel/LocalBlock.h"

struct CollectedData {
  LocalBlock bytes{KZICA_SOURCE};
  size_t size = 0;
};

// Gathers the image data from where the readers stand to the field that follows
// them. Returns 1; -1 for no memory; the status of ReadRawIMG.
int CollectImageData(tagHANDLE* handle, const FilterThreadState* state, CollectedData* data);

// Where the image data begin in both streams, to start over from.
class ImageDataStart {
 public:
  ImageDataStart(tagHANDLE* file, FilterThreadState* state)
      : m_file(file),
        m_state(state),
        m_position(K_RedirectedSeek(file, 0, K_SEEK_CURRENT)),
        m_nIPDLeft(state->nIPDLeft) {}

  // Whether the readers stand there again.
  bool Return() const {
    m_state->nIPDLeft = m_nIPDLeft;
    m_state->nImageDataLeft = 0;
    return m_position >= 0 && K_RedirectedSeek(m_file, m_position, K_SEEK_START) >= 0;
  }

 private:
  tagHANDLE* m_file;
  FilterThreadState* m_state;
  int m_position;
  uint32_t m_nIPDLeft;
};
