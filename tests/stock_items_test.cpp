#include "orv/devmode/stock_items.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "base/utf8.h"
#include "orv/config/configs_cache.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/session/session_data.h"
#include "platform/letter_case.h"
#include "tests/devmode_fixture.h"

namespace {

using orv::RegistryKey;
using orv::RegistryValue;
using orv::StockValue;
using orv::test::Bytes;
using orv::test::LogLine;
using orv::test::Word;

constexpr wchar_t kPrinter[] = L"Label 1";
constexpr wchar_t kUserKey[] = L"Software\\orv Printer Driver\\UI\\Label 1\\ORV-LX 4.3/300P+\\";
constexpr wchar_t kGuidA[] = L"{00000001-0002-0003-0405-060708090A0B}";
constexpr wchar_t kGuidB[] = L"{B0000001-0002-0003-0405-060708090a0b}";
constexpr wchar_t kGuidC[] = L"{C0000001-0002-0003-0405-060708090a0b}";

const std::wstring kDefaultFor =
    L"INF No stock item found for given paper size. Using default stock item for paper size ";

class StockItems : public ::testing::Test {
 protected:
  StockItems() {
    ReleaseSessionDataInstance();
    record_.AllowCustomPageSize = 1;
    record_.PaperWidth = 61000;
    record_.PaperHeight = 41000;
    in_.dmPaperWidth = 500;
    in_.dmPaperLength = 300;
  }

  void Put(const std::wstring& path, const wchar_t* name, const RegistryValue& value) {
    EXPECT_TRUE(orv::test::SetUserValue(path, name, value));
  }
  void PutItem(const std::wstring& path, const std::wstring& name) {
    Put(path, L"DisplayName", RegistryValue::FromText(name));
    Put(path, L"PaperWidth", RegistryValue::FromNumber(55000));
    Put(path, L"PaperLength", RegistryValue::FromNumber(33000));
  }
  std::wstring LoadedNames() {
    std::wstring names;
    for (const StockItem& item : orv::LoadStockItems(printer_.handle(), kPrinter, nullptr).items) {
      names += item.DisplayName + L' ';
    }
    return names;
  }
  /// The level and text of the last line that `ApplyStockItem` logs.
  std::wstring Apply() {
    log_.Take();
    ApplyStockItem(&in_, &out_, &record_, printer_.handle(), kPrinter, nullptr);
    messages_ = log_.Take();
    std::erase_if(messages_, [](const LogLine& line) { return line.source != L"DevMode"; });
    const LogLine& last = messages_.back();
    const std::wstring opening = L"Drevik.ApplyStockItem:   ";
    EXPECT_TRUE(last.message.starts_with(opening));
    return last.tag + L' ' + last.message.substr(opening.size());
  }

