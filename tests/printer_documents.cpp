#include <cups/raster.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "orv/platform/graphics.h"
#include "orv/text/utf8.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/pixels.h"

// This header defines TRUE and FALSE as macros, and needs cstdio.
#include <jpeglib.h>

/// Writes the documents that the test of the printer application prints: printer_documents PAGE.png
/// DPI FOLDER. They are the page in colour and in grey as PWG raster and as PNG images, a JPEG
/// image, and damaged raster.

namespace {

using Rows = std::vector<std::vector<unsigned char>>;

void WriteRaster(const std::string& path, const Rows& rows, const char* type, unsigned dpi,
                 int pages = 1) {
  const bool isColour = std::string(type) == "srgb_8";
  const std::size_t width = rows.front().size() / (isColour ? 3 : 1);
  pwg_media_t* medium = pwgMediaForSize(static_cast<int>(width * 2540 / dpi),
                                        static_cast<int>(rows.size() * 2540 / dpi));
  cups_page_header2_t header;
  cupsRasterInitPWGHeader(&header, medium, type, static_cast<int>(dpi), static_cast<int>(dpi),
                          "one-sided", nullptr);
  header.cupsWidth = static_cast<unsigned>(width);
  header.cupsHeight = static_cast<unsigned>(rows.size());
  header.cupsBytesPerLine = static_cast<unsigned>(rows.front().size());
  std::FILE* file = std::fopen(path.c_str(), "wb");
  cups_raster_t* raster = cupsRasterOpen(fileno(file), CUPS_RASTER_WRITE_PWG);
  for (int page = 0; page < pages; ++page) {
    cupsRasterWriteHeader2(raster, &header);
    for (std::vector<unsigned char> row : rows) {
      cupsRasterWritePixels(raster, row.data(), static_cast<unsigned>(row.size()));
    }
  }
  cupsRasterClose(raster);
  std::fclose(file);
}

void WriteJpeg(const std::string& path, const Rows& rows) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  jpeg_compress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_compress(&jpeg);
  jpeg_stdio_dest(&jpeg, file);
  jpeg.image_width = static_cast<JDIMENSION>(rows.front().size() / 3);
  jpeg.image_height = static_cast<JDIMENSION>(rows.size());
  jpeg.input_components = 3;
  jpeg.in_color_space = JCS_RGB;
  jpeg_set_defaults(&jpeg);
  jpeg_start_compress(&jpeg, TRUE);
  for (std::vector<unsigned char> row : rows) {
    JSAMPROW pixels = row.data();
    jpeg_write_scanlines(&jpeg, &pixels, 1);
  }
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  std::fclose(file);
}

/// The same pixels as a PNG image with its resolution, for the orv program.
void WritePng(const std::string& path, const Rows& rows, unsigned dpi) {
  const std::size_t width = rows.front().size() / 3;
  Bitmap page(static_cast<INT>(width), static_cast<INT>(rows.size()), PixelFormat24bppRGB);
  {
    const orv::tool::PagePixels pixels(&page);
    orv::tool::ForEachPixel(pixels, [&](unsigned char* pixel, int x, int y) {
      const unsigned char* rgb =
          &rows[static_cast<std::size_t>(y)][3 * static_cast<std::size_t>(x)];
      std::reverse_copy(rgb, rgb + 3, pixel);
    });
  }
  const orv::tool::Resolution resolution = {static_cast<double>(dpi), static_cast<double>(dpi)};
  std::ofstream(path, std::ios::binary) << orv::tool::PngOf(&page, resolution);
}

/// Damaged copies of a raster: cut off, a page of nearly four milliards of rows, one of black bits
/// according to its header, and noise.
void WriteDamaged(const std::string& folder, std::string bytes) {
  const auto write = [&](const char* name, const std::string& content) {
    std::ofstream(folder + "/" + name, std::ios::binary) << content;
  };
  write("cut.pwg", bytes.substr(0, bytes.size() / 3));
  constexpr std::size_t kHeight = 4 + 376;  // after the synchronisation word
  std::string huge = bytes;
  std::fill_n(huge.begin() + kHeight, 4, '\xF0');
  write("huge.pwg", huge);
  constexpr std::size_t kBits = 4 + 384;
  constexpr unsigned char kBlackBits[] = {0, 0,   0, 1, 0, 0, 0, 1, 0, 0,
                                          0, 102, 0, 0, 0, 0, 0, 0, 0, 3};
  std::string bits = bytes;
  std::ranges::copy(kBlackBits, bits.begin() + kBits);
  write("bits.pwg", bits);
  for (std::size_t i = 1000; i < bytes.size(); i += 7) bytes[i] = static_cast<char>(i * 31);
  write("noise.pwg", bytes);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const orv::GraphicsSession graphics;
  const orv::tool::PagePointer page = orv::tool::LoadPage(orv::FromUtf8(argv[1]));
  const auto dpi = static_cast<unsigned>(std::atoi(argv[2]));
  const std::string folder = argv[3];
  Rows colour;
  Rows grey;
  Rows tripled;  // grey as a colour
  const orv::tool::PagePixels pixels(page.get());
  orv::tool::ForEachPixel(pixels, [&](const unsigned char* pixel, int x, int) {
    if (x == 0) {
      colour.emplace_back();
      grey.emplace_back();
      tripled.emplace_back();
    }
    colour.back().insert(colour.back().end(), {pixel[2], pixel[1], pixel[0]});
    grey.back().push_back(pixel[1]);
    tripled.back().insert(tripled.back().end(), 3, pixel[1]);
  });
  WriteRaster(folder + "/colour.pwg", colour, "srgb_8", dpi);
  WriteRaster(folder + "/grey.pwg", grey, "sgray_8", dpi);
  WriteRaster(folder + "/long.pwg", colour, "srgb_8", dpi, 40);
  WritePng(folder + "/colour.png", colour, dpi);
  WritePng(folder + "/grey.png", tripled, dpi);
  WriteJpeg(folder + "/colour.jpg", colour);
  std::ifstream raster(folder + "/grey.pwg", std::ios::binary);
  WriteDamaged(folder, std::string(std::istreambuf_iterator<char>(raster), {}));
  return 0;
}
