#include "platform/code_pages.h"

#include <iconv.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "base/utf8.h"

namespace orv {
namespace {

struct NamedPage {
  int codePage;
  const char* name;
};

/// Code pages whose iconv name is not "CP" and their number.
constexpr NamedPage kNamedPages[] = {
    {708, "ISO-8859-6"},     {936, "GBK"},           {949, "UHC"},
    {1047, "IBM1047"},       {1361, "JOHAB"},        {10000, "MACINTOSH"},
    {10007, "MAC-CYRILLIC"}, {10017, "MAC-UK"},      {10029, "MAC-CENTRALEUROPE"},
    {10079, "MAC-IS"},       {20106, "DIN_66003"},   {20107, "SEN_850200_B"},
    {20108, "NS_4551-1"},    {20127, "US-ASCII"},    {20261, "T.61-8BIT"},
    {20269, "ISO_6937"},     {20838, "CP1160"},      {20866, "KOI8-R"},
    {20924, "IBM1047"},      {20932, "EUC-JP"},      {20936, "GB2312"},
    {20949, "EUC-KR"},       {21025, "CP1025"},      {21866, "KOI8-U"},
    {38598, "ISO-8859-8"},   {50220, "ISO-2022-JP"}, {50221, "ISO-2022-JP"},
    {50222, "ISO-2022-JP"},  {50225, "ISO-2022-KR"}, {50227, "ISO-2022-CN"},
    {51932, "EUC-JP"},       {51936, "GB2312"},      {51949, "EUC-KR"},
    {54936, "GB18030"},      {65000, "UTF-7"},       {65001, "UTF-8"},
};

/// A range of code pages. The name of each is `prefix`, followed by its number minus `base`.
struct PageRange {
  int first;
  int last;
  int base;
  const char* prefix;
};
constexpr PageRange kPageRanges[] = {
    {20273, 20297, 20000, "IBM"}, {20420, 20424, 20000, "IBM"}, {20871, 20871, 20000, "IBM"},
    {20880, 20880, 20000, "IBM"}, {20905, 20905, 20000, "IBM"}, {28591, 28606, 28590, "ISO-8859-"},
    {1, 1999, 0, "CP"},
};

std::string IconvName(int codePage) {
  for (const NamedPage& page : kNamedPages) {
    if (page.codePage == codePage) return page.name;
  }
  for (const PageRange& range : kPageRanges) {
    if (codePage < range.first || codePage > range.last) continue;
    char name[32];
    // The EBCDIC code page 37 is written with three digits.
    std::snprintf(name, sizeof name, "%s%0*d", range.prefix, codePage < 100 ? 3 : 1,
                  codePage - range.base);
    return name;
  }
  return {};
}

/// An owned iconv descriptor.
class Conversion {
 public:
  Conversion(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
  Conversion(const Conversion&) = delete;
  Conversion& operator=(const Conversion&) = delete;
  ~Conversion() {
    if (IsOpen()) iconv_close(handle_);
  }

  bool IsOpen() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

  /// Converts the whole source, one buffer at a time. `onFault` handles input that does not
  /// convert: it receives the rest of the source, advances it, and may replace what comes next.
  template <class OnOutput, class OnFault>
  void Run(std::string_view source, OnOutput onOutput, OnFault onFault) {
    char* in = const_cast<char*>(source.data());
    std::size_t left = source.size();
    char buffer[8192];
    for (bool flushing = false;;) {
      char* out = buffer;
      std::size_t room = sizeof buffer;
      errno = 0;
      const std::size_t failed = flushing ? iconv(handle_, nullptr, nullptr, &out, &room)
                                          : iconv(handle_, &in, &left, &out, &room);
      const int error = failed == static_cast<std::size_t>(-1) ? errno : 0;
      onOutput(std::string_view(buffer, out - buffer));
      if (error == E2BIG) continue;
      if (error != 0) {
        onFault(in, left);
      } else if (flushing) {
        return;
      } else {
        flushing = true;
      }
    }
  }

 private:
  iconv_t handle_;
};

/// Code page 20924, which iconv does not have, is 1047 with the euro sign for the currency sign.
constexpr int kPageWithEuro = 20924;

/// Exchanges these characters if the code page is that one.
wchar_t Exchanged(int codePage, wchar_t unit) {
  constexpr wchar_t kCurrency = 0xA4;
  constexpr wchar_t kEuro = 0x20AC;
  if (codePage != kPageWithEuro || (unit != kCurrency && unit != kEuro)) return unit;
  return unit == kEuro ? kCurrency : kEuro;
}

}  // namespace

int SystemCodePage() { return 1252; }

bool DecodeCodePage(int codePage, std::string_view bytes, std::wstring* text, bool* lost) {
  const std::string name = IconvName(codePage);
  Conversion conversion("UTF-16LE", name.c_str());
  if (name.empty() || !conversion.IsOpen()) return false;
  conversion.Run(
      bytes,
      [codePage, text](std::string_view units) {
        for (std::size_t i = 0; i + 1 < units.size(); i += 2) {
          const auto unit = static_cast<wchar_t>(static_cast<std::uint8_t>(units[i]) |
                                                 static_cast<std::uint8_t>(units[i + 1]) << 8);
          *text += Exchanged(codePage, unit);
        }
      },
      [text, lost](char*& in, std::size_t& left) {
        *text += kReplacement;
        *lost = true;
        ++in;
        --left;
      });
  return true;
}

bool EncodeCodePage(int codePage, std::wstring_view text, std::string* bytes, bool* lost) {
  const std::string name = IconvName(codePage);
  Conversion conversion(name.c_str(), "UTF-16LE");
  if (name.empty() || !conversion.IsOpen()) return false;
  std::string units;
  units.reserve(text.size() * 2);
  for (const wchar_t given : text) {
    const wchar_t unit = Exchanged(codePage, given);
    units += static_cast<char>(unit & 0xFF);
    units += static_cast<char>(unit >> 8 & 0xFF);
  }
  conversion.Run(
      units, [bytes](std::string_view chunk) { *bytes += chunk; },
      [lost](char*& in, std::size_t& left) {
        *lost = true;
        // A question mark replaces the character: it overwrites its last unit, and the high
        // surrogate of a pair is skipped.
        const auto high = static_cast<std::uint8_t>(in[1]);
        const auto nextHigh = left >= 4 ? static_cast<std::uint8_t>(in[3]) : std::uint8_t{0};
        const bool isPair = (high & 0xFC) == 0xD8 && (nextHigh & 0xFC) == 0xDC;
        if (isPair) {
          in += 2;
          left -= 2;
        }
        in[0] = '?';
        in[1] = 0;
      });
  return true;
}

}  // namespace orv
