#include "platform/code_pages.h"

#include <algorithm>

#include "base/utf8.h"
#include "orv/platform/types.h"

namespace orv {
namespace {

/// The system calls count in `int`; chunks of this size leave room for any growth.
constexpr std::size_t kChunk = std::size_t{1} << 24;

/// Whether the system rejects flags, and does not report lost characters, for a code page.
bool TakesNoFlags(int codePage) {
  return codePage == CP_UTF7 || codePage == 42 || codePage == 54936 ||
         (codePage >= 50220 && codePage <= 50229) || codePage == 52936 ||
         (codePage >= 57002 && codePage <= 57011);
}

bool DecodeChunk(int codePage, std::string_view bytes, std::wstring* text, bool* lost) {
  const int size = static_cast<int>(bytes.size());
  DWORD flags = TakesNoFlags(codePage) ? 0 : MB_ERR_INVALID_CHARS;
  int length = MultiByteToWideChar(codePage, flags, bytes.data(), size, nullptr, 0);
  if (length == 0 && flags != 0) {
    if (GetLastError() == ERROR_NO_UNICODE_TRANSLATION) *lost = true;
    flags = 0;
    length = MultiByteToWideChar(codePage, flags, bytes.data(), size, nullptr, 0);
  }
  if (length == 0) return false;
  const std::size_t before = text->size();
  text->resize(before + length);
  MultiByteToWideChar(codePage, flags, bytes.data(), size, text->data() + before, length);
  // The system reports wrong bytes in no other way. A U+FFFD that the bytes encode counts as well:
  // it stands for a character that an earlier conversion lost.
  if (TakesNoFlags(codePage) && text->find(kReplacement, before) != text->npos) *lost = true;
  return true;
}

bool EncodeChunk(int codePage, std::wstring_view text, std::string* bytes, bool* lost) {
  const int length = static_cast<int>(text.size());
  const bool noFlags = TakesNoFlags(codePage);
  const DWORD flags = noFlags ? 0 : WC_NO_BEST_FIT_CHARS;
  BOOL replaced = FALSE;
  BOOL* report = noFlags ? nullptr : &replaced;
  const int size =
      WideCharToMultiByte(codePage, flags, text.data(), length, nullptr, 0, nullptr, report);
  if (size == 0) return false;
  const std::size_t before = bytes->size();
  bytes->resize(before + size);
  WideCharToMultiByte(codePage, flags, text.data(), length, bytes->data() + before, size, nullptr,
                      nullptr);
  if (noFlags) {
    std::wstring back;
    bool backLost = false;
    DecodeChunk(codePage, std::string_view(*bytes).substr(before), &back, &backLost);
    replaced = back != text;
  }
  if (replaced) *lost = true;
  return true;
}

}  // namespace

int SystemCodePage() { return static_cast<int>(GetACP()); }

bool DecodeCodePage(int codePage, std::string_view bytes, std::wstring* text, bool* lost) {
  if (!IsValidCodePage(codePage)) return false;
  while (!bytes.empty()) {
    // Chunks end at line ends, where no character is split and the shift state is the initial one.
    // A longer line is at least not split inside a character, except with shift states.
    std::size_t size = bytes.size();
    if (size > kChunk) {
      const std::string_view chunk = bytes.substr(0, kChunk);
      size = chunk.rfind('\n') + 1;  // 0 without one
      if (size == 0) size = LengthToCharacterEnd(chunk);
      if (size == 0) size = kChunk;
    }
    if (!DecodeChunk(codePage, bytes.substr(0, size), text, lost)) return false;
    bytes.remove_prefix(size);
  }
  return true;
}

bool EncodeCodePage(int codePage, std::wstring_view text, std::string* bytes, bool* lost) {
  if (!IsValidCodePage(codePage)) return false;
  while (!text.empty()) {
    std::size_t size = std::min(text.size(), kChunk);
    if (size < text.size() && (text[size - 1] & 0xFC00) == 0xD800) --size;
    if (!EncodeChunk(codePage, text.substr(0, size), bytes, lost)) return false;
    text.remove_prefix(size);
  }
  return true;
}

}  // namespace orv
