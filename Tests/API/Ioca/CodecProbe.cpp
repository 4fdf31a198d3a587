// Loads a 20 x 3 ABIC image into rows so many times as long, saves one and says what came of it:
// the statuses, the rows, the blocks left over and whether the codec library is still loaded. A
// program of its own, since where the kernel library lies decides which codec is found.
#include <cstdio>

#include "API/Filters/Ica/Common/Ioca/Coders/CodecLoader.h"
#include "Tests/API/LoadRequest.h"
#include "Toolkit/Editing/SavePage.h"

int main(int, char** arguments) {
  const int depth = arguments[2][0] - '0';
  int status = 0, saved = 0;
  size_t rows = 0;
  size_t blocks = 0;
  for (int round = 0; round < 2; ++round) {  // the first leaves the thread's record
    blocks = K_LiveBlocks();
    LoadRequest load(20, 3, depth);
    load.bitmap.nBytesPerLine *= arguments[3][0] - '0';
    status = load(arguments[1]);
    rows = load.rows.size();
    kz::Bitmap picture;
    (void)picture.Create(20, 3, depth);
    kz::SaveRequest request;
    request.compression = kz::Compression::Abic;
    saved = kz::SavePage(std::string(arguments[1]) + ".saved", picture, request).status;
    picture.Reset();
    K_FreeBitmap(&load.bitmap);
    blocks = K_LiveBlocks() - blocks;
  }
  std::printf("%d %d %zu %zu %d %d", status, saved, rows, blocks, static_cast<int>(K_OpenFiles()),
              EmbeddedLoaders::g_aLoaders.IsLoaded());
}