  orv::test::ScratchRegistry registry_;
  orv::test::TestPrinter printer_{kPrinter, orv::test::kTestDriver};
  orv::test::LogCapture log_;
  const std::wstring stocks_ = std::wstring(kUserKey) + L"Stocks\\";
  const std::wstring common_ = L"Software\\orv Printer Driver\\Common Stockitems\\";
  tagOEMDEV record_{};
  std::vector<LogLine> messages_;
  DEVMODEW in_{};
  DEVMODEW out_{};
};

TEST(StockGuid, IsTheKeysName) {
  const GUID guid = orv::ParseGuid(kGuidB);
  EXPECT_EQ(guid.Data1, 0xB0000001U);
  EXPECT_EQ(guid.Data2, 2);
  EXPECT_EQ(guid.Data4[7], 0x0B);
  EXPECT_EQ(orv::FormatGuid(guid), L"{B0000001-0002-0003-0405-060708090A0B}");
  for (const wchar_t* name :
       {L"", L"label", L"B0000001-0002-0003-0405-060708090a0b",
        L"{B0000001-0002-0003-0405-060708090a0b]", L"{B0000001-0002-0003-0405_060708090a0b}",
        L"{G0000001-0002-0003-0405-060708090a0b}", L"{B0000001-0002-0003-0405-060708090a0b}x"}) {
    EXPECT_TRUE(orv::IsZeroGuid(orv::ParseGuid(name)));
  }
}

TEST_F(StockItems, LoadValidValuesOnly) {
  const std::wstring path = stocks_ + kGuidA;
  std::uint32_t number = 1000;
  for (const StockValue& value : orv::StockValues()) {
    // In any spelling.
    const std::wstring name = number % 2 == 0 ? value.name : orv::UpperCase(value.name);
    Put(path, name.c_str(), RegistryValue::FromNumber(number++));
  }
  Put(path, L"DisplayName", RegistryValue::FromText(std::wstring(129, L'n')));  // 260 bytes
  const std::wstring bad = stocks_ + kGuidB;
  Put(bad, L"DisplayName", RegistryValue::FromText(std::wstring(130, L'n')));  // 262 bytes
  Put(bad, L"PaperWidth", RegistryValue::FromNumber(0xFFFFFFFF));
  Put(bad, L"PaperLength", RegistryValue::FromText(L"5"));
  Put(bad, L"Darkness", {REG_DWORD, {1, 2}});
  Put(bad, L"Rotation", {REG_BINARY, {1, 0, 0, 0}});
  Put(bad, L"Mirror", {REG_DWORD, {1, 0, 0, 0, 0}});
  PutItem(stocks_ + L"~not a guid", L"plain");
  Put(stocks_ + L"~not a guid", L"DisplayName",
      {REG_EXPAND_SZ, RegistryValue::FromText(L"name").data});

  const orv::StockList list = orv::LoadStockItems(printer_.handle(), kPrinter, nullptr);
  const std::span<const StockItem> items = list.items;
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0].DisplayName, std::wstring(129, L'n'));
  number = 1000;
  for (const StockValue& value : orv::StockValues()) {
    EXPECT_EQ(items[0].*value.field, number++);
  }
  EXPECT_EQ(items[0].guid.Data1, 1U);
  EXPECT_EQ(items[1].DisplayName, L"");
  for (const StockValue& value : orv::StockValues()) {
    EXPECT_EQ(items[1].*value.field, value.field == &StockItem::PaperWidth ? 0xFFFFFFFF : 0);
  }
  EXPECT_TRUE(orv::IsZeroGuid(items[2].guid));
  EXPECT_EQ(items[2].DisplayName, L"");
  EXPECT_EQ(items[2].PaperWidth, 55000U);
}

TEST_F(StockItems, ComeFromTheirSourcesInOrder) {
  EXPECT_EQ(LoadedNames(), L"");
  EXPECT_EQ(log_.TakeMessages().back(), L"No User-Defined-Settings found in registry.");
  PutItem(common_ + kGuidA, L"commonA");
  PutItem(common_ + kGuidC, L"commonC");
  PutItem(stocks_ + kGuidC, L"ownC");
  PutItem(stocks_ + kGuidB, L"ownB");
  EXPECT_EQ(LoadedNames(), L"ownB ownC commonA ");
  EXPECT_EQ(log_.TakeMessages().back(),
            L"Successfully Loaded User-Defined-Settings from the registry.");

  // An invalid printer has only the common items.
  const orv::StockList list = orv::LoadStockItems(nullptr, L"gone", nullptr);
  const std::span<const StockItem> items = list.items;
  ASSERT_EQ(items.size(), 2U);
  EXPECT_EQ(items[0].DisplayName, L"commonA");
  EXPECT_EQ(log_.Take().at(1),
            (LogLine{L"ERR", L"", L"DevMode", L"printer gone could not be opened. Error code: 6"}));
#ifndef _WIN32  // where the spooler keeps a printer while it is open
  EXPECT_EQ(orv::AddSpoolerPrinter(L"Label 2", L"ORV-S2"), ERROR_SUCCESS);
  const HANDLE removed = orv::OpenPrinterHandle(L"Label 2");
  EXPECT_EQ(orv::RemoveSpoolerPrinter(L"Label 2"), ERROR_SUCCESS);
  const orv::StockList left = orv::LoadStockItems(removed, L"Label 2", nullptr);
  EXPECT_EQ(left.openError, static_cast<DWORD>(ERROR_INVALID_PRINTER_NAME));
  EXPECT_EQ(left.items.size(), 2U);
  orv::ClosePrinterHandle(removed);
#endif

  // Items of the session do not count until it decides. They are below this process's id.
  const std::wstring session =
      std::wstring(kUserKey) + L"Session\\" + std::to_wstring(orv::test::OwnProcessId());
  PutItem(session + L"\\" + kGuidA, L"sessionA");
  EXPECT_EQ(LoadedNames(), L"ownB ownC commonA ");
  orv::DeleteRegistryTree(HKEY_CURRENT_USER, session + L"\\" + kGuidA);
  RegistryKey().Create(HKEY_CURRENT_USER, orv::test::SessionPath(L"Label 1\\ORV-LX 4.3/300P+"));
  EXPECT_EQ(LoadedNames(), L"ownB ownC commonA ");
  EXPECT_EQ(log_.TakeMessages().back(),
            L"Successfully Loaded User-Defined-Settings from the registry.");
  PutItem(session + L"\\" + kGuidA, L"sessionA");
  log_.Take();
  EXPECT_EQ(LoadedNames(), L"sessionA commonC ");
  EXPECT_EQ(log_.TakeMessages().back(),
            L"Successfully Loaded User-Defined-Settings from session data.");
}

