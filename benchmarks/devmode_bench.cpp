// Merges of private records with a cached configuration. Logging is off unless the benchmark's name
// says otherwise; the registry is a new one.

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "devmode/record_fields.h"
#include "orv/config/config_parser.h"
#include "orv/config/configs_cache.h"
#include "orv/devmode/devmode.h"
#include "orv/devmode/stock_items.h"
#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/session/session_data.h"
#include "platform/files.h"

namespace {

constexpr wchar_t kPrinter[] = L"Label 1";
constexpr wchar_t kDriver[] = L"ORV-LX 300";

/// A printer whose configuration is loaded.
struct Setup {
  Setup() {
    folder = std::filesystem::temp_directory_path() / "orv_devmode_bench";
    std::filesystem::create_directories(folder);
    setenv("ORV_REGISTRY_DIR", folder.c_str(), 1);
    CLogger::m_nLoglevel = 0;
    CLogger::m_bWriteLogToDebug = CLogger::m_bWriteLogToFile = 0;
    orv::AddSpoolerPrinter(kPrinter, kDriver);
    param.hPrinter = orv::OpenPrinterHandle(kPrinter);
    client.m_stModuleFolder = orv::FromPath(ORV_EXAMPLES);
    CConfigParser::Load(param.hPrinter, &config, cache, &client);
    orv::FillDefaults(*config, &in);
    in.BackFeedSpeed = in.PrintSpeed;
    std::memset(&wrong, 0xEE, sizeof(wrong));
    wrong.dwSignature = tagOEMDEV::kSignature;
    wrong.dwVersion = tagOEMDEV::kVersion;
    out.dwSignature = tagOEMDEV::kSignature;
    publicIn.dmPaperSize = 256;
    publicIn.dmCopies = 1;
    publicIn.dmPaperWidth = publicIn.dmPaperLength = 500;
    param.pOEMDMIn = &in;
    param.pOEMDMOut = &out;
    param.pPublicDMIn = &publicIn;
    param.pPublicDMOut = &publicOut;
  }
  ~Setup() {
    orv::ClosePrinterHandle(param.hPrinter);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }

  std::filesystem::path folder;
  CLoggerClient client;
  ConfigsCache* cache = ConfigsCache::GetInstance();
  Config* config = nullptr;
  tagOEMDEV in{};
  tagOEMDEV wrong{};
  tagOEMDEV out{};
  DEVMODEW publicIn{};
  DEVMODEW publicOut{};
  OEMDMPARAM param{};
};

Setup& TheSetup() {
  static Setup s_setup;
  return s_setup;
}

/// The computation in a merge: conversion and validation.
void ConvertAndValidate(benchmark::State& state, const tagOEMDEV& in) {
  Setup& setup = TheSetup();
  for (auto _ : state) {
    ConvertOEMDevmodeVersions(&setup.client, &in, &setup.out);
    EnsureValidOEMDevmode(&setup.client, setup.config, &setup.out);
    benchmark::DoNotOptimize(setup.out);
  }
}
void BM_NothingToCorrect(benchmark::State& state) { ConvertAndValidate(state, TheSetup().in); }
void BM_EverythingCorrected(benchmark::State& state) {
  ConvertAndValidate(state, TheSetup().wrong);
}
void BM_EverythingCorrectedAndLoggedToNowhere(benchmark::State& state) {
  CLogger::m_nLoglevel = eLogLevelWarning;
  ConvertAndValidate(state, TheSetup().wrong);
  CLogger::m_nLoglevel = 0;
}
BENCHMARK(BM_NothingToCorrect);
BENCHMARK(BM_EverythingCorrected);
BENCHMARK(BM_EverythingCorrectedAndLoggedToNowhere);

std::vector<StockItem> Items(std::int64_t count) {
  std::vector<StockItem> items(static_cast<std::size_t>(count));
  for (std::size_t i = 0; i < items.size(); ++i) {
    items[i].guid.Data1 = static_cast<std::uint32_t>(i + 1);
    items[i].DisplayName = L"Shelf " + std::to_wstring(i + 1);
    items[i].PaperWidth = items[i].PaperLength = 50000;
  }
  return items;
}

/// Creates stock items of the printer and removes them when destroyed.
class StoredItems {
 public:
  explicit StoredItems(std::int64_t count) {
    if (orv::ImportStockItems(path_, Items(count), nullptr) != ERROR_SUCCESS) {
      throw std::runtime_error("cannot store the items");
    }
  }
  ~StoredItems() { orv::DeleteRegistryTree(HKEY_CURRENT_USER, path_); }

