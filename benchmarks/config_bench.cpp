/// From a file to the configuration record, and from the cache: what a driver pays for the first
/// load of a printer's configuration and for each one after it.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "orv/config/config_parser.h"
#include "orv/config/configs_cache.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/platform/files.h"
#include "orv/xml/markup.h"

namespace {

/// The largest example, which has every option family.
const std::filesystem::path kExample = ORV_EXAMPLES "/orv_conf_dx600p.xml";

/// That file as it is and protected, in a folder that is removed at the end.
struct Files {
  Files() {
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(kExample, folder / "plain.xml",
                               std::filesystem::copy_options::overwrite_existing);
    if (CCryptoHelper::AesEncryptFile(plain, protectedForm, nullptr) != 0) {
      throw std::runtime_error("cannot write the benchmark's files");
    }
  }
  ~Files() { std::filesystem::remove_all(folder); }

  std::filesystem::path folder = std::filesystem::temp_directory_path() / "orv_config_bench";
  std::wstring plain = orv::FromPath(folder / "plain.xml");
  std::wstring protectedForm = orv::FromPath(folder / "protected.xml");
};
const Files files;

void Load(benchmark::State& state, const std::wstring& path) {
  for (auto _ : state) {
    Config* config = nullptr;
    if (!CConfigParser::Load(path, &config, nullptr, nullptr)) state.SkipWithError("not loaded");
    const std::unique_ptr<Config> owned(config);
    benchmark::DoNotOptimize(owned->device.label.widthMax);
  }
  state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(orv::ToPath(path)));
}
void LoadProtected(benchmark::State& state) { Load(state, files.protectedForm); }
void LoadPlain(benchmark::State& state) { Load(state, files.plain); }
BENCHMARK(LoadProtected)->Unit(benchmark::kMicrosecond);
BENCHMARK(LoadPlain)->Unit(benchmark::kMicrosecond);

/// The steps of a load, to see where its time goes.
void LoadText(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(CCryptoHelper::LoadFileUTF8(files.protectedForm, nullptr));
  }
}
void IndexText(benchmark::State& state) {
  const std::wstring text = CCryptoHelper::LoadFileUTF8(files.plain, nullptr);
  for (auto _ : state) {
    CMarkup xml;
    benchmark::DoNotOptimize(xml.SetDoc(text));
  }
}
void ParseIndexed(benchmark::State& state) {
  CMarkup xml(CCryptoHelper::LoadFileUTF8(files.plain, nullptr));
  for (auto _ : state) {
    xml.ResetPos();
    Config config;
    if (!CConfigParser::Parse(xml, config, nullptr).empty()) state.SkipWithError("not parsed");
    benchmark::DoNotOptimize(config.device.label.widthMax);
  }
}
void ComputeDigest(benchmark::State& state) {
  const std::wstring text = CCryptoHelper::LoadFileUTF8(files.plain, nullptr);
  CMarkup xml(text);
  Config config;
  CConfigParser::Parse(xml, config, nullptr);
  for (auto _ : state) benchmark::DoNotOptimize(orv::ConfigDigest(text, config.fileInfo.sha256));
}
BENCHMARK(LoadText)->Unit(benchmark::kMicrosecond);
BENCHMARK(IndexText)->Unit(benchmark::kMicrosecond);
BENCHMARK(ParseIndexed)->Unit(benchmark::kMicrosecond);
BENCHMARK(ComputeDigest)->Unit(benchmark::kMicrosecond);

/// A load that the cache answers, alone and with other threads at it.
void LoadCached(benchmark::State& state) {
  static ConfigsCache* const cache = ConfigsCache::GetInstance();
  for (auto _ : state) {
    Config* config = nullptr;
    CConfigParser::Load(files.protectedForm, &config, cache, nullptr);
    benchmark::DoNotOptimize(config);
  }
}
BENCHMARK(LoadCached)->Threads(1)->Threads(2);

}  // namespace

BENCHMARK_MAIN();
