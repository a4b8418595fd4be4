#include "tools/orv/devmode/record_search.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/hex.h"
#include "base/utf8.h"
#include "orv/platform/registry.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "platform/letter_case.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/output.h"
#include "tools/orv/registry/reg_file.h"

namespace orv::tool {
namespace {

/// A number at an offset, which must be within the bytes.
template <typename Number>
Number NumberAt(std::string_view bytes, std::size_t at) {
  Number number = 0;
  std::memcpy(&number, bytes.data() + at, sizeof(number));
  return number;
}

/// A name from a file, without control characters.
std::wstring Shown(const std::wstring& name) { return Utf8ToWide(Printable(name)); }

/// A public record that the bytes contain.
struct PublicRecord {
  std::size_t size;   ///< without the private part
  std::size_t extra;  ///< size of the private part that it states
  std::wstring device;
};

/// The public record at an offset; nothing if there is none. Older ones are shorter.
std::optional<PublicRecord> PublicRecordAt(std::string_view bytes, std::size_t at) {
  constexpr std::size_t kMinSize = offsetof(DEVMODEW, dmFormName);
  constexpr std::uint16_t kFirstVersion = 0x300;
  constexpr std::uint16_t kLastVersion = 0x4FF;
  if (at > bytes.size() || bytes.size() - at < kMinSize) return {};
  const std::string_view from = bytes.substr(at);
  const auto version = NumberAt<std::uint16_t>(from, offsetof(DEVMODEW, dmSpecVersion));
  PublicRecord found{NumberAt<std::uint16_t>(from, offsetof(DEVMODEW, dmSize)),
                     NumberAt<std::uint16_t>(from, offsetof(DEVMODEW, dmDriverExtra)),
                     {}};
  if (version < kFirstVersion || version > kLastVersion || found.size < kMinSize ||
      found.size > sizeof(DEVMODEW)) {
    return {};
  }
  found.device = DecodeUtf16(from.substr(0, sizeof(DEVMODEW::dmDeviceName)));
  found.device.resize(std::min(found.device.find(L'\0'), found.device.size()));
  found.device = Shown(found.device);
  return found;
}

/// Where a record is: its offset, and the public record that it follows.
std::wstring PlaceOf(std::string_view bytes, std::size_t at) {
  std::wstring place = Format(L"at byte %zu", at);
  for (std::size_t size = std::min(at, sizeof(DEVMODEW)); size > 0; --size) {
    const std::optional<PublicRecord> before = PublicRecordAt(bytes, at - size);
    if (before && before->size == size) {
      return place + L", after the public record of \"" + before->device + L"\"";
    }
  }
  return place;
}

/// The first bytes, as hexadecimal digits and, if they are text, as that.
std::wstring FirstBytes(std::string_view bytes) {
  constexpr std::size_t kShown = 16;
  const std::string_view shown = bytes.substr(0, kShown);
  std::wstring text;
  for (const char& byte : shown) text += L' ' + HexOf<std::wstring>({&byte, 1});
  const auto isPrintable = [](char byte) { return byte >= ' ' && byte <= '~'; };
  if (std::ranges::all_of(shown, isPrintable)) {
    text += L" (\"" + std::wstring(shown.begin(), shown.end()) + L"\")";
  }
  return text;
}

std::wstring ContentOf(std::string_view bytes) {
  if (bytes.empty()) return L"it is empty";
  if (const auto found = PublicRecordAt(bytes, 0)) {
    return L"a public record of " + Quoted(found->device) + L" with " +
           CountText(static_cast<std::int64_t>(found->extra), L"byte") +
           Format(L" of another driver, %zu bytes in all", bytes.size());
  }
  return CountText(static_cast<std::int64_t>(bytes.size()), L"byte, which begins",
                   L"bytes, which begin") +
         FirstBytes(bytes);
}

/// Adds the records of some bytes; `where` follows their places.
void SearchBytes(std::string_view bytes, const std::wstring& where, RecordSearch* search) {
  constexpr std::uint32_t kNumber = tagOEMDEV::kSignature;
  const std::string_view signature(reinterpret_cast<const char*>(&kNumber), sizeof(kNumber));
  constexpr std::size_t kBefore = offsetof(tagOEMDEV, dwSignature);
  for (std::size_t next = kBefore; (next = bytes.find(signature, next)) != bytes.npos; ++next) {
    const std::size_t at = next - kBefore;
    if (NumberAt<std::uint32_t>(bytes, at) != tagOEMDEV::kSize) continue;
    if (bytes.size() - at < sizeof(tagOEMDEV)) {
      search->content = Format(L"a record begins at byte %zu%ls, but has only %zu of its %zu bytes",
                               at, where.c_str(), bytes.size() - at, sizeof(tagOEMDEV));
      continue;
    }
    if (!search->record) {
      std::memcpy(&search->record.emplace(), bytes.data() + at, sizeof(tagOEMDEV));
    }
    search->places.push_back(PlaceOf(bytes, at) + where);
  }
}

/// Whether a value, or a key that it is in, has the name of a printer.
bool BelongsTo(const RegChange& change, const std::wstring& printer) {
  if (printer.empty()) return false;
  const std::wstring keys = UpperCase(L'\\' + change.path + L'\\');
  return EqualIgnoringCase(change.name, printer) ||
         keys.find(UpperCase(L'\\' + printer + L'\\')) != keys.npos;
}

void SearchRegistryFile(std::wstring_view text, const std::wstring& printer, RecordSearch* search) {
  std::vector<RegChange> changes;
  std::vector<RegFault> faults;
  ParseRegFile(text, &changes, &faults, RegHives::kAny);
  std::stable_partition(changes.begin(), changes.end(),
                        [&printer](const RegChange& change) { return BelongsTo(change, printer); });
  for (const RegChange& change : changes) {
    const std::vector<BYTE>& data = change.value.data;
    SearchBytes(
        {reinterpret_cast<const char*>(data.data()), data.size()},
        L" of \"" + Shown(change.name) + L"\" in " + Shown(FullKeyPath(change.root, change.path)),
        search);
  }
  if (!search->content.empty()) return;
  search->content = L"a registry file whose values contain none";
  if (!faults.empty()) {
    search->content +=
        Format(L"; line %zu: %ls", faults.front().line, faults.front().message.c_str());
  }
}

}  // namespace

RecordSearch FindRecords(std::string_view bytes, const std::wstring& printer) {
  RecordSearch search;
  const std::wstring text = DecodeText(bytes);
  if (IsRegFile(text)) {
    SearchRegistryFile(text, printer, &search);
  } else {
    SearchBytes(bytes, {}, &search);
    if (search.content.empty()) search.content = ContentOf(bytes);
  }
  return search;
}

}  // namespace orv::tool