 private:
  const std::wstring path_ = orv::StockItemsPath(kPrinter, kDriver);
};

/// A complete merge through the entry point.
void Merge(benchmark::State& state, Setup& setup, OEMDMPARAM* param) {
  if (hrOEMDevMode(&setup.client, setup.cache, kPrinter, OEMDM_MERGE, param) != S_OK) {
    state.SkipWithError("failed");
  }
}

/// With the printer's stock items, which an earlier merge has read.
void BM_EntryPointMerge(benchmark::State& state) {
  Setup& setup = TheSetup();
  const StoredItems items(state.range(0));
  Merge(state, setup, &setup.param);
  for (auto _ : state) Merge(state, setup, &setup.param);
}
BENCHMARK(BM_EntryPointMerge)
    ->ArgName("items")
    ->Arg(0)
    ->Arg(5)
    ->Arg(50)
    ->Arg(500)
    ->Arg(2500)
    ->Arg(10000);

/// Another connection to the user's settings, as another process has it.
class OtherConnection {
 public:
  OtherConnection() { sqlite3_open((TheSetup().folder / "user.sqlite").c_str(), &database_); }
  OtherConnection(const OtherConnection&) = delete;
  OtherConnection& operator=(const OtherConnection&) = delete;
  ~OtherConnection() { sqlite3_close(database_); }

  sqlite3* get() const { return database_; }

