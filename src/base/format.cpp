#include "orv/text/format.h"

#include <cstdarg>
#include <cwchar>

namespace orv {

std::wstring Format(const wchar_t* format, ...) {
  // The runtimes report only that a buffer was too small, not the size needed: grow until it fits.
  // A format that fails for another reason stops at the limit and yields nothing.
  constexpr std::size_t kLimit = std::size_t{1} << 28;
  std::wstring text(256, L'\0');
  for (;;) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vswprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    if (length >= 0 && static_cast<std::size_t>(length) < text.size()) {
      text.resize(static_cast<std::size_t>(length));
      return text;
    }
    if (text.size() >= kLimit) return {};
    text.resize(text.size() * 2);
  }
}

}  // namespace orv
