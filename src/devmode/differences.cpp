#include "devmode/differences.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>

namespace orv {
namespace {

/// The flags of `dmFields` from the lowest bit up.
constexpr const wchar_t* kFieldFlags[] = {
    L"DM_ORIENTATION",
    L"DM_PAPERSIZE",
    L"DM_PAPERLENGTH",
    L"DM_PAPERWIDTH",
    L"DM_SCALE",
    L"DM_POSITION",
    L"DM_NUP",
    L"DM_DISPLAYORIENTATION",
    L"DM_COPIES",
    L"DM_DEFAULTSOURCE",
    L"DM_PRINTQUALITY",
    L"DM_COLOR",
    L"DM_DUPLEX",
    L"DM_YRESOLUTION",
    L"DM_TTOPTION",
    L"DM_COLLATE",
    L"DM_FORMNAME",
    L"DM_LOGPIXELS",
    L"DM_BITSPERPEL",
    L"DM_PELSWIDTH",
    L"DM_PELSHEIGHT",
    L"DM_DISPLAYFLAGS",
    L"DM_DISPLAYFREQUENCY",
    L"DM_ICMMETHOD",
    L"DM_ICMINTENT",
    L"DM_MEDIATYPE",
    L"DM_DITHERTYPE",
    L"DM_PANNINGWIDTH",
    L"DM_PANNINGHEIGHT",
};

enum class Kind { kName, kFlags, kSigned16, kUnsigned16, kNumber32 };

template <typename T>
constexpr Kind PublicKindOf() {
  if constexpr (std::is_array_v<T>) return Kind::kName;
  if constexpr (sizeof(T) == sizeof(DWORD)) return Kind::kNumber32;
  return std::is_signed_v<T> ? Kind::kSigned16 : Kind::kUnsigned16;
}

struct PublicField {
  const wchar_t* name;
  std::size_t offset;
  std::size_t width;
  Kind kind;
};

#define PUBLIC_FIELD(member)                                           \
  PublicField {                                                        \
    L"" #member, offsetof(DEVMODEW, member), sizeof(DEVMODEW::member), \
        PublicKindOf<decltype(DEVMODEW::member)>()                     \
  }

constexpr PublicField kPublicFields[] = {
    PUBLIC_FIELD(dmDeviceName),
    PUBLIC_FIELD(dmSpecVersion),
    PUBLIC_FIELD(dmDriverVersion),
    PUBLIC_FIELD(dmSize),
    PUBLIC_FIELD(dmDriverExtra),
    {L"dmFields", offsetof(DEVMODEW, dmFields), sizeof(DEVMODEW::dmFields), Kind::kFlags},
    PUBLIC_FIELD(dmOrientation),
    PUBLIC_FIELD(dmPaperSize),
    PUBLIC_FIELD(dmPaperLength),
    PUBLIC_FIELD(dmPaperWidth),
    PUBLIC_FIELD(dmScale),
    PUBLIC_FIELD(dmCopies),
    PUBLIC_FIELD(dmDefaultSource),
    PUBLIC_FIELD(dmPrintQuality),
    PUBLIC_FIELD(dmColor),
    PUBLIC_FIELD(dmDuplex),
    PUBLIC_FIELD(dmYResolution),
    PUBLIC_FIELD(dmTTOption),
    PUBLIC_FIELD(dmCollate),
    PUBLIC_FIELD(dmFormName),
    PUBLIC_FIELD(dmLogPixels),
    PUBLIC_FIELD(dmBitsPerPel),
    PUBLIC_FIELD(dmPelsWidth),
    PUBLIC_FIELD(dmPelsHeight),
    PUBLIC_FIELD(dmNup),
    PUBLIC_FIELD(dmICMMethod),
    PUBLIC_FIELD(dmICMIntent),
    PUBLIC_FIELD(dmMediaType),
    PUBLIC_FIELD(dmDitherType),
    PUBLIC_FIELD(dmPanningWidth),
    PUBLIC_FIELD(dmPanningHeight),
};

/// A name up to its terminator, or the whole field without one.
std::wstring NameAt(const std::uint8_t* bytes, std::size_t width) {
  std::wstring name;
  for (std::size_t at = 0; at < width; at += sizeof(WCHAR)) {
    WCHAR unit = 0;
    std::memcpy(&unit, bytes + at, sizeof(unit));
    if (unit == 0) break;
    name += static_cast<wchar_t>(unit);
  }
  return name;
}

template <typename T>
T NumberAt(const std::uint8_t* bytes) {
  T number;
  std::memcpy(&number, bytes, sizeof(number));
  return number;
}

std::wstring FlagNames(DWORD flags) {
  std::wstring names;
  for (std::size_t bit = 0; bit < std::size(kFieldFlags); ++bit) {
    if ((flags >> bit & 1) == 0) continue;
    if (!names.empty()) names += L',';
    names += kFieldFlags[bit];
  }
  return names;
}

/// A field's value as the log shows it; of `dmFields` only the flags that the other record lacks.
std::wstring ValueText(const PublicField& field, const std::uint8_t* own,
                       const std::uint8_t* other) {
  switch (field.kind) {
    case Kind::kName:
      return NameAt(own, field.width);
    case Kind::kFlags:
      return FlagNames(NumberAt<DWORD>(own) & ~NumberAt<DWORD>(other));
    case Kind::kSigned16:
      return std::to_wstring(NumberAt<std::int16_t>(own));
    case Kind::kUnsigned16:
      return std::to_wstring(NumberAt<std::uint16_t>(own));
    case Kind::kNumber32:
      return std::to_wstring(NumberAt<std::int32_t>(own));
  }
  return {};
}

bool IsSame(const PublicField& field, const std::uint8_t* a, const std::uint8_t* b) {
  if (field.kind != Kind::kName) return std::memcmp(a, b, field.width) == 0;
  // The bytes after a name's terminator are unspecified.
  return NameAt(a, field.width) == NameAt(b, field.width);
}

}  // namespace

std::wstring DescribeDifferences(const DEVMODEW* a, const DEVMODEW* b) {
  if (a == b) return L"none (same address)";
  std::wstring text;
  if (a != nullptr && b != nullptr) {
    for (const PublicField& field : kPublicFields) {
      const auto* own = reinterpret_cast<const std::uint8_t*>(a) + field.offset;
      const auto* other = reinterpret_cast<const std::uint8_t*>(b) + field.offset;
      if (IsSame(field, own, other)) continue;
      text += field.name;
      text +=
          L": " + ValueText(field, own, other) + L" <-> " + ValueText(field, other, own) + L", ";
    }
  }
  return text.empty() ? L"none" : text;
}

}  // namespace orv