 private:
  sqlite3* database_ = nullptr;
};

/// The peer of a merge with stock items: a prepared statement that reads all their values, which
/// the merge keeps.
void BM_SelectItems(benchmark::State& state) {
  const StoredItems items(state.range(0));
  const OtherConnection other;
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(other.get(),
                     "SELECT keys.name, key_values.name, type, data FROM keys JOIN key_values ON "
                     "key = id WHERE parent = (SELECT id FROM keys WHERE folded = 'STOCKS') "
                     "ORDER BY keys.folded",
                     -1, &select, nullptr);
  for (auto _ : state) {
    std::int64_t bytes = 0;
    while (sqlite3_step(select) == SQLITE_ROW) {
      for (const int column : {0, 1, 3}) {
        benchmark::DoNotOptimize(sqlite3_column_blob(select, column));
        bytes += sqlite3_column_bytes(select, column);
      }
    }
    sqlite3_reset(select);
    if (bytes == 0) state.SkipWithError("no items");
  }
  sqlite3_finalize(select);
}
BENCHMARK(BM_SelectItems)->ArgName("items")->Arg(5)->Arg(50)->Arg(500);

/// The first merge after another process has changed one of 500 stock items.
void BM_MergeAfterForeignWrite(benchmark::State& state) {
  Setup& setup = TheSetup();
  const StoredItems items(500);
  const OtherConnection other;
  for (auto _ : state) {
    state.PauseTiming();
    sqlite3_exec(other.get(),
                 "UPDATE key_values SET data = randomblob(4) WHERE folded = 'DARKNESS' AND key = "
                 "(SELECT max(id) FROM keys)",
                 nullptr, nullptr, nullptr);
    if (sqlite3_changes(other.get()) != 1) return state.SkipWithError("nothing is written");
    state.ResumeTiming();
    Merge(state, setup, &setup.param);
  }
}
BENCHMARK(BM_MergeAfterForeignWrite);

/// The first read of 500 stock items.
void BM_ReadItems(benchmark::State& state) {
  const StoredItems items(500);
  std::vector<StockItem> read;
  for (auto _ : state) orv::ReadStockItems(orv::StockItemsPath(kPrinter, kDriver), &read);
}
BENCHMARK(BM_ReadItems);

void BM_ImportItems(benchmark::State& state) {
  const std::wstring path = orv::StockItemsPath(kPrinter, kDriver);
  const std::vector<StockItem> items = Items(1000);
  for (auto _ : state) {
    if (orv::ImportStockItems(path, items, nullptr) != ERROR_SUCCESS) {
      return state.SkipWithError("failed");
    }
    state.PauseTiming();
    orv::DeleteRegistryTree(HKEY_CURRENT_USER, path);
    state.ResumeTiming();
  }
}
BENCHMARK(BM_ImportItems)->Unit(benchmark::kMillisecond);

/// The longest of the merges that run while another process imports 300 items. Waits count. The
/// counter is the longest of all imports.
void BM_LongestMergeDuringAnImport(benchmark::State& state) {
  Setup& setup = TheSetup();
  const std::wstring path = orv::StockItemsPath(kPrinter, kDriver);
  const std::vector<StockItem> items = Items(300);
  double longestOfAll = 0;
  for (auto _ : state) {
    const pid_t writer = fork();
    if (writer == 0) _exit(orv::ImportStockItems(path, items, nullptr) == ERROR_SUCCESS ? 0 : 1);
    std::chrono::duration<double> longest{};
    int ending = -1;
    while (waitpid(writer, &ending, WNOHANG) == 0) {
      const auto start = std::chrono::steady_clock::now();
      Merge(state, setup, &setup.param);
      longest = std::max<std::chrono::duration<double>>(longest,
                                                        std::chrono::steady_clock::now() - start);
    }
    if (ending != 0) state.SkipWithError("failed");
    state.SetIterationTime(longest.count());
    longestOfAll = std::max(longestOfAll, longest.count());
    orv::DeleteRegistryTree(HKEY_CURRENT_USER, path);
  }
  state.counters["seconds"] = longestOfAll;
}
BENCHMARK(BM_LongestMergeDuringAnImport)
    ->UseManualTime()
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);

/// Without the application's record no stock item is searched for.
void BM_EntryPointMergeWithoutApplication(benchmark::State& state) {
  Setup& setup = TheSetup();
  OEMDMPARAM param = setup.param;
  param.pPublicDMIn = nullptr;
  for (auto _ : state) Merge(state, setup, &param);
}
BENCHMARK(BM_EntryPointMergeWithoutApplication);

// The steps of a merge that use system services.
void BM_CachedConfiguration(benchmark::State& state) {
  Setup& setup = TheSetup();
  Config* config = nullptr;
  for (auto _ : state) {
    if (!CConfigParser::Load(setup.param.hPrinter, &config, setup.cache, &setup.client)) {
      state.SkipWithError("not loaded");
    }
    benchmark::DoNotOptimize(config);
  }
}
void BM_LoadStockItems(benchmark::State& state) {
  Setup& setup = TheSetup();
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        orv::LoadStockItems(setup.param.hPrinter, kPrinter, &setup.client).items.size());
  }
}
void BM_SessionDecides(benchmark::State& state) {
  std::uint32_t read = 0;
  for (auto _ : state) GetSessionReadUDS(&read, kPrinter, kDriver);
}
void BM_SessionCleanUp(benchmark::State& state) {
  for (auto _ : state) CleanupRegSessionData(kPrinter, kDriver);
}
BENCHMARK(BM_CachedConfiguration);
BENCHMARK(BM_LoadStockItems);
BENCHMARK(BM_SessionDecides);
BENCHMARK(BM_SessionCleanUp);

}  // namespace

BENCHMARK_MAIN();
