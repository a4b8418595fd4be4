/// Loading a printer's configuration from a file and from the cache: the cost of the first load and
/// of each later one.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/utf8.h"
#include "benchmarks/peers.h"
#include "orv/config/config_parser.h"
#include "orv/config/configs_cache.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/xml/markup.h"
#include "platform/files.h"

namespace {

/// The largest example; it contains every option family.
const std::filesystem::path kExample = ORV_EXAMPLES "/orv_conf_dx600p.xml";

/// The size of a large model's file.
constexpr std::size_t kFileSize = 38'000;

std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The example with additional options in its first family, up to a large model's size, and signed.
std::string LargeConfiguration() {
  std::string text = ReadBytes(kExample);
  const std::size_t first = text.find("          <option>");
  const std::size_t second = text.find("          <option>", first + 1);
  const std::string option = text.substr(first, second - first);
  while (text.size() < kFileSize) text.insert(first, option);
  const std::size_t digest = text.find("\"sha256\">") + 9;
  const std::wstring stated = orv::Utf8ToWide(text.substr(digest, 64));
  return text.replace(digest, 64,
                      orv::WideToUtf8(orv::ConfigDigest(orv::Utf8ToWide(text), stated)));
}

/// That file in plain and in protected form, in a folder that is removed at exit.
struct Files {
  Files() {
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "plain.xml", std::ios::binary) << LargeConfiguration();
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

#if defined(ORV_PUGIXML_WIDE)
/// The minimum work of the peers without files: decrypting the bytes, parsing the text, visiting
/// every element, and computing the digest of the bytes.
void LoadPeers(benchmark::State& state) {
  const std::string plain = ReadBytes(orv::ToPath(files.plain));
  const std::wstring text = orv::Utf8ToWide(plain);
  const auto size = static_cast<int>(plain.size());
  const unsigned char key[32] = {1, 2, 3};
  const unsigned char initVector[16] = {4, 5, 6};
  std::vector<unsigned char> cipher(plain.size() + 16);
  int done = 0;
  int rest = 0;
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
      EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  EVP_EncryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key, initVector);
  EVP_EncryptUpdate(context.get(), cipher.data(), &done,
                    reinterpret_cast<const unsigned char*>(plain.data()), size);
  EVP_EncryptFinal_ex(context.get(), cipher.data() + done, &rest);
  const int length = done + rest;
  std::vector<unsigned char> bytes(plain.size() + 32);
  unsigned char digest[32];
  for (auto _ : state) {
    EVP_DecryptInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key, initVector);
    EVP_DecryptUpdate(context.get(), bytes.data(), &done, cipher.data(), length);
    EVP_DecryptFinal_ex(context.get(), bytes.data() + done, &rest);
    if (done + rest != size) state.SkipWithError("not decrypted");
    if (!orv::bench::PugixmlWideWalk(text).isGood) state.SkipWithError("not parsed");
    EVP_Digest(bytes.data(), plain.size(), digest, nullptr, EVP_sha256(), nullptr);
    benchmark::DoNotOptimize(digest);
  }
}
BENCHMARK(LoadPeers)->Unit(benchmark::kMicrosecond);

void ParseAndWalkPeer(benchmark::State& state) {
  const std::wstring text = CCryptoHelper::LoadFileUTF8(files.plain, nullptr);
  for (auto _ : state) benchmark::DoNotOptimize(orv::bench::PugixmlWideWalk(text));
}
BENCHMARK(ParseAndWalkPeer)->Unit(benchmark::kMicrosecond);
#endif

/// Parses a text into its configuration.
void ParseIntoConfig(benchmark::State& state) {
  const std::wstring text = CCryptoHelper::LoadFileUTF8(files.plain, nullptr);
  for (auto _ : state) {
    CMarkup xml;
    xml.SetDoc(text);
    Config config;
    if (!CConfigParser::Parse(xml, config, nullptr).empty()) state.SkipWithError("not parsed");
    benchmark::DoNotOptimize(config.device.label.widthMax);
  }
}
BENCHMARK(ParseIntoConfig)->Unit(benchmark::kMicrosecond);

/// The steps of a load, measured separately.
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

/// A load served from the cache, on one thread and on two.
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
