#include "tools/orv/page/file.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>

#include "platform/files.h"
#include "platform/letter_case.h"
#include "platform/new_file.h"
#include "platform/png_resolution.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/png_file.h"

namespace orv::tool {
namespace {

/// Explains why the file at `path`, which the user calls `name`, did not load.
std::wstring Explain(Status status, const std::wstring& path, const std::wstring& name) {
  switch (status) {
    case FileNotFound: {
      std::string bytes;
      ReadFile(path, &bytes, 0, 1);  // for its reason
      return CannotRead(name);
    }
    case Win32Error:
      return L"cannot read " + name + L": " + FileErrorText();
    case OutOfMemory:
      return L"not enough memory for " + name;
    default:
      return name + L": " + DescribePngFault(status, path);
  }
}

std::uint32_t ToPerMetre(double dpi) {
  return static_cast<std::uint32_t>(std::lround(dpi / kMetresPerInch));
}

/// A whole number of dots per inch if the file's whole number of dots per metre may mean that.
/// Writers round it or cut it off.
double ToDpi(std::uint32_t perMetre) {
  const double dpi = std::round(perMetre * kMetresPerInch);
  const std::uint32_t rounded = ToPerMetre(dpi);
  return perMetre == rounded || perMetre + 1 == rounded ? dpi : perMetre * kMetresPerInch;
}

/// Whether two paths are the same file. Files that do not exist yet are compared by folder and
/// name, case-insensitively, because some file systems ignore case.
bool IsSamePlace(const std::wstring& one, const std::wstring& other) {
  const auto folder = [](const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::absolute(path, error).parent_path();
  };
  const std::filesystem::path first = ReplacedPath(one);
  const std::filesystem::path second = ReplacedPath(other);
  std::error_code error;
  return (IsStandardOutput(one) && IsStandardOutput(other)) ||
         std::filesystem::equivalent(ToPath(one), ToPath(other), error) ||
         (EqualIgnoringCase(FileNameOf(FromPath(first)), FileNameOf(FromPath(second))) &&
          std::filesystem::equivalent(folder(first), folder(second), error));
}

/// The resolution in the file at `path`, unless it is one that programs write as a default, or one
/// that no device has.
std::optional<Resolution> StoredResolution(const std::wstring& path) {
  const std::optional<PngResolution> perMetre = ReadPngResolution(path.c_str());
  if (!perMetre) return {};
  const Resolution dpi = {ToDpi(perMetre->x), ToDpi(perMetre->y)};
  const bool isScreen = dpi.x == dpi.y && (dpi.x == 72 || dpi.x == 96);
  if (isScreen || std::min(dpi.x, dpi.y) < 1 || std::max(dpi.x, dpi.y) > kMaxDpi) return {};
  return dpi;
}

}  // namespace

PagePointer LoadPage(const std::wstring& path, std::optional<Resolution>* stored) {
  const InputFile file(path);
  PagePointer page;
  if (const Status status = LoadOnWhite(file.path(), &page); status != Ok) {
    Fail(kUnreadable, Explain(status, file.path(), InputName(path)));
  }
  if (stored != nullptr) *stored = StoredResolution(file.path());
  return page;
}

Status EncodePage(Bitmap* page, const std::optional<Resolution>& resolution, std::string* bytes) {
  const PagePointer reduced = ReduceToTwoColours(page);
  if (reduced != nullptr) page = reduced.get();
  std::optional<PngResolution> perMetre;
  if (resolution) perMetre = {ToPerMetre(resolution->x), ToPerMetre(resolution->y)};
  return EncodePng(page, perMetre, bytes);
}

std::string PngOf(Bitmap* page, const std::optional<Resolution>& resolution) {
  std::string bytes;
  if (const Status status = EncodePage(page, resolution, &bytes); status != Ok) {
    Fail(kUnreadable, status == OutOfMemory ? L"not enough memory for the image"
                                            : L"the image cannot be encoded as PNG");
  }
  return bytes;
}

void RefuseInputs(const std::vector<std::wstring>& inputs, const std::wstring& output) {
  for (const std::wstring& input : inputs) {
    if (!input.empty() && input != kStandardStream && IsSamePlace(input, output)) {
      Fail(kUsage, L"the output would replace the input: " + output);
    }
  }
}

void PageFiles::Add(Bitmap* page, const std::wstring& path) {
  for (const OutputFile& earlier : files_) {
    if (IsSamePlace(earlier.path(), path)) {
      Fail(kUsage, L"two outputs have the same file: " + path);
    }
  }
  RefuseInputs(inputs_, path);
  RequireReplaceable(path);
  if (!files_.emplace_back(path).Write(PngOf(page, resolution_))) {
    Fail(kUnreadable, CannotWrite(path));
  }
}

void PageFiles::Finish() {
  // Streams and devices first: writing them can fail; the files need only be moved.
  for (const bool isReplaced : {false, true}) {
    for (OutputFile& file : files_) {
      if (file.IsReplaced() != isReplaced) continue;
      if (!file.Commit()) Fail(kUnreadable, CannotWrite(file.path()));
      PrintDetail(L"wrote " + PathName(file.path()));
    }
  }
  files_.clear();
}

}  // namespace orv::tool
