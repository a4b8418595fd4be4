/// What the C interface adds to the core: texts and buffers of the caller, its log, and calls from
/// several threads. The cases that every language runs are in c_api/.

#include <gtest/gtest.h>
#ifndef _WIN32
#include <sys/resource.h>
#endif

#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "orv/c_api.h"
#include "orv/devmode/stock_items.h"
#include "platform/files.h"
#include "tests/devmode_fixture.h"

namespace {

using orv::test::TemporaryFolder;

/// A text as callers of the C interface have it.
struct Units {
  explicit Units(const std::wstring& text) : units(text.begin(), text.end()) {}
  const std::uint16_t* data() const { return units.data(); }
  std::uint32_t size() const { return static_cast<std::uint32_t>(units.size()); }

  std::vector<std::uint16_t> units;
};

template <typename Buffer>
std::wstring TextOf(const Buffer& buffer, std::uint32_t length) {
  return {std::begin(buffer), std::begin(buffer) + length};
}

class CInterface : public testing::Test {
 protected:
  CInterface() {
    StockItem item;
    item.guid.Data1 = 1;
    item.DisplayName = L"Stock";
    item.PaperWidth = item.PaperLength = 50000;
    for (int i = 0; i < 2; ++i, ++item.guid.Data1) {
      EXPECT_EQ(orv::WriteStockItem(orv::kCommonStockItemsPath, item), ERROR_SUCCESS);
    }
    orv::test::LogToFileAlone(L"1");
    const Units module(L"test.dll");
    const Units folder(module_.folder().Name());
    EXPECT_EQ(orv_log_open(module.data(), module.size(), folder.data(), folder.size(), &log_),
              ORV_OK);
    EXPECT_EQ(orv_config_load_printer(printer_.data(), printer_.size(), log_, &config_, nullptr, 0,
                                      nullptr),
              ORV_OK);
    EXPECT_EQ(orv_printer_open(printer_.data(), printer_.size(), &handle_), ORV_OK);
  }
  ~CInterface() override {
    orv_printer_close(handle_);
    orv_config_close(config_);
    orv_log_close(log_);
  }

  std::int32_t Load(const Units& path, orv_config** config) {
    return orv_config_load(path.data(), path.size(), log_, config, nullptr, 0, nullptr);
  }