TEST_F(StockItems, CommonItemsAreTheUsersOrTheMachines) {
  orv::test::ExpectTable("stock_common", [this](const orv::test::Fields& fields) {
    const HKEY hives[] = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE};
    for (std::size_t i = 0; i < 2; ++i) {
      orv::DeleteRegistryTree(hives[i], common_);
      if (fields[i] == L"none") continue;
      RegistryKey key;
      key.Create(hives[i], common_ + (fields[i] == L"empty" ? L"" : fields[i]));
      SetRegistryValue(key.get(), L"DisplayName", RegistryValue::FromText(fields[i]));
    }
    return LoadedNames();
  });
  // Changes go to the hive that the items are read from.
  orv::DeleteRegistryTree(HKEY_CURRENT_USER, common_);
  StockItem item;
  item.guid = orv::ParseGuid(kGuidC);
  item.DisplayName = L"shared";
  for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
    EXPECT_EQ(orv::WriteStockItem(orv::kCommonStockItemsPath, item), ERROR_SUCCESS);
    EXPECT_EQ(RegistryKey().Open(hive, common_ + kGuidC, orv::RegistryAccess::kRead),
              ERROR_SUCCESS);
    EXPECT_EQ(orv::DeleteStockItem(orv::kCommonStockItemsPath, item.guid), ERROR_SUCCESS);
    orv::DeleteRegistryTree(HKEY_CURRENT_USER, common_);
    RegistryKey().Create(HKEY_LOCAL_MACHINE, common_);
  }
}

TEST_F(StockItems, PaperSizesCountFrom257) {
  PutItem(stocks_ + kGuidA, L"first");
  PutItem(stocks_ + kGuidB, std::wstring(40, L's'));
  Put(stocks_ + kGuidB, L"Disabled", RegistryValue::FromNumber(1));  // keeps its number
  in_.dmPaperSize = 258;
  EXPECT_EQ(Apply(), L"INF Using stock item from paper size for paper dimensions: 55000 x 33000");
  ASSERT_EQ(messages_.size(), 4U);
  EXPECT_EQ(messages_[2].message, L"Drevik.ApplyStockItem: Applying values for paper size 258");
  EXPECT_EQ(out_.dmPaperSize, 258);
  EXPECT_EQ(out_.dmPaperWidth, 550);
  EXPECT_EQ(out_.dmPaperLength, 330);
  EXPECT_EQ(out_.dmFormName[30], WCHAR{'s'});
  EXPECT_EQ(out_.dmFormName[31], 0);
  EXPECT_EQ(record_.PaperWidth, 55000U);
  EXPECT_EQ(record_.PaperHeight, 33000U);
  EXPECT_EQ(record_.StockItemGuid.Data1, 0xB0000001U);

  // The number is too high: the record's item is used, with its own number.
  in_.dmPaperSize = 259;
  EXPECT_EQ(Apply(), kDefaultFor + L"258");
  EXPECT_EQ(out_.dmPaperSize, 258);

  // Without such an item, the sizes of the records are used.
  record_.StockItemGuid = {};
  EXPECT_EQ(Apply(),
            L"WAR No stock item found for given paper size, and no default stock item found. Using "
            L"width and length from OEMDevMode settings: 50000 x 30000");
  EXPECT_EQ(out_.dmPaperSize, 257);
  EXPECT_EQ(out_.dmFormName[0], 0);
}

TEST_F(StockItems, AreNotAppliedWithoutRecords) {
  ApplyStockItem(nullptr, &out_, &record_, printer_.handle(), kPrinter, nullptr);
  ApplyStockItem(&in_, nullptr, &record_, printer_.handle(), kPrinter, nullptr);
  ApplyStockItem(&in_, &out_, nullptr, printer_.handle(), kPrinter, nullptr);
  EXPECT_TRUE(log_.Take().empty());
  EXPECT_EQ(record_.PaperWidth, 61000U);
}

