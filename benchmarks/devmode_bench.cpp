// Merges of private records with a cached configuration. Logging is off unless the benchmark's name
// says otherwise; the registry is a new one.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

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

/// Creates stock items of the printer and removes them when destroyed.
class StoredItems {
 public:
  explicit StoredItems(std::int64_t count) {
    for (std::int64_t i = 1; i <= count; ++i) {
      StockItem item;
      item.guid.Data1 = static_cast<std::uint32_t>(i);
      item.DisplayName = L"Shelf " + std::to_wstring(i);
      item.PaperWidth = item.PaperLength = 50000;
      orv::WriteStockItem(path_, item);
    }
  }
  ~StoredItems() { orv::DeleteRegistryTree(HKEY_CURRENT_USER, path_); }

 private:
  const std::wstring path_ = orv::StockItemsPath(kPrinter, kDriver);
};

/// A complete merge through the entry point, including the printer's stock items.
void BM_EntryPointMerge(benchmark::State& state) {
  Setup& setup = TheSetup();
  const StoredItems items(state.range(0));
  for (auto _ : state) {
    if (hrOEMDevMode(&setup.client, setup.cache, kPrinter, OEMDM_MERGE, &setup.param) != S_OK) {
      state.SkipWithError("failed");
    }
  }
}
BENCHMARK(BM_EntryPointMerge)->ArgName("items")->Arg(0)->Arg(5)->Arg(50);

/// Without the application's record no stock item is searched for.
void BM_EntryPointMergeWithoutApplication(benchmark::State& state) {
  Setup& setup = TheSetup();
  OEMDMPARAM param = setup.param;
  param.pPublicDMIn = nullptr;
  for (auto _ : state) {
    if (hrOEMDevMode(&setup.client, setup.cache, kPrinter, OEMDM_MERGE, &param) != S_OK) {
      state.SkipWithError("failed");
    }
  }
}
BENCHMARK(BM_EntryPointMergeWithoutApplication);

// The steps of a merge that use system services.
void BM_CachedConfiguration(benchmark::State& state) {
  Setup& setup = TheSetup();
  Config* config = nullptr;
  for (auto _ : state) {
    CConfigParser::Load(setup.param.hPrinter, &config, setup.cache, &setup.client);
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