  orv::test::ScratchRegistry registry_;
  orv::test::TestPrinter installed_{L"Label 1", orv::test::kTestDriver};
  orv::test::ModuleFolder module_;
  const Units path_{module_.folder().Name(orv::test::kTestConfigName)};
  const Units printer_{L"Label 1"};
  orv_log* log_ = nullptr;
  orv_config* config_ = nullptr;
  void* handle_ = nullptr;
};

TEST_F(CInterface, WritesEntriesOfAnEnabledLevel) {
  const Units message(L"a message");
  const Units other(L"another one");
  const Units source(L"Source");
  EXPECT_EQ(orv_log_write(log_, ORV_LOG_ERROR, message.data(), message.size(), source.data(), 6),
            ORV_OK);
  EXPECT_EQ(orv_log_write(log_, ORV_LOG_INFO, other.data(), other.size(), nullptr, 0), ORV_OK);
  EXPECT_EQ(orv_log_write(nullptr, ORV_LOG_ERROR, message.data(), 1, nullptr, 0), ORV_OK);
  const std::wstring text = orv::test::ReadLogs();
  EXPECT_NE(text.find(L"\ttest.dll\tSource\ta message\r\n"), text.npos);
  EXPECT_NE(text.find(L"\t\t\ta\r\n"), text.npos);
  EXPECT_EQ(text.find(L"another one"), text.npos) << "an entry of a disabled level";
  const int started = CLogger::m_nRefCount;
  orv_log_close(std::exchange(log_, nullptr));
  EXPECT_EQ(CLogger::m_nRefCount, started - 1);
}

TEST_F(CInterface, CutsMessagesToTheBuffer) {
  const Units broken(module_.folder().Name(L"broken.xml"));
  orv::test::WriteBytes(module_.folder().path() / "broken.xml", "<a>");
  tagOEMDEV record{};
  orv_config* none = nullptr;
  const std::function<void(std::uint16_t*, std::uint32_t, std::uint32_t*)> calls[] = {
      [&](std::uint16_t* buffer, std::uint32_t capacity, std::uint32_t* length) {
        EXPECT_EQ(
            orv_config_load(broken.data(), broken.size(), nullptr, &none, buffer, capacity, length),
            ORV_ERROR_MALFORMED);
      },
      [&](std::uint16_t* buffer, std::uint32_t capacity, std::uint32_t* length) {
        record.Invert = 7;
        EXPECT_EQ(orv_record_validate(config_, nullptr, &record, &record, sizeof record, buffer,
                                      capacity, length),
                  ORV_OK);
        EXPECT_EQ(record.Invert, 0u);
        record = {};
      }};
  for (const auto& call : calls) {
    std::uint32_t length = 0;
    call(nullptr, 0, nullptr);
    call(nullptr, 0, &length);
    ASSERT_GT(length, 5u);
    std::vector<std::uint16_t> whole(length + 1, 0xFFFF);
    call(whole.data(), length + 1, &length);
    EXPECT_EQ(whole[length], 0xFFFF);
    std::vector<std::uint16_t> part(length, 0xFFFF);
    call(part.data(), length - 2, &length);
    EXPECT_EQ(length + 1, whole.size());
    EXPECT_EQ(TextOf(part, length - 2), TextOf(whole, length - 2));
    EXPECT_EQ(part[length - 2], 0xFFFF);
  }
}

TEST_F(CInterface, ListsItemsOfLargerStructures) {
  EXPECT_EQ(orv_stock_value_name(std::size(orv_stock_item{}.values)), nullptr);
  constexpr std::uint32_t kSize = sizeof(orv_stock_item);
  const struct {
    std::uint32_t size;
    std::int32_t code;
  } rows[] = {{0, ORV_ERROR_ARGUMENT},
              {kSize - 1, ORV_ERROR_ARGUMENT},
              {kSize, ORV_OK},
              {kSize + 1, ORV_OK},
              {kSize + 64, ORV_OK}};
  for (const auto& [size, code] : rows) {
    std::vector<unsigned char> bytes(2 * (kSize + 64), 0xEE);
    std::memcpy(bytes.data(), &size, sizeof size);
    auto* const items = reinterpret_cast<orv_stock_item*>(bytes.data());
    std::uint32_t count = 0;
    EXPECT_EQ(orv_stock_list(nullptr, 0, nullptr, items, 2, &count), code) << size;
    EXPECT_EQ(count, code == ORV_OK ? 2u : 0u);
    for (std::uint32_t i = 0; i < count; ++i) {
      orv_stock_item item{};
      std::memcpy(&item, bytes.data() + i * size, kSize);
      EXPECT_EQ(item.size, size);
      EXPECT_EQ(item.guid[0], i + 1);
      EXPECT_EQ(TextOf(item.name, item.name_length), L"Stock");
      for (std::uint32_t at = kSize; at < size; ++at) EXPECT_EQ(bytes[i * size + at], 0xEE);
    }
    orv_stock_item added{};
    added.size = size;
    added.guid[0] = 9;
    added.name[0] = L'x';
    added.name_length = 1;
    EXPECT_EQ(orv_stock_add(nullptr, 0, nullptr, &added), code) << size;
    EXPECT_EQ(orv_stock_remove(nullptr, 0, added.guid),
              code == ORV_OK ? code : ORV_ERROR_NOT_FOUND);
    added.guid[0] = 0;
    EXPECT_EQ(orv_stock_add(nullptr, 0, nullptr, &added), ORV_ERROR_ARGUMENT);
  }
}

TEST_F(CInterface, ReportsATargetThatCannotBeWritten) {
  const TemporaryFolder folder;
  const Units source(module_.folder().Name(L"source"));
  orv::test::WriteBytes(module_.folder().path() / "source", "text");
  const Units targets[] = {Units(folder.Name(L"missing") + orv::kPathSeparator + L"file"),
                           Units(folder.Name())};
  const auto encrypt = [&](const Units& target) {
    return orv_encrypt_file(source.data(), source.size(), target.data(), target.size());
  };
  for (const Units& target : targets) EXPECT_EQ(encrypt(target), ORV_ERROR_UNWRITABLE);
  EXPECT_EQ(encrypt(source), ORV_OK);
  for (const Units& target : targets) {
    EXPECT_EQ(orv_decrypt_file(source.data(), source.size(), target.data(), target.size()),
              ORV_ERROR_UNWRITABLE);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

#ifndef _WIN32  // only Linux has such files, and a limit of open files
TEST_F(CInterface, ReadsAFileToItsEnd) {
  constexpr char kFile[] = "/proc/version";  // the system states that it has 0 bytes
  const Units path(L"/proc/version");
  const std::string bytes = orv::test::ReadBytes(kFile);
  std::uint8_t expected[32] = {};
  std::uint8_t digest[32] = {};
  ASSERT_EQ(orv_hash(bytes.data(), static_cast<std::uint32_t>(bytes.size()), expected), ORV_OK);
  ASSERT_EQ(orv_hash_file(path.data(), path.size(), digest), ORV_OK);
  EXPECT_EQ(std::memcmp(digest, expected, sizeof digest), 0);
  const Units unreadable(L"/proc/self/mem");  // nothing is mapped at its start
  EXPECT_EQ(orv_hash_file(unreadable.data(), unreadable.size(), digest), ORV_ERROR_UNREADABLE);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const std::int32_t code = orv_hash_file(path.data(), path.size(), digest);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(code, ORV_ERROR_UNREADABLE) << "of a file that cannot be opened";
}
#endif

TEST_F(CInterface, RefusesTextsWithNul) {
  const std::uint16_t nul[] = {'a', 0, 'b'};
  const std::uint16_t plain[] = {'a'};
  std::uint8_t bytes[ORV_RECORD_SIZE] = {};
  std::uint32_t n = 0;
  std::int32_t number = 0;
  orv_config* config = nullptr;
  orv_log* log = nullptr;
  void* printer = nullptr;
  orv_stock_item item{};
  item.size = sizeof item;
  item.guid[0] = item.name_length = 2;
  item.name[1] = 'b';
  const std::int32_t codes[] = {
      orv_log_open(nul, 3, nullptr, 0, &log),
      orv_log_open(nullptr, 0, nul, 3, &log),
      orv_log_write(nullptr, ORV_LOG_ERROR, nul, 3, nullptr, 0),
      orv_log_write(nullptr, ORV_LOG_ERROR, plain, 1, nul, 2),
      orv_printer_open(nul, 3, &printer),
      orv_config_load(nul, 3, nullptr, &config, nullptr, 0, nullptr),
      orv_config_load_printer(nul, 3, nullptr, &config, nullptr, 0, nullptr),
      orv_config_text(config_, nul, 3, nullptr, 0, &n),
      orv_config_integer(config_, nul, 3, &number),
      orv_config_integers(config_, nul, 3, nullptr, 0, &n),
      orv_record_merge(handle_, nul, 3, nullptr, bytes, bytes, sizeof bytes, bytes, bytes,
                       ORV_PUBLIC_RECORD_SIZE),
      orv_record_explain_merge(handle_, nul, 3, nullptr, bytes, sizeof bytes, bytes,
                               ORV_PUBLIC_RECORD_SIZE, nullptr, 0, &n),
      orv_stock_list(nul, 3, nullptr, nullptr, 0, &n),
      orv_stock_add(nul, 3, nullptr, &item),
      orv_stock_add(nullptr, 0, nullptr, &item),
      orv_stock_remove(nul, 3, item.guid),
      orv_encrypt_file(nul, 3, plain, 1),
      orv_decrypt_file(plain, 1, nul, 3),
      orv_hash_file(nul, 3, bytes),
  };
  for (std::size_t i = 0; i < std::size(codes); ++i) EXPECT_EQ(codes[i], ORV_ERROR_ARGUMENT) << i;
}

/// One pass through the interface with a shared and an own configuration. Returns every output.
std::string UseOnce(orv_log* log, const orv_config* shared, const orv_config* own, void* printer,
                    const Units& name) {
  std::string outputs;
  const auto add = [&](std::int32_t code, const void* bytes, std::size_t size) {
    EXPECT_EQ(code, ORV_OK);
    outputs.append(static_cast<const char*>(bytes), size);
  };
  std::uint8_t record[ORV_RECORD_SIZE] = {};
  std::uint8_t application[ORV_PUBLIC_RECORD_SIZE] = {};
  std::vector<std::uint16_t> text(1 << 16);
  std::uint32_t length = 0;
  const auto capacity = static_cast<std::uint32_t>(text.size());
  const Units key(L"label.widthMax");
  const Units message(L"a message of a thread");

  for (const orv_config* const config : {shared, own}) {
    std::int32_t number = 0;
    std::int32_t code = orv_config_integer(config, key.data(), key.size(), &number);
    add(code, &number, sizeof number);
    code = orv_record_default(config, record, sizeof record);
    add(code, record, sizeof record);
    code = orv_record_validate(config, log, record, record, sizeof record, text.data(), capacity,
                               &length);
    add(code, text.data(), length * sizeof text[0]);
    code = orv_record_explain(config, record, sizeof record, text.data(), capacity, &length);
    add(code, text.data(), length * sizeof text[0]);
  }
  std::uint8_t merged[ORV_RECORD_SIZE] = {};
  std::int32_t code = orv_record_merge(printer, name.data(), name.size(), log, record, merged,
                                       sizeof record, application, application, sizeof application);
  EXPECT_EQ(std::memcmp(merged, record, 8), 0) << "the signature and the size";
  add(code, merged, sizeof merged);
  code = orv_record_merge(printer, name.data(), name.size(), log, record, record, sizeof record,
                          application, application, sizeof application);
  EXPECT_EQ(std::memcmp(merged, record, sizeof record), 0) << "in place";
  add(code, record, sizeof record);
  orv_stock_item items[2] = {};
  items[0].size = sizeof items[0];
  code = orv_stock_list(name.data(), name.size(), log, items, 2, &length);
  add(code, items, sizeof items);

  std::uint8_t pixels[16 * 48];
  for (std::size_t i = 0; i < sizeof pixels; ++i) pixels[i] = static_cast<std::uint8_t>(7 * i);
  const orv_image image = {sizeof image, ORV_FORMAT_BGR24, 16, 16, 48, 0, pixels};
  code = orv_page_dither(&image, ORV_DITHER_FLOYD_STEINBERG, 128, 0);
  add(code, pixels, sizeof pixels);
  char encrypted[100];
  char plain[100];
  code = orv_encrypt("text", 4, encrypted, sizeof encrypted, &length);
  add(code, &length, sizeof length);
  code = orv_decrypt(encrypted, length, plain, sizeof plain, &length);
  add(code, plain, length);
  code = orv_log_write(log, ORV_LOG_ERROR, message.data(), message.size(), nullptr, 0);
  add(code, nullptr, 0);
  return outputs;
}

TEST_F(CInterface, ServesSeveralThreads) {
  constexpr int kThreads = 4;
  constexpr int kRuns = 3;
  const std::string expected = UseOnce(log_, config_, config_, handle_, printer_);
  std::vector<int> differences(kThreads);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int run = 0; run < kRuns; ++run) {
        orv_config* own = nullptr;
        void* printer = nullptr;
        Load(path_, &own);
        orv_printer_open(printer_.data(), printer_.size(), &printer);
        void* const used = run % 2 == 0 ? handle_ : printer;
        differences[static_cast<std::size_t>(thread)] +=
            UseOnce(log_, config_, own, used, printer_) != expected;
        orv_printer_close(printer);
        orv_config_close(own);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(differences, std::vector<int>(kThreads));
  const std::wstring text = orv::test::ReadLogs();
  int entries = 0;
  for (std::size_t at = 0; (at = text.find(L"\ta message of a thread\r\n", at)) != text.npos;
       ++at) {
    ++entries;
  }
  EXPECT_EQ(entries, kThreads * kRuns + 1);
}

}  // namespace
