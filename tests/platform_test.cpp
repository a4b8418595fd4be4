#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <thread>

#include "base/utf8.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/settings/settings.h"
#include "orv/text/format.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "platform/modules.h"
#include "platform/registry_cache.h"
#include "platform/reused_objects.h"
#include "platform/unload.h"
#include "tests/fixtures.h"

namespace {

using orv::RegistryAccess;
using orv::RegistryKey;
using orv::RegistryValue;
using orv::test::ScratchRegistry;
using orv::test::TemporaryFolder;

class RegistryTest : public testing::Test {
 protected:
  RegistryKey Make(const std::wstring& path) {
    RegistryKey key;
    EXPECT_EQ(key.Create(HKEY_CURRENT_USER, path), ERROR_SUCCESS);
    return key;
  }
  static void Set(const RegistryKey& key, const std::wstring& name, const std::wstring& text) {
    EXPECT_EQ(orv::SetRegistryValue(key.get(), name, RegistryValue::FromText(text)), ERROR_SUCCESS);
  }
  static std::wstring Get(const RegistryKey& key, const std::wstring& name) {
    RegistryValue value;
    EXPECT_EQ(orv::GetRegistryValue(key.get(), name, &value), ERROR_SUCCESS);
    return value.Text();
  }
  using Names = std::vector<std::wstring>;
  static Names Keys(const RegistryKey& key) {
    Names names;
    EXPECT_EQ(orv::ListRegistryKeys(key.get(), &names), ERROR_SUCCESS);
    return names;
  }
  static Names Values(const RegistryKey& key) {
    std::vector<orv::NamedRegistryValue> values;
    EXPECT_EQ(orv::ListRegistryValues(key.get(), &values), ERROR_SUCCESS);
    Names names;
    for (const orv::NamedRegistryValue& named : values) {
      RegistryValue alone;
      EXPECT_EQ(orv::GetRegistryValue(key.get(), named.name, &alone), ERROR_SUCCESS);
      EXPECT_TRUE(alone.type == named.value.type && alone.data == named.value.data);
      names.push_back(named.name);
    }
    return names;
  }

