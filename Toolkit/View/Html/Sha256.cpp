#include "Toolkit/View/Html/Sha256.h"

#include <glib.h>

#include <memory>

#include "Toolkit/View/Html/Markup.h"

namespace kz {

Sha256Digest Sha256(const void* bytes, size_t count) {
  const std::unique_ptr<GChecksum, void (*)(GChecksum*)> checksum(g_checksum_new(G_CHECKSUM_SHA256),
                                                                  g_checksum_free);
  g_checksum_update(checksum.get(), static_cast<const guchar*>(bytes), static_cast<gssize>(count));
  Sha256Digest digest = {};
  gsize length = digest.size();
  g_checksum_get_digest(checksum.get(), digest.data(), &length);
  return digest;
}

std::string PolicyHash(std::string_view text) {
  const Sha256Digest digest = Sha256(text.data(), text.size());
  return "'sha256-" + ToBase64({reinterpret_cast<const char*>(digest.data()), digest.size()}) + "'";
}

}  // namespace kz
