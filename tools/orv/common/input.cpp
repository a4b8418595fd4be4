#include "tools/orv/common/input.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <vector>

#include "base/utf8.h"
#include "platform/console.h"
#include "platform/files.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/progress.h"

namespace orv::tool {
namespace {

bool IsStandardStream(const std::wstring& path) { return path == kStandardStream; }

std::wstring temporaryFolder;  ///< once it is used

/// The files that the command has read, apart from temporary ones.
std::vector<std::wstring> inputs;

/// Why the last file could not be read or written.
std::wstring failureReason;

/// Keeps the system's reason for a failure; returns false.
bool FailForReason() {
  failureReason = FileErrorText();
  return false;
}

/// Appends the bytes of a file from an offset, up to `max` in all.
bool AppendFile(const std::wstring& path, std::uint64_t offset, std::size_t max,
                std::string* bytes) {
  std::ifstream file(ToPath(path), std::ios::binary);
  if (!file || (offset > 0 && !file.seekg(static_cast<std::streamoff>(offset)))) {
    return FailForReason();
  }
  char buffer[1 << 16];
  do {
    const std::size_t wanted = std::min(sizeof buffer, max - bytes->size());
    file.read(buffer, static_cast<std::streamsize>(wanted));
    bytes->append(buffer, static_cast<std::size_t>(file.gcount()));
  } while (file && bytes->size() < max);
  return !file.bad() || FailForReason();
}

bool AppendStandardInput(std::string* all) {
  for (std::string bytes; ReadStandardInput(&bytes); *all += bytes) {
    if (bytes.empty()) return true;
  }
  return false;
}

/// All of a stream; null when it cannot be read.
const std::string* StreamContent(const std::wstring& path) {
  struct Stream {
    std::string all;
    std::wstring reason;  ///< a second read fails for the same one
    bool isRead = false;
  };
  static std::map<std::wstring, Stream> streams;
  const auto [found, isNew] = streams.try_emplace(path);
  Stream& stream = found->second;
  if (isNew) {
    stream.isRead = IsStandardStream(path) ? AppendStandardInput(&stream.all)
                                           : AppendFile(path, 0, std::string::npos, &stream.all);
    if (!stream.isRead) stream.reason = failureReason;
  }
  failureReason = stream.reason;
  return stream.isRead ? &stream.all : nullptr;
}

/// Why a path does not lead to a file that can be read.
std::wstring NotAFile(const std::filesystem::file_status& status, const std::error_code& error) {
  switch (status.type()) {
    case std::filesystem::file_type::not_found:
      return L"no such file or folder";
    case std::filesystem::file_type::none:
      return FileErrorText(error);
    case std::filesystem::file_type::directory:
      return L"it is a folder";
    default:
      return L"it is not a file (- is standard input)";
  }
}

/// The end of a message about a path; the name of an empty one says enough.
std::wstring ReasonFor(const std::wstring& path) {
  return path.empty() || failureReason.empty() ? std::wstring() : L": " + failureReason;
}

/// A temporary folder that only this user can access; removed when the program exits normally.
struct PrivateFolder {
  PrivateFolder() {
    std::random_device random;
    path = std::filesystem::temp_directory_path(error) /
           ToPath(L"orv-" + std::to_wstring(random()) + L'-' + std::to_wstring(random()));
    std::filesystem::create_directory(path, error);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all, error);
  }
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;
  ~PrivateFolder() { std::filesystem::remove_all(path, error); }
  std::filesystem::path path;
  std::error_code error;  ///< ignored: writing into the folder fails instead
};

std::wstring TemporaryPath(const wchar_t* name) {
  static const PrivateFolder folder;
  temporaryFolder = FromPath(folder.path);
  return FromPath(folder.path / name);
}

}  // namespace

bool IsStream(const std::wstring& path) {
  std::error_code ignored;
  return IsStandardStream(path) || std::filesystem::is_fifo(ToPath(path), ignored);
}

bool IsStandardOutput(const std::wstring& path) {
  return IsStandardStream(path) || LeadsToStandardOutput(ToPath(path));
}

bool ReadStandardInput(std::string* bytes) {
  if (IsInputTerminal()) StopProgress();
  return ReadInput(bytes) || FailForReason();
}

bool ReadFile(const std::wstring& path, std::string* bytes, std::uint64_t offset, std::size_t max) {
  bytes->clear();
  failureReason.clear();
  if (IsStream(path)) {
    const std::string* const input = StreamContent(path);
    if (input == nullptr) return false;
    *bytes = input->substr(std::min<std::uint64_t>(offset, input->size()), max);
    return true;
  }
  std::error_code error;
  const auto status = std::filesystem::status(ToPath(path), error);
  if (!std::filesystem::is_regular_file(status)) {
    failureReason = NotAFile(status, error);
    return false;
  }
  NoteInput(path);
  return AppendFile(path, offset, max, bytes);
}