  ScratchRegistry registry_;
};

TEST_F(RegistryTest, NamesCompareWithoutCaseAndKeepTheirSpelling) {
  RegistryKey key = Make(L"Top\\S\u00fcb\u0416");
  Set(key, L"N\u00e4me", L"first");
  Set(key, L"n\u00c4ME", L"second");
  RegistryKey again;
  ASSERT_EQ(again.Open(HKEY_CURRENT_USER, L"tOP\\s\u00dcB\u0436", RegistryAccess::kRead),
            ERROR_SUCCESS);
  EXPECT_EQ(Get(again, L"N\u00c4ME"), L"second");
  EXPECT_EQ(Values(again), (Names{L"N\u00e4me"}));
  EXPECT_EQ(Keys(Make(L"TOP")), (Names{L"S\u00fcb\u0416"}));
}

TEST_F(RegistryTest, NamesEnumerateInNameOrder) {
  RegistryKey key = Make(L"Order");
  for (const wchar_t* name : {L"b", L"C", L"10", L"\u00e9", L"a_", L"A", L"9"}) {
    Set(Make(L"Order\\" + std::wstring(name)), L"Value", L"");
    Set(key, name, L"");
  }
  Set(key, L"", L"the default value has the empty name");
  EXPECT_EQ(Keys(key), (Names{L"10", L"9", L"A", L"a_", L"b", L"C", L"\u00e9"}));
  EXPECT_EQ(Values(key), (Names{L"", L"10", L"9", L"A", L"a_", L"b", L"C", L"\u00e9"}));
  std::vector<orv::RegistrySubKey> subKeys(1);  // what it holds is replaced
  std::vector<orv::StampedSubKey> stamped(1);
  EXPECT_EQ(orv::ReadRegistryKeys(key.get(), &subKeys), ERROR_SUCCESS);
  EXPECT_EQ(orv::ReadChangedRegistryKeys(key.get(), {}, &stamped), ERROR_SUCCESS);
  EXPECT_EQ(subKeys.size(), 7U);
  EXPECT_EQ(stamped.size(), 7U);
}

TEST_F(RegistryTest, KeepsTypesAndBytes) {
  const RegistryKey key = Make(L"Types");
  const std::wstring surrogates = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
  const RegistryValue values[] = {
      RegistryValue::FromText(L""),
      RegistryValue::FromText(L"text " + surrogates),
      RegistryValue::FromNumber(0),
      RegistryValue::FromNumber(0xFFFFFFFF),
      {REG_BINARY, {}},
      {REG_BINARY, {0, 1, 0xFF, 0}},
      {REG_BINARY, std::vector<BYTE>(100000, 0x5A)},
      {7, {'a', 0, 0, 0, 0, 0}},
  };
  for (const RegistryValue& value : values) {  // each replaces the previous one
    ASSERT_EQ(orv::SetRegistryValue(key.get(), L"value", value), ERROR_SUCCESS);
    RegistryValue read;
    ASSERT_EQ(orv::GetRegistryValue(key.get(), L"value", &read), ERROR_SUCCESS);
    EXPECT_EQ(read.type, value.type);
    EXPECT_EQ(read.data, value.data);
  }
  EXPECT_EQ(values[1].data[2], 'e');  // two bytes per unit, little-endian
  EXPECT_EQ(RegistryValue::FromNumber(0x04030201).data, (std::vector<BYTE>{1, 2, 3, 4}));
  DWORD number = 0;
  EXPECT_TRUE((RegistryValue{REG_DWORD, {1, 2, 3, 4}}.Number(&number)));
  EXPECT_EQ(number, 0x04030201U);
  EXPECT_EQ((RegistryValue{REG_SZ, {'a', 0, 'b'}}.Text()), L"a");  // without half a unit
}

TEST_F(RegistryTest, MissingKeysAndValuesAreNotFound) {
  RegistryKey key;
  RegistryValue value = RegistryValue::FromNumber(1);
  EXPECT_EQ(key.Open(HKEY_LOCAL_MACHINE, L"None", RegistryAccess::kRead), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key.get(), nullptr);
  EXPECT_EQ(orv::DeleteRegistryTree(HKEY_CURRENT_USER, L"None"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(orv::GetRegistryValue(HKEY_CURRENT_USER, L"None", &value), ERROR_FILE_NOT_FOUND);
  EXPECT_TRUE(value.data.empty());
  key = Make(L"Some");
  EXPECT_EQ(orv::DeleteRegistryValue(key.get(), L"None"), ERROR_FILE_NOT_FOUND);
  Set(key, L"One", L"1");
  EXPECT_EQ(orv::DeleteRegistryValue(key.get(), L"ONE"), ERROR_SUCCESS);
  EXPECT_EQ(Values(key), Names{});
}

TEST_F(RegistryTest, DeletesWholeTrees) {
  Make(L"Tree\\a\\b\\c");
  Make(L"Tree\\a2");
  Make(L"Tree2");
  const RegistryKey inside = Make(L"Tree\\a\\b");
  Set(inside, L"value", L"text");
  RegistryKey parent;
  // Deleting below a key does not require it to be open for writing.
  ASSERT_EQ(parent.Open(HKEY_CURRENT_USER, L"Tree", RegistryAccess::kRead), ERROR_SUCCESS);
  EXPECT_EQ(orv::DeleteRegistryTree(parent.get(), L"A"), ERROR_SUCCESS);
  EXPECT_EQ(Keys(parent), (Names{L"a2"}));

  // An open key stays deleted, even if a key of that name is created again.
  Make(L"Tree\\a\\b");
  RegistryValue value;
  std::vector<std::wstring> names;
  EXPECT_NE(orv::GetRegistryValue(inside.get(), L"value", &value), ERROR_SUCCESS);
  EXPECT_NE(orv::SetRegistryValue(inside.get(), L"value", value), ERROR_SUCCESS);
  EXPECT_NE(orv::ListRegistryKeys(inside.get(), &names), ERROR_SUCCESS);
  EXPECT_EQ(Values(Make(L"Tree\\a\\b")), Names{});

  EXPECT_EQ(orv::DeleteRegistryTree(HKEY_CURRENT_USER, L"Tree"), ERROR_SUCCESS);
  EXPECT_EQ(Keys(RegistryKey(Make(L"Tree2"))), Names{});
  RegistryKey gone;
  EXPECT_EQ(gone.Open(HKEY_CURRENT_USER, L"Tree\\a2", RegistryAccess::kRead), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, RefusesInvalidHandles) {
  for (const std::uintptr_t number : {0x0, 0x7FFFFFF0}) {
    const HKEY bogus = reinterpret_cast<HKEY>(number);
    RegistryKey key;
    RegistryValue value = RegistryValue::FromText(L"x");
    Names names;
    std::vector<orv::NamedRegistryValue> values;
    const orv::RegistryChange change{orv::RegistryChange::Kind::kMakeKey, bogus, L"a", L"", {}};
    std::size_t failed = 0;
    for (const LONG result :
         {key.Open(bogus, L"a", RegistryAccess::kRead), key.Create(bogus, L"a"),
          orv::SetRegistryValue(bogus, L"a", value), orv::GetRegistryValue(bogus, L"a", &value),
          orv::DeleteRegistryValue(bogus, L"a"), orv::DeleteRegistryTree(bogus, L"a"),
          orv::ListRegistryKeys(bogus, &names), orv::ListRegistryValues(bogus, &values),
          orv::ChangeRegistry({&change, 1}, &failed)}) {
      EXPECT_EQ(result, ERROR_INVALID_HANDLE);
    }
  }
}

TEST_F(RegistryTest, AValueThatIsRefusedLeavesNoKey) {
  const orv::RegistryChange change{orv::RegistryChange::Kind::kSetValue, HKEY_CURRENT_USER,
                                   L"New\\Sub", std::wstring(16384, L'v'),
                                   RegistryValue::FromText(L"x")};
  std::size_t failed = 0;
  EXPECT_EQ(orv::ChangeRegistry({&change, 1}, &failed), ERROR_INVALID_PARAMETER);
  RegistryKey key;
  EXPECT_EQ(key.Open(HKEY_CURRENT_USER, L"New", RegistryAccess::kRead), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, AKeyOpenForReadingCannotBeWritten) {
  Set(Make(L"Fixed"), L"value", L"text");
  RegistryKey key;
  ASSERT_EQ(key.Open(HKEY_CURRENT_USER, L"Fixed\\", RegistryAccess::kRead), ERROR_SUCCESS);
  EXPECT_EQ(orv::SetRegistryValue(key.get(), L"value", {}), ERROR_ACCESS_DENIED);
  EXPECT_EQ(orv::DeleteRegistryValue(key.get(), L"value"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(orv::DeleteRegistryTree(key.get(), L""), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Get(key, L"value"), L"text");
  ASSERT_EQ(key.Open(HKEY_CURRENT_USER, L"Fixed", RegistryAccess::kReadWrite), ERROR_SUCCESS);
  EXPECT_EQ(orv::DeleteRegistryValue(key.get(), L"value"), ERROR_SUCCESS);
  // Without a path the key itself is emptied.
  Set(key, L"value", L"text");
  EXPECT_EQ(orv::DeleteRegistryTree(key.get(), L""), ERROR_SUCCESS);
  EXPECT_EQ(Values(key), Names{});
}

TEST_F(RegistryTest, TheUsersSettingOverridesTheMachines) {
  using Stored = std::optional<RegistryValue>;
  const auto text = &RegistryValue::FromText;
  const Stored none;
  const Stored machine = text(L"machine");
  const std::wstring longest(511, L'x');  // 1,024 bytes with its terminator
  const auto expanded = [&](const std::wstring& stored) {
    return RegistryValue{REG_EXPAND_SZ, text(stored).data};
  };
  orv::test::SetVariable("ORV_TEST_VALUE", "value");
  const struct {
    Stored user;
    Stored machine;
    std::wstring setting;
  } cases[] = {
      {none, none, L""},
      {none, machine, L"machine"},
      {text(L"user"), machine, L"user"},
      {text(L""), machine, L""},
      {RegistryValue::FromNumber(1), machine, L"machine"},
      {RegistryValue{REG_BINARY, text(L"user").data}, machine, L"machine"},
      {expanded(L"%ORV_TEST_VALUE%\\a %ORV_NO_VALUE% %"), machine, L"value\\a %ORV_NO_VALUE% %"},
      {none, expanded(L"<%ORV_TEST_VALUE%>"), L"<value>"},
      {text(L"%ORV_TEST_VALUE%"), machine, L"%ORV_TEST_VALUE%"},
      {RegistryValue{REG_SZ, {'a', 0, 0, 0, 'b', 0}}, none, L"a"},  // up to the terminator
      {RegistryValue{REG_SZ, {'a', 0, 'b'}}, none, L"a"},           // half a unit
      {none, text(longest), longest},
      {none, text(longest + L"x"), L""},
      {text(longest + L"x"), machine, L""},
  };
  for (const auto& test : cases) {
    for (const auto& [hive, stored] :
         {std::pair(HKEY_CURRENT_USER, test.user), std::pair(HKEY_LOCAL_MACHINE, test.machine)}) {
      orv::DeleteRegistryTree(hive, L"Software");
      if (!stored) continue;
      RegistryKey key;
      ASSERT_EQ(key.Create(hive, orv::kSettingsKey + std::wstring(L"\\Sub")), ERROR_SUCCESS);
      ASSERT_EQ(orv::SetRegistryValue(key.get(), L"Name", *stored), ERROR_SUCCESS);
    }
    EXPECT_EQ(orv::ReadSetting(L"Sub", L"Name"), test.setting);
    EXPECT_EQ(orv::ReadSetting(L"Other", L"Name"), L"");
  }
  orv::test::SetVariable("ORV_TEST_VALUE", {});
}

TEST_F(RegistryTest, SeveralProcessesAndThreadsWriteAtOnce) {
  constexpr int kWriters = 3;
  constexpr int kKeys = 40;
  Make(L"Shared");
  std::vector<std::thread> threads;
  for (int writer = 0; writer < kWriters; ++writer) {
    threads.emplace_back([writer] {
      const auto result = orv::test::RunProgram(
          ORV_TEST_HELPER,
          {"registry", "process" + std::to_string(writer) + "_", std::to_string(kKeys)});
      EXPECT_EQ(result.exitCode, 0);
    });
    threads.emplace_back([this, writer] {
      for (int i = 0; i < kKeys; ++i) {
        const std::wstring name = L"thread" + std::to_wstring(writer) + L"_" + std::to_wstring(i);
        Set(Make(L"Shared\\" + name), L"Name", name);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const RegistryKey shared = Make(L"Shared");
  const std::vector<std::wstring> keys = Keys(shared);
  EXPECT_EQ(keys.size(), 2u * kWriters * kKeys);
  for (const std::wstring& name : keys) EXPECT_EQ(Get(Make(L"Shared\\" + name), L"Name"), name);
  EXPECT_TRUE(Get(shared, L"Last").starts_with(L"process"));
}

TEST(Spooler, FindsAnAddedPrinterByItsHandle) {
  const ScratchRegistry registry;
  orv::PrinterFacts facts;
  {
    const orv::test::TestPrinter printer(L"Label \u00e9 1", L"ORV-LX 4.3/300P+");
    const orv::test::TestPrinter other(L"Another", L"ORV-S2");
    ASSERT_TRUE(orv::GetPrinterFacts(printer.handle(), &facts));
    EXPECT_EQ(facts.printerName + L"=" + facts.driverName, L"Label \u00e9 1=ORV-LX 4.3/300P+");
    EXPECT_EQ(orv::AddSpoolerPrinter(L"Another", L"ORV-S2"), ERROR_PRINTER_ALREADY_EXISTS);

    std::vector<orv::PrinterFacts> printers;
    ASSERT_EQ(orv::ListSpoolerPrinters(&printers), ERROR_SUCCESS);
    std::wstring ours;  // the system may have other printers
    for (const orv::PrinterFacts& one : printers) {
      if (one.driverName.starts_with(L"ORV-")) ours += one.printerName + L";";
    }
    EXPECT_EQ(ours, L"Another;Label \u00e9 1;");
  }
  for (const wchar_t* const name : {L"Another", L""}) {
    EXPECT_EQ(orv::OpenPrinterHandle(name), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PRINTER_NAME));
    EXPECT_EQ(orv::RemoveSpoolerPrinter(name), ERROR_INVALID_PRINTER_NAME);
  }
  EXPECT_EQ(orv::OpenPrinterHandle(nullptr), nullptr);
  EXPECT_EQ(orv::AddSpoolerPrinter(L"", L"ORV-S2"), ERROR_INVALID_PRINTER_NAME);
  for (const HANDLE handle : {HANDLE{nullptr}, INVALID_HANDLE_VALUE,
                              reinterpret_cast<HANDLE>(std::uintptr_t{0x123456})}) {
    EXPECT_FALSE(orv::GetPrinterFacts(handle, &facts));
    EXPECT_EQ(facts.printerName + facts.driverName, L"");
  }
  orv::ClosePrinterHandle(nullptr);
}

TEST(LetterCase, CoversEveryScript) {
  EXPECT_EQ(orv::LowerCase(L"ORV-\u00c4\u0416\u03a3 1"), L"orv-\u00e4\u0436\u03c3 1");
  EXPECT_EQ(orv::UpperCase(L"orv-\u00e4\u0436\u03c3 1"), L"ORV-\u00c4\u0416\u03a3 1");
  EXPECT_EQ(orv::UpperCase(L"\u00df"), L"\u00df");  // one unit stays one unit
}

TEST(Files, NamesAndPathsConvertBothWays) {
  const TemporaryFolder folder;
  const std::wstring name = folder.Name(L"\u00e9\u20ac.txt");
  orv::test::WriteBytes(orv::ToPath(name), "x");
  EXPECT_EQ(orv::FromPath(orv::ToPath(name)), name);
  for (const auto& [path, last] : {std::pair(L"/a/b", L"b"), {L"/a", L"a"}, {L"/a/b/", L"b/"}}) {
    EXPECT_EQ(orv::FileNameOf(path), last);
  }
  EXPECT_TRUE(std::filesystem::exists(folder.path() / std::filesystem::path(u8"\u00e9\u20ac.txt")));
#if !defined(_WIN32)  // names can be any bytes
  EXPECT_EQ(orv::FromFileName("a\xFF\xC3-\x80"), L"a\xDCFF\xDCC3-\xDC80");
  for (const std::string bytes :
       {"a\xFF\xC3-\x80", "\xF0\x9F\x98\x80\x80-", "\xEF\xBF\xBD\xFE\xC3\xA9"}) {
    EXPECT_EQ(orv::ToPath(orv::FromFileName(bytes)), bytes);
  }
#endif
}

TEST(ExclusiveFile, CannotBeOpenedTwice) {
  const TemporaryFolder folder;
  const std::filesystem::path name = folder.path() / "held";
  const std::vector<std::string> holdIt = {"hold", orv::WideToUtf8(orv::FromPath(name))};
  orv::ExclusiveFile file;
  ASSERT_TRUE(file.Open(name));
  ASSERT_TRUE(file.Write("first", 5));
  orv::ExclusiveFile other;
  EXPECT_FALSE(other.Open(name));
  EXPECT_FALSE(other.Write("x", 1));
  std::thread([&] { EXPECT_FALSE(other.Open(name)); }).join();
  EXPECT_EQ(orv::test::RunProgram(ORV_TEST_HELPER, holdIt).exitCode, 1);
  file.Close();
  EXPECT_EQ(orv::test::RunProgram(ORV_TEST_HELPER, holdIt).exitCode, 0);
  ASSERT_TRUE(other.Open(name));
  ASSERT_TRUE(other.Append(" second", 7));
  other.Close();
  EXPECT_FALSE(other.Append("x", 1));
  EXPECT_EQ(orv::test::ReadBytes(name), "first second");
  ASSERT_TRUE(file.Open(name));
  ASSERT_TRUE(file.Open(folder.path() / "second"));  // releases the first
  EXPECT_TRUE(other.Open(name));
  EXPECT_FALSE(other.Open(folder.path()));
  EXPECT_FALSE(other.Open(folder.path() / "missing" / "file"));
}

TEST(Modules, HaveFilePaths) {
  std::wstring own;
  std::wstring program;
  ASSERT_TRUE(orv::GetModulePath(orv::OwnModule(), &own));
  ASSERT_TRUE(orv::GetModulePath(nullptr, &program));
  EXPECT_EQ(own, program);  // the library's objects are part of this program
  EXPECT_TRUE(orv::FileNameOf(own).starts_with(L"platform_test"));
  EXPECT_TRUE(std::filesystem::exists(orv::ToPath(own)));

  const HINSTANCE middle =
      reinterpret_cast<HINSTANCE>(reinterpret_cast<std::uintptr_t>(orv::OwnModule()) + 0x1000);
  for (const HINSTANCE bogus : {middle, reinterpret_cast<HINSTANCE>(std::uintptr_t{0x1230000})}) {
    SetLastError(0);
    EXPECT_FALSE(orv::GetModulePath(bogus, &own));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
    EXPECT_EQ(own, L"");
  }
}

TEST(Modules, LongPathsAreTruncatedWithoutATerminator) {
  const TemporaryFolder folder;
  // Windows accepts paths of more than 260 characters only with this prefix.
  const wchar_t* const prefix = orv::kPathSeparator == L'\\' ? L"\\\\?\\" : L"";
  std::filesystem::path deep = orv::ToPath(prefix + folder.Name());
  const auto isShort = [&] { return orv::FromPath(deep).size() < orv::kMaxModulePath; };
  while (isShort()) std::filesystem::create_directory(deep /= std::string(100, 'd'));
  const std::wstring path = orv::test::PathOfModuleAt(deep / "module.dll");
  EXPECT_EQ(path.size(), orv::kMaxModulePath - 1);
  EXPECT_EQ(path.find(L'\0'), path.npos);
  // Under Wine the test folder cannot remove paths of this length itself.
  std::filesystem::remove(deep / "module.dll");
  for (; deep.filename() == std::string(100, 'd'); deep = deep.parent_path())
    std::filesystem::remove(deep);
}

TEST(Modules, AMissingResourceFileIsAnError) {
  const TemporaryFolder folder;
  SetLastError(0);
  EXPECT_EQ(orv::LoadResourceModule(folder.Name(L"none.dll")), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  orv::test::WriteBytes(folder.path() / "empty.dll", "");
  EXPECT_EQ(orv::LoadResourceModule(folder.Name(L"empty.dll")), nullptr);
  EXPECT_NE(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS));
#if !defined(_WIN32)  // there starting a thread can set it
  // Each thread has its own error.
  std::thread([] { EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SUCCESS)); }).join();
#endif
}

TEST(ReusedObjects, AreMadeOnlyWhileAllAreInUse) {
  struct Counted {
    Counted() { ++Made(); }
    static int& Made() {
      static int s_made = 0;
      return s_made;
    }
  };
  static orv::ReusedObjects<Counted> s_objects;
  for (int i = 0; i < 3; ++i) {
    const orv::ReusedObjects<Counted>::Use first(&s_objects);
    const orv::ReusedObjects<Counted>::Use second(&s_objects);
  }
  EXPECT_EQ(Counted::Made(), 2);
}

TEST(StackProtector, EndsAProcessThatOverrunsABuffer) {
#if defined(ORV_SANITIZED)
  GTEST_SKIP() << "the sanitizer reports the overrun first";
#endif
  const orv::test::ProgramResult ended = orv::test::RunProgram(ORV_TEST_HELPER, {"overrun"});
  EXPECT_EQ(ended.output, "");
#if defined(_WIN32)
  EXPECT_EQ(static_cast<DWORD>(ended.exitCode), 0xC0000602u);  // a fail-fast exception
#else
  EXPECT_EQ(ended.exitCode, -SIGABRT);
  EXPECT_NE(ended.messages.find("stack smashing detected"), std::string::npos) << ended.messages;
#endif
}

TEST(Clock, MatchesTheCLibrary) {
  const std::time_t before = std::time(nullptr);
  const orv::LocalTime now = orv::GetLocalTimeNow();
  const std::wstring text = orv::Format(L"%04d-%02d-%02d %02d:%02d:%02d", now.year, now.month,
                                        now.day, now.hour, now.minute, now.second);
  // The C library's second starts up to one tick after that of the finer clock.
  bool isFound = false;
  for (std::time_t time = before - 1; time <= std::time(nullptr) + 1; ++time) {
    char other[20];
    std::strftime(other, sizeof other, "%Y-%m-%d %H:%M:%S", std::localtime(&time));
    isFound |= orv::Utf8ToWide(other) == text;
  }
  EXPECT_TRUE(isFound);
  EXPECT_TRUE(now.millisecond >= 0 && now.millisecond < 1000);
  orv::LocalTime time;
  EXPECT_TRUE(orv::ToLocalTime(before, &time));
  EXPECT_EQ(time.millisecond, 0);
  EXPECT_FALSE(orv::ToLocalTime(std::numeric_limits<std::int64_t>::max(), &time));
}

#if !defined(_WIN32)  // there this process still needs what the functions release
TEST(Unload, CallsEachFunctionOnceTheLastOneFirst) {
  static std::string s_called;
  const auto call = [] {
    s_called.clear();
    void (*const first)() = [] { s_called += '1'; };
    void (*const second)() = [] { s_called += '2'; };
    for (void (*const release)() : {first, second, first}) orv::AtUnload(release);
    orv::CallUnloadFunctions();
    std::exit(s_called.starts_with("21") && s_called.find('1', 2) == s_called.npos ? 0 : 1);
  };
  EXPECT_EXIT(call(), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
