/// Stock items of which the writer was killed, as Windows's registry holds them.

#include <gtest/gtest.h>

#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"
#include "tests/fixtures.h"

namespace {

using orv::RegistryValue;
using orv::test::SetUserValue;

constexpr wchar_t kPath[] = L"Items";
constexpr wchar_t kItem[] = L"Items\\{00000001-0000-0000-0000-000000000000}";

void Add(DWORD number, std::vector<BYTE>* bytes) {
  for (int shift = 0; shift < 32; shift += 8) bytes->push_back(static_cast<BYTE>(number >> shift));
}

/// A revision that holds one number under a name, as long as its writer is at work.
RegistryValue Unfinished(const std::wstring& name, DWORD number) {
  RegistryValue revision{REG_BINARY, {}};
  Add(1, &revision.data);
  Add(static_cast<DWORD>(name.size()), &revision.data);
  for (const wchar_t unit : name) {
    revision.data.push_back(static_cast<BYTE>(unit));
    revision.data.push_back(static_cast<BYTE>(unit >> 8));
  }
  Add(REG_DWORD, &revision.data);
  Add(4, &revision.data);
  Add(number, &revision.data);
  return revision;
}

class Revisions : public testing::Test {
 protected:
  static StockItem Only() {
    std::vector<StockItem> items;
    EXPECT_EQ(orv::ReadStockItems(kPath, &items), ERROR_SUCCESS);
    EXPECT_EQ(items.size(), 1U);
    return items.empty() ? StockItem{} : items[0];
  }

  orv::test::ScratchRegistry registry_;
};

TEST_F(Revisions, HoldTheItemWhileItIsWritten) {
  // What something else wrote has no revision.
  SetUserValue(kItem, L"PaperWidth", RegistryValue::FromNumber(1));
  SetUserValue(kItem, L"Darkness", RegistryValue::FromNumber(1));
  EXPECT_EQ(Only().Darkness, 1U);
  // The writer was killed after its first value.
  SetUserValue(kItem, L"Revision", Unfinished(L"PaperWidth", 2));
  SetUserValue(kItem, L"Darkness", RegistryValue::FromNumber(2));
  EXPECT_EQ(Only().PaperWidth, 2U);
  EXPECT_EQ(Only().Darkness, 0U);
  // The next write completes it.
  StockItem item = Only();
  item.PaperLength = 3;
  EXPECT_EQ(orv::WriteStockItem(kPath, item), ERROR_SUCCESS);
  EXPECT_EQ(Only().PaperWidth, 2U);
  EXPECT_EQ(Only().PaperLength, 3U);
  SetUserValue(kItem, L"PaperLength", RegistryValue::FromNumber(4));
  EXPECT_EQ(Only().PaperLength, 4U);
  // A value of this name that holds no values is one like any other.
  SetUserValue(kItem, L"Revision", {REG_BINARY, {1, 2, 3}});
  EXPECT_EQ(Only().PaperLength, 4U);
}

TEST_F(Revisions, AKeyWithoutValuesIsNotAnItemYet) {
  orv::RegistryKey().Create(HKEY_CURRENT_USER, kItem);
  std::vector<StockItem> items;
  EXPECT_EQ(orv::ReadStockItems(kPath, &items), ERROR_SUCCESS);
  EXPECT_TRUE(items.empty());
}

}  // namespace
