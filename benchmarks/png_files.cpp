#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "orv/platform/graphics.h"
#include "platform/files.h"

/// `png_files PAGE PLANE.pbm...`: reads a page, and converts planes from raw bits to one-bit PNG
/// files. This is the minimum file work of a command that splits a page, as a baseline for the
/// whole command.

namespace {

/// Reads a raw PBM file; returns null if it is invalid.
std::unique_ptr<Bitmap> ReadBits(const char* path) {
  std::ifstream file(path, std::ios::binary);
  std::string magic;
  int width = 0;
  int height = 0;
  file >> magic >> width >> height;
  file.get();
  auto bitmap = std::make_unique<Bitmap>(width, height, PixelFormat1bppIndexed);
  const Rect area(0, 0, width, height);
  BitmapData data;
  if (magic != "P4" ||
      bitmap->LockBits(&area, ImageLockModeWrite, PixelFormat1bppIndexed, &data) != Ok) {
    return nullptr;
  }
  for (int y = 0; y < height; ++y) {
    char* const row = static_cast<char*>(data.Scan0) + std::ptrdiff_t{y} * data.Stride;
    file.read(row, (width + 7) / 8);
    for (int i = 0; i < (width + 7) / 8; ++i)
      row[i] = static_cast<char>(~row[i]);  // in PBM 1 is ink
  }
  bitmap->UnlockBits(&data);
  return file ? std::move(bitmap) : nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace orv;
  const GraphicsSession graphics;
  Bitmap* page = nullptr;
  if (argc < 2 || LoadPng(FromPath(argv[1]).c_str(), &page) != Ok) return 1;
  const std::unique_ptr<Bitmap> owned(page);
  for (int i = 2; i < argc; ++i) {
    const std::unique_ptr<Bitmap> plane = ReadBits(argv[i]);
    const std::wstring name = FromPath(argv[i]) + L".png";
    if (plane == nullptr || SavePng(plane.get(), name.c_str()) != Ok) return 1;
  }
}
