#include <gtest/gtest.h>

#include "orv/text/format.h"

namespace {

TEST(Format, GrowsToAnyLength) {
  const std::wstring longText(5000, L'x');
  EXPECT_EQ(orv::Format(L"<%ls>", longText.c_str()), L"<" + longText + L">");
  EXPECT_EQ(orv::Format(L"%d %ls %02x", -1, L"\u00e9", 10), L"-1 \u00e9 0a");
}

TEST(Format, KeepsSurrogateUnits) {
  const std::wstring pair = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
  EXPECT_EQ(orv::Format(L"%ls", pair.c_str()), pair);
}

}  // namespace