TEST_F(StockItems, UseTheApplicationsSizeIfAllowed) {
  PutItem(stocks_ + kGuidA, L"first");
  record_.StockItemGuid = orv::ParseGuid(kGuidA);
  in_.dmPaperSize = 256;
  EXPECT_EQ(Apply(), L"INF Using application DevMode for paper dimensions: 50000 x 30000");
  EXPECT_EQ(out_.dmPaperSize, 256);
  EXPECT_EQ(record_.PaperWidth, 50000U);
  EXPECT_EQ(record_.StockItemGuid.Data1, 1U);  // stays selected
  in_.dmPaperWidth = in_.dmPaperLength = 0;
  record_.PaperWidth = 61050;
  Apply();
  EXPECT_EQ(record_.PaperWidth, 61050U);
  EXPECT_EQ(out_.dmPaperWidth, 611);  // rounded
  record_.AllowCustomPageSize = 0;
  EXPECT_EQ(Apply(), kDefaultFor + L"257");
  EXPECT_EQ(out_.dmPaperSize, 257);
}

/// The number that all values of an item have; -1 if they differ.
int NumberOf(const StockItem& item) {
  for (const StockValue& value : orv::StockValues()) {
    if (item.*value.field != item.PaperWidth) return -1;
  }
  return item.DisplayName == std::to_wstring(item.PaperWidth) ? static_cast<int>(item.PaperWidth)
                                                              : -1;
}

TEST_F(StockItems, AreReadAsAWholeWhileAnotherProcessWritesThem) {
#if defined(_WIN32) || defined(ORV_SANITIZED)
  constexpr int kReads = 300;
#else
  constexpr int kReads = 20000;
#endif
  const std::wstring path = orv::StockItemsPath(kPrinter, orv::test::kTestDriver);
  std::thread writer([&] {
    EXPECT_EQ(orv::test::RunProgram(ORV_TEST_HELPER, {"items", orv::WideToUtf8(path)}).exitCode, 0);
  });
  std::set<int> numbers;
  int mixed = 0;
  const auto read = [&] {
    const orv::StockList list = orv::LoadStockItems(printer_.handle(), kPrinter, nullptr);
    EXPECT_EQ(list.failure.value_or(orv::RegistryFailure{}).error, ERROR_SUCCESS);
    for (const StockItem& item : list.items) {
      mixed += NumberOf(item) < 0;
      numbers.insert(NumberOf(item));
    }
#if !defined(_WIN32)
    // An import is one transaction.
    mixed += !list.items.empty() &&
             (list.items.size() != 2 || NumberOf(list.items[0]) != NumberOf(list.items[1]));
#endif
  };
  CLogger::m_nLoglevel = 0;
  // Reads until the writer has made many changes, and then to the number of reads.
  int reads = 0;
  for (; numbers.size() < 20 && !HasFailure(); ++reads) read();
  for (; reads < kReads && !HasFailure(); ++reads) read();
  Put(L"Stop", L"Stop", RegistryValue::FromText(L"now"));
  writer.join();
  EXPECT_EQ(mixed, 0) << "of " << reads << " reads";
}

TEST_F(StockItems, AHealthyMergeWritesNothingByDefault) {
  PutItem(stocks_ + kGuidA, L"first");
  EXPECT_TRUE(orv::test::SaveSession(std::to_wstring(orv::test::OwnProcessId())));
  orv::test::ModuleFolder module;
  ConfigsCache* const cache = ConfigsCache::GetInstance();
  OEMDMPARAM param{};
  tagOEMDEV in{};
  param.hPrinter = printer_.handle();
  param.pOEMDMOut = &in;
  ASSERT_EQ(hrOEMDevMode(&module.client, cache, kPrinter, OEMDM_DEFAULT, &param), S_OK);
  param.pOEMDMIn = &in;
  param.pOEMDMOut = &record_;
  param.pPublicDMIn = &in_;
  param.pPublicDMOut = &out_;
  record_.dwSignature = tagOEMDEV::kSignature;
  in_.dmPaperSize = 257;
  in_.dmCopies = 1;
  log_.Take();
  CLogger::m_nLoglevel = eLogLevelError;
  EXPECT_EQ(hrOEMDevMode(&module.client, cache, kPrinter, OEMDM_MERGE, &param), S_OK);
  EXPECT_EQ(out_.dmPaperWidth, 550);
  EXPECT_EQ(log_.TakeText(), L"");
  ConfigsCache::ReleaseInstance();
}