void NoteInput(const std::wstring& path) {
  const bool isTemporary = !temporaryFolder.empty() && path.starts_with(temporaryFolder);
  if (isTemporary || path == kStandardStream || std::ranges::find(inputs, path) != inputs.end()) {
    return;
  }
  inputs.push_back(path);
  PrintDetail(L"reading " + PathName(path));
}

bool IsMissing(const std::wstring& path) {
  std::error_code error;
  return std::filesystem::status(ToPath(path), error).type() ==
         std::filesystem::file_type::not_found;
}

bool OutputFile::Write(std::string bytes) {
  // Only files can be replaced; standard streams, pipes and devices are written by Commit.
  isReplaced_ = !IsStandardStream(path_) && !IsDevice(ToPath(path_));
  if (isReplaced_) {
    return (file_.Open(path_) && file_.Write(bytes) && file_.Flush()) || FailForReason();
  }
  bytes_ = std::move(bytes);
  return true;
}

bool OutputFile::Commit() {
  if (isReplaced_) return file_.Commit() || FailForReason();
  if (IsStandardOutput(path_)) return PrintContent(bytes_) || FailForReason();
  std::ofstream device(ToPath(path_), std::ios::binary);
  device.write(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
  device.close();
  return !device.fail() || FailForReason();
}

bool WriteFile(const std::wstring& path, std::string bytes) {
  OutputFile file(path);
  return file.Write(std::move(bytes)) && file.Commit();
}

std::wstring CannotRead(const std::wstring& path) {
  return L"cannot read " + InputName(path) + ReasonFor(path);
}

std::wstring CannotWrite(const std::wstring& path) {
  const std::wstring name = IsStandardStream(path) ? L"standard output" : PathName(path);
  return L"cannot write " + name + ReasonFor(path);
}

std::wstring PathName(const std::wstring& path) {
  return path.empty() ? L"\"\": the path is empty" : path;
}

std::wstring InputName(const std::wstring& path) {
  return IsStandardStream(path) ? L"standard input" : PathName(path);
}

InputFile::InputFile(const std::wstring& path) : path_(path), isCopy_(IsStream(path)) {
  if (!isCopy_) {
    NoteInput(path);
    return;
  }
  path_ = TemporaryPath(L"input");
  const std::string* const input = StreamContent(path);
  if (input == nullptr) Fail(kUnreadable, CannotRead(path));
  if (!WriteFile(path_, *input)) Fail(kUnreadable, CannotWrite(path_));
}

InputFile::~InputFile() {
  std::error_code ignored;
  if (isCopy_) std::filesystem::remove(ToPath(path_), ignored);
}

std::wstring DecodeUtf16(std::string_view bytes) {
  std::wstring text(bytes.size() / 2, L'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto low = static_cast<unsigned char>(bytes[2 * i]);
    const auto high = static_cast<unsigned char>(bytes[2 * i + 1]);
    text[i] = static_cast<wchar_t>(low | high << 8);
  }
  return text;
}

std::string EncodeUtf16(std::wstring_view text) {
  std::string bytes;
  bytes.reserve(text.size() * 2);
  for (const wchar_t unit : text) {
    bytes.push_back(static_cast<char>(unit));
    bytes.push_back(static_cast<char>(unit >> 8));
  }
  return bytes;
}

std::wstring DecodeText(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) return DecodeUtf16(bytes.substr(2));
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  return Utf8ToWide(bytes);
}

bool ParseNumber(std::wstring_view text, std::uint32_t* number) {
  const std::string digits = WideToUtf8(text);
  const bool isHex = digits.starts_with("0x") || digits.starts_with("0X");
  const char* const first = digits.data() + (isHex ? 2 : 0);
  const char* const last = digits.data() + digits.size();
  const std::from_chars_result result = std::from_chars(first, last, *number, isHex ? 16 : 10);
  return result.ec == std::errc() && result.ptr == last;
}

std::wstring_view Trim(std::wstring_view text, std::wstring_view blanks) {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

int HexDigit(wchar_t digit) {
  if (digit >= L'0' && digit <= L'9') return digit - L'0';
  if (digit >= L'a' && digit <= L'f') return digit - L'a' + 10;
  if (digit >= L'A' && digit <= L'F') return digit - L'A' + 10;
  return -1;
}

}  // namespace orv::tool
