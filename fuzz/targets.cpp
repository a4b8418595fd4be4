#include "fuzz/targets.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>

#include "base/utf8.h"
#include "orv/logging/logger.h"

namespace orv::fuzz {
namespace {

/// Messages are formatted, but those about fuzzed files must not reach the driver's log.
const bool kLogsNothing = [] {
  CLogger::m_bWriteLogToFile = FALSE;
  return true;
}();

/// Removed at normal exit; a crash leaves it in the temporary folder for examination.
class Folder {
 public:
  Folder() {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() / ("orv_fuzz_" + std::to_string(random()));
    std::filesystem::create_directories(path_);
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

const Folder& OwnFolder() {
  static const Folder folder;
  return folder;
}

}  // namespace

void Require(bool holds, const char* guarantee) {
  if (holds) return;
  std::fprintf(stderr, "violated: %s\n", guarantee);
  std::abort();
}

std::uint8_t Reader::Byte() {
  if (rest_.empty()) return 0;
  const std::uint8_t byte = rest_.front();
  rest_ = rest_.subspan(1);
  return byte;
}

int Reader::Below(int limit) {
  const int high = limit > 256 ? Byte() : 0;
  return (high * 256 + Byte()) % limit;
}

Input Reader::Bytes(std::size_t count) {
  const Input bytes = rest_.first(std::min(count, rest_.size()));
  rest_ = rest_.subspan(bytes.size());
  return bytes;
}

std::wstring AsText(Input bytes) {
  const std::string_view narrow(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  std::wstring text = Utf8ToWide(narrow);
  if (text.find(L'\uFFFD') == std::wstring::npos) return text;
  std::wstring units;
  for (const std::uint8_t byte : bytes) {
    units += static_cast<wchar_t>(byte < 0xF8 ? byte : 0xD800 + (byte - 0xF8) * 0x100);
  }
  return units;
}

std::filesystem::path AsFile(Input bytes) {
  std::filesystem::path path = OwnFolder().path() / "input";
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  return path;
}

std::filesystem::path OutputFile() { return OwnFolder().path() / "output"; }

}  // namespace orv::fuzz