TEST_F(StockItems, SizesAboveTheLimitsAreRefusedOrReduced) {
  const std::wstring path = orv::StockItemsPath(kPrinter, orv::test::kTestDriver);
  StockItem item;
  item.guid = orv::ParseGuid(kGuidA);
  for (const StockValue& value : orv::StockValues()) item.*value.field = value.max;
  EXPECT_EQ(orv::FindExceedingValue(item), nullptr);
  EXPECT_EQ(orv::WriteStockItem(path, item), ERROR_SUCCESS);
  for (const StockValue& value : orv::StockValues()) {
    if (value.max == orv::kMaxStockNumber) continue;
    StockItem larger = item;
    ++(larger.*value.field);
    EXPECT_EQ(orv::FindExceedingValue(larger), &value);
    EXPECT_EQ(orv::WriteStockItem(path, larger), ERROR_INVALID_PARAMETER);
  }
  item.DisplayName = std::wstring(L"a\0b", 3);
  EXPECT_EQ(orv::WriteStockItem(path, item), ERROR_INVALID_PARAMETER);
  item.DisplayName.clear();
  const struct {
    DWORD width;
    SHORT tenths;
    bool isReduced;
  } cases[] = {{3276649, 32766, false},
               {3276700, 32767, false},
               {4000000, 32767, true},
               {6553600, 32767, true},
               {0xFFFFFFFF, 32767, true}};
  for (const auto& test : cases) {
    Put(stocks_ + kGuidA, L"PaperWidth", RegistryValue::FromNumber(test.width));
    Put(stocks_ + kGuidA, L"PaperLength", RegistryValue::FromNumber(30000));
    in_.dmPaperSize = 257;
    const std::wstring last = Apply();
    EXPECT_EQ(out_.dmPaperWidth, test.tenths);
    EXPECT_EQ(record_.PaperWidth, test.width);
    EXPECT_EQ(last == L"WAR The public record cannot hold the paper dimensions " +
                          std::to_wstring(test.width) +
                          L" x 30000. Using 32767 x 300 tenths of a millimetre there",
              test.isReduced)
        << orv::WideToUtf8(last);
  }
}

TEST_F(StockItems, CopyEveryValueThatTheRecordHas) {
  StockItem item;
  item.guid = orv::ParseGuid(kGuidA);
  item.DisplayName = L"first";
  DWORD number = 1;
  for (const StockValue& value : orv::StockValues()) item.*value.field = number++;
  const std::wstring path = orv::StockItemsPath(kPrinter, orv::test::kTestDriver);
  StockItem items[] = {{}, item};
  items[0].guid = orv::ParseGuid(kGuidC);
  items[0].DisplayName = L"second";
  log_.Take();
  EXPECT_EQ(orv::ImportStockItems(path, items, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(log_.TakeText(),
            L"INFDevMode Number of imported layouts 2\n"
            L"INFDevMode Layouts second, first imported from registry.\n");
  in_.dmPaperSize = 257;
  out_.dmCopies = 5;
  std::string bytes = Bytes(record_);
  Apply();
  const std::pair<std::size_t, DWORD> expected[] = {
      {1696, 1},  {1700, 2},  {2676, 3},  {1896, 4},  {1900, 5},  {1624, 6},  {1628, 7},
      {1632, 8},  {1636, 9},  {1668, 10}, {1672, 11}, {1648, 12}, {1676, 13}, {1652, 14},
      {1656, 15}, {1660, 16}, {1684, 17}, {1688, 18}, {1680, 19}, {1704, 21}, {1708, 22},
      {1712, 23}, {1640, 25}, {1644, 26}, {2684, 27}};
  for (const auto& [offset, value] : expected) {
    EXPECT_EQ(Word(record_, offset), value) << offset;
    bytes.replace(offset, 4, Bytes(record_), offset, 4);
  }
  bytes.replace(2652, 16, Bytes(record_), 2652, 16);
  EXPECT_EQ(Bytes(record_), bytes) << "nothing else changes";
  EXPECT_EQ(out_.dmCopies, 5);  // although the item has 20

  EXPECT_EQ(orv::DeleteStockItem(path, item.guid), ERROR_SUCCESS);
  EXPECT_EQ(LoadedNames(), L"second ");
  items[0].guid = {};  // has no key to find it under
  EXPECT_NE(orv::ImportStockItems(path, items, nullptr), ERROR_SUCCESS);
  item.DisplayName.assign(130, L'n');  // too long to be read
  EXPECT_NE(orv::WriteStockItem(stocks_, item), ERROR_SUCCESS);
}

}  // namespace
