// A program outside the tree: loads the pictures of a file.
#include <kzica/Document.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  kz::Document document(argv[1]);
  if (!document.Open().Ok()) return 1;
  for (int picture = 1; picture <= document.Pictures(); ++picture) {
    kz::Bitmap bitmap;
    if (!document.LoadPicture(picture, {}, bitmap).Ok()) return 1;
    std::printf("%d: %d x %d\n", picture, bitmap.Width(), bitmap.Height());
  }
  return 0;
}
