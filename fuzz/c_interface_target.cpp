#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/targets.h"
#include "orv/c_api.h"
#include "orv/config/config.h"
#include "orv/config/config_loader.h"
#include "orv/devmode/devmode.h"
#include "orv/devmode/oemdev.h"
#include "orv/imaging/bitmap_helper.h"
#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/platform/graphics.h"
#include "orv/platform/out.h"
#include "platform/files.h"

/// The C interface beside the C++ interface.

namespace orv::fuzz {
namespace {

using OwnedConfig = std::unique_ptr<orv_config, void (*)(orv_config*)>;

std::vector<std::uint16_t> UnitsOf(const std::wstring& text) { return {text.begin(), text.end()}; }

/// A file as both interfaces load it.
struct LoadedTwice {
  LoadResult result;
  OwnedConfig config{nullptr, &orv_config_close};

  explicit LoadedTwice(const std::wstring& path) : result(LoadConfigFile(path, nullptr, nullptr)) {
    const std::vector<std::uint16_t> units = UnitsOf(path);
    std::vector<std::uint16_t> reason(1000);
    std::uint32_t length = 0;
    orv_config* loaded = nullptr;
    const std::int32_t code =
        orv_config_load(units.data(), static_cast<std::uint32_t>(units.size()), nullptr, &loaded,
                        reason.data(), static_cast<std::uint32_t>(reason.size()), &length);
    config.reset(loaded);
    Require((code == ORV_OK) == (result.config != nullptr), "both load a file, or neither");
    if (code == ORV_OK) return;
    const std::vector<std::uint16_t> whole = UnitsOf(LoadFailureText(result));
    reason.resize(std::min(whole.size(), reason.size()));
    Require(loaded == nullptr && length == whole.size() &&
                std::equal(reason.begin(), reason.end(), whole.begin()),
            "both have the same reason");
  }
};

void CompareRecords(const LoadedTwice& sample, Input bytes) {
  tagOEMDEV in = {};
  std::memcpy(&in, bytes.data(), std::min(bytes.size(), sizeof in));
  const auto same = [](const tagOEMDEV& a, const tagOEMDEV& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
  };
  tagOEMDEV expected = in;
  tagOEMDEV actual = in;
  FillDefaults(*sample.result.config, &expected);
  Require(orv_record_default(sample.config.get(), &actual, sizeof actual) == ORV_OK &&
              same(actual, expected),
          "the defaults are the same");
  expected = in;
  EnsureValidOEMDevmode(nullptr, sample.result.config, &expected);
  Require(orv_record_validate(sample.config.get(), nullptr, &in, &actual, sizeof actual, nullptr, 0,
                              nullptr) == ORV_OK &&
              same(actual, expected),
          "the corrections are the same");
  expected = {};
  actual = {};
  const bool isConverted = in.dwSignature == tagOEMDEV::kSignature &&
                           ConvertOEMDevmodeVersions(nullptr, &in, &expected) != 0;
  Require(orv_record_convert(nullptr, &in, &actual, sizeof actual) ==
                  (isConverted ? ORV_OK : ORV_ERROR_RECORD) &&
              same(actual, isConverted ? expected : tagOEMDEV{}),
          "the converted record is the same");
  using Layout = std::pair<void (*)(tagOEMDEV*), std::int32_t(ORV_C_CALL*)(void*, std::uint32_t)>;
  for (const auto& [ours, theirs] : {Layout{ConvertEp2Orv, orv_record_from_legacy_layout},
                                     Layout{ConvertOrv2Ep, orv_record_to_legacy_layout}}) {
    expected = actual = in;
    ours(&expected);
    Require(theirs(&actual, sizeof actual) == ORV_OK && same(actual, expected),
            "the layouts are the same");
  }
}

/// The pixels of a page, for the C interface.
struct Image {
  orv_image image;
  std::vector<std::uint8_t> bytes;

  Image(int format, int width, int height, int extra)
      : image{sizeof(orv_image), format, width, height, 0, 0, nullptr} {
    const int row = format == ORV_FORMAT_BGR24 ? 3 * width : (width + 7) / 8;
    bytes.resize(static_cast<std::size_t>((row + extra) * height));
    image.pixels = bytes.data();
    image.stride = row + extra;
    if (extra % 2 == 0) return;  // otherwise the rows go upwards
    image.pixels = bytes.data() + (height - 1) * image.stride;
    image.stride = -image.stride;
  }

  std::uint8_t* Row(int y) const {
    return static_cast<std::uint8_t*>(image.pixels) + std::ptrdiff_t{y} * image.stride;
  }
  std::size_t RowBytes() const {
    return static_cast<std::size_t>(image.format == ORV_FORMAT_BGR24 ? 3 * image.width
                                                                     : (image.width + 7) / 8);
  }

