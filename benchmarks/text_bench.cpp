/// Conversion between UTF-8 and wide text, in bytes of UTF-8 a second.

#include <benchmark/benchmark.h>

#include <string>

#include "orv/text/utf8.h"

namespace {

/// Half a megabyte of a text's repetitions.
std::string Repeat(const char* text) {
  std::string repeated;
  while (repeated.size() < 500'000) repeated += text;
  return repeated;
}

void Decode(benchmark::State& state, const char* text) {
  const std::string bytes = Repeat(text);
  for (auto _ : state) benchmark::DoNotOptimize(orv::Utf8ToWide(bytes));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void Encode(benchmark::State& state, const char* text) {
  const std::string bytes = Repeat(text);
  const std::wstring wide = orv::Utf8ToWide(bytes);
  for (auto _ : state) benchmark::DoNotOptimize(orv::WideToUtf8(wide));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

constexpr char kAscii[] = "<property name=\"widthDefault\">60000</property>\n";
constexpr char kMixed[] = "Stra\u00dfe, caf\u00e9: 60000 \u20ac \U0001F600\n";

BENCHMARK_CAPTURE(Decode, ascii, kAscii);
BENCHMARK_CAPTURE(Decode, mixed, kMixed);
BENCHMARK_CAPTURE(Encode, ascii, kAscii);
BENCHMARK_CAPTURE(Encode, mixed, kMixed);

}  // namespace

BENCHMARK_MAIN();
