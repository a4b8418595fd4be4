#include "platform/letter_case.h"

#include <windows.h>

namespace orv {

std::wstring LowerCase(std::wstring text) {
  CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

std::wstring UpperCase(std::wstring text) {
  CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
  return text;
}

}  // namespace orv