  /// Copies the pixels to or from a bitmap of the same format.
  template <typename Copy>
  void Exchange(Bitmap* bitmap, UINT mode, const Copy& copy) const {
    BitmapData data;
    Require(bitmap->LockBits(nullptr, mode, bitmap->GetPixelFormat(), &data) == Ok,
            "a bitmap can be locked");
    for (int y = 0; y < image.height; ++y) {
      copy(static_cast<std::uint8_t*>(data.Scan0) + std::ptrdiff_t{y} * data.Stride, Row(y));
    }
    bitmap->UnlockBits(&data);
  }
  OwnedBitmap ToBitmap() const {
    const PixelFormat format =
        image.format == ORV_FORMAT_BGR24 ? PixelFormat24bppRGB : PixelFormat1bppIndexed;
    OwnedBitmap bitmap(BitmapHelper::CreateBitmap(image.width, image.height, format));
    Exchange(bitmap.get(), ImageLockModeWrite, [this](std::uint8_t* to, const std::uint8_t* from) {
      std::memcpy(to, from, RowBytes());
    });
    return bitmap;
  }
  bool Has(Bitmap* bitmap) const {
    bool isSame = true;
    Exchange(bitmap, ImageLockModeRead, [&](const std::uint8_t* a, const std::uint8_t* b) {
      isSame = isSame && std::memcmp(a, b, RowBytes()) == 0;
    });
    return isSame;
  }
};

void ComparePages(Reader* reader) {
  const int width = 1 + reader->Below(70);
  const int height = 1 + reader->Below(20);
  const int extra = reader->Below(4);
  Image page(ORV_FORMAT_BGR24, width, height, extra);
  const auto method = static_cast<eBitmapDitherer>(reader->Below(8) - 1);
  const int threshold = reader->Below(400) - 50;
  const auto rgb =
      static_cast<std::uint32_t>(reader->Byte() << 16 | reader->Byte() << 8 | reader->Byte());
  const double tolerance = reader->Byte() / 200.0;
  const Input pattern = reader->Bytes(200);
  for (std::size_t i = 0; i < page.bytes.size() && !pattern.empty(); ++i) {
    page.bytes[i] = pattern[i % pattern.size()];
  }
  const OwnedBitmap bitmap = page.ToBitmap();
  Color colour(0xFF000000 | rgb);

  Image black(ORV_FORMAT_BGR24, width, height, extra ^ 1);
  Image second(ORV_FORMAT_BGR24, width, height, extra);
  OwnedBitmap background;
  OwnedBitmap highlight;
  const bool isSplit = BitmapHelper::SplitImage(bitmap.get(), colour, tolerance, method, threshold,
                                                Out(background), Out(highlight)) != 0;
  const std::int32_t code =
      orv_page_split(&page.image, rgb, tolerance, method, threshold, &black.image, &second.image);
  // Only the C interface refuses a white highlight.
  Require((code == ORV_OK) == (isSplit && rgb != 0xFFFFFF), "both split a page, or neither");
  Require(code != ORV_OK || (black.Has(background.get()) && second.Has(highlight.get())),
          "the planes are the same");

  const OwnedBitmap dithered(BitmapRasterizer::Dither(bitmap.get(), method, threshold, colour));
  Require((orv_page_dither(&page.image, method, threshold, rgb) == ORV_OK) == (dithered != nullptr),
          "both dither a page, or neither");
  if (dithered == nullptr) return;
  Require(page.Has(dithered.get()), "the dithered pages are the same");

  Image bits(ORV_FORMAT_BIT1, width, height, extra);
  const OwnedBitmap oneBit(BitmapHelper::CreateBitmap(width, height, PixelFormat1bppIndexed));
  BitmapHelper::GetMonochromeImage1BPP(dithered.get(), oneBit.get());
  Require(orv_page_to_one_bit(&page.image, &bits.image) == ORV_OK && bits.Has(oneBit.get()),
          "the bits are the same");
  std::int32_t bounds[4];
  Require(orv_page_bounds(&bits.image, bounds) == ORV_OK &&
              bounds[0] == BitmapHelper::GetFirstContentRow1BPP(oneBit.get()) &&
              bounds[1] == BitmapHelper::GetLastContentRow1BPP(oneBit.get()) &&
              bounds[2] == BitmapHelper::GetFirstContentColumn1BPP(oneBit.get()) &&
              bounds[3] == BitmapHelper::GetLastContentColumn1BPP(oneBit.get()),
          "the bounds are the same");
}

}  // namespace

void CInterface(Input input) {
  static const GraphicsSession graphics;
  static const LoadedTwice sample(FromPath(ORV_EXAMPLES) + kPathSeparator + L"orv_conf_dx600p.xml");
  Reader reader(input);
  ComparePages(&reader);
  const Input rest = reader.Rest();
  CompareRecords(sample, rest);
  LoadedTwice(FromPath(AsFile(rest)));
}

}  // namespace orv::fuzz
