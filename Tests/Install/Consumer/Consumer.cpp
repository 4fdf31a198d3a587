// A program outside the tree: says what the pages of a file are and loads them.
#include <kzica/Document.h>

#include <cstdio>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  kz::PageInfo info;
  if (!kz::DescribePage(argv[1], 1, true, info).Ok()) return 1;
  for (int page = 1; page <= info.pages; ++page) {
    kz::Bitmap bitmap;
    if (!kz::LoadPage(argv[1], page, {}, bitmap).Ok()) return 1;
    std::printf("%d: %d x %d\n", page, bitmap.Width(), bitmap.Height());
  }
  return 0;
}
