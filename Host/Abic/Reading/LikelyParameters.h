// The parameters that strings of unknown writers most likely have.
#pragma once

#include <array>
#include <cstddef>

#include "Host/Abic/AbicParameters.h"

class LikelyParameters {
 public:
  // A few dozen, the likeliest first, without `first` itself, whose framing is what the image
  // says; those that make no difference to an image of the width and depth are left out.
  LikelyParameters(const kz::AbicParameters& first, int width, int depth);

  const kz::AbicParameters* begin() const { return m_parameters.data(); }
  const kz::AbicParameters* end() const { return m_parameters.data() + m_count; }

 private:
  // All that is left open but the context and the framing.
  void Add(const kz::AbicParameters& parameters);

  kz::AbicParameters m_first;
  bool m_planes;
  std::array<kz::AbicParameters, 160> m_parameters;
  size_t m_count = 0;
};
