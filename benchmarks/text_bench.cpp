/// Conversion between UTF-8 and wide text, in bytes of UTF-8 a second, beside the C library's
/// iconv.

#include <benchmark/benchmark.h>
#include <iconv.h>

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

/// Converts into a new text of as many units as there may be at most.
template <typename Text, typename Source>
Text Iconv(iconv_t conversion, const Source& source, std::size_t most) {
  Text text(most, 0);
  char* in = const_cast<char*>(reinterpret_cast<const char*>(source.data()));
  char* out = reinterpret_cast<char*>(text.data());
  std::size_t left = source.size() * sizeof source[0];
  std::size_t room = text.size() * sizeof text[0];
  iconv(conversion, &in, &left, &out, &room);
  text.resize(text.size() - room / sizeof text[0]);
  return text;
}

void IconvDecode(benchmark::State& state, const char* text) {
  const std::string bytes = Repeat(text);
  const iconv_t conversion = iconv_open("UTF-16LE", "UTF-8");
  for (auto _ : state) {
    benchmark::DoNotOptimize(Iconv<std::u16string>(conversion, bytes, bytes.size()));
  }
  iconv_close(conversion);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void IconvEncode(benchmark::State& state, const char* text) {
  const std::string bytes = Repeat(text);
  const std::wstring wide = orv::Utf8ToWide(bytes);
  const std::u16string units(wide.begin(), wide.end());
  const iconv_t conversion = iconv_open("UTF-8", "UTF-16LE");
  for (auto _ : state) {
    benchmark::DoNotOptimize(Iconv<std::string>(conversion, units, 3 * units.size()));
  }
  iconv_close(conversion);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

constexpr char kAscii[] = "<property name=\"widthDefault\">60000</property>\n";
constexpr char kMixed[] = "Stra\u00dfe, caf\u00e9: 60000 \u20ac \U0001F600\n";

BENCHMARK_CAPTURE(Decode, ascii, kAscii);
BENCHMARK_CAPTURE(IconvDecode, ascii, kAscii);
BENCHMARK_CAPTURE(Decode, mixed, kMixed);
BENCHMARK_CAPTURE(IconvDecode, mixed, kMixed);
BENCHMARK_CAPTURE(Encode, ascii, kAscii);
BENCHMARK_CAPTURE(IconvEncode, ascii, kAscii);
BENCHMARK_CAPTURE(Encode, mixed, kMixed);
BENCHMARK_CAPTURE(IconvEncode, mixed, kMixed);

}  // namespace

BENCHMARK_MAIN();
