#include <filesystem>
#include <memory>

#include "orv/platform/files.h"
#include "orv/platform/graphics.h"

/// `png_files PAGE PLANE...`: reads a page and its planes and writes the planes anew. What a
/// command that splits a page cannot do without, to hold the whole command against.

int main(int argc, char** argv) {
  using namespace orv;
  const GraphicsSession graphics;
  for (int i = 1; i < argc; ++i) {
    const std::wstring name = FromPath(argv[i]);
    Bitmap* loaded = nullptr;
    if (LoadPng(name.c_str(), &loaded) != Ok) return 1;
    const std::unique_ptr<Bitmap> bitmap(loaded);
    if (i > 1 && SavePng(bitmap.get(), name.c_str()) != Ok) return 1;
  }
}
