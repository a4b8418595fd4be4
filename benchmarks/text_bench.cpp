/// Conversion between UTF-8 and wide text in bytes of UTF-8 per second, compared with the C
/// library's iconv.

#include <benchmark/benchmark.h>
#include <iconv.h>

#include <string>

#include "base/utf8.h"

namespace {

/// Half a megabyte of random words made from `letters`. The words have random lengths, so branches
/// cannot be predicted from previous words.
std::string Words(const std::wstring& letters) {
  std::wstring text;
  std::uint32_t state = 1;
  const auto random = [&state](std::size_t limit) {
    state = state * 1664525 + 1013904223;
    return (state >> 8) % limit;
  };
  while (text.size() < 500'000) {
    for (std::size_t n = 2 + random(9); n > 0; --n) text += letters[random(letters.size())];
    text += L' ';
  }
  return orv::WideToUtf8(text).substr(0, 500'000);
}

void Decode(benchmark::State& state, const std::wstring& letters) {
  const std::string bytes = Words(letters);
  for (auto _ : state) benchmark::DoNotOptimize(orv::Utf8ToWide(bytes));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void Encode(benchmark::State& state, const std::wstring& letters) {
  const std::string bytes = Words(letters);
  const std::wstring wide = orv::Utf8ToWide(bytes);
  for (auto _ : state) benchmark::DoNotOptimize(orv::WideToUtf8(wide));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

/// Converts into a new text that is allocated with the maximum number of code units.
template <typename Text, typename Source>
Text Iconv(iconv_t conversion, const Source& source, std::size_t maxLength) {
  Text text(maxLength, 0);
  char* in = const_cast<char*>(reinterpret_cast<const char*>(source.data()));
  char* out = reinterpret_cast<char*>(text.data());
  std::size_t left = source.size() * sizeof source[0];
  std::size_t room = text.size() * sizeof text[0];
  iconv(conversion, &in, &left, &out, &room);
  text.resize(text.size() - room / sizeof text[0]);
  return text;
}

void IconvDecode(benchmark::State& state, const std::wstring& letters) {
  const std::string bytes = Words(letters);
  const iconv_t conversion = iconv_open("UTF-16LE", "UTF-8");
  for (auto _ : state) {
    benchmark::DoNotOptimize(Iconv<std::u16string>(conversion, bytes, bytes.size()));
  }
  iconv_close(conversion);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

void IconvEncode(benchmark::State& state, const std::wstring& letters) {
  const std::string bytes = Words(letters);
  const std::wstring wide = orv::Utf8ToWide(bytes);
  const std::u16string units(wide.begin(), wide.end());
  const iconv_t conversion = iconv_open("UTF-8", "UTF-16LE");
  for (auto _ : state) {
    benchmark::DoNotOptimize(Iconv<std::string>(conversion, units, 3 * units.size()));
  }
  iconv_close(conversion);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

const std::wstring kAscii = L"<property name=\"widthDefault\">60000</property>";
const std::wstring kGerman =
    L"eeeennniissrraattddhhuullccggmmoobbwwffkkzzppvvj\u00e4\u00f6\u00fc\u00df";
const std::wstring kGreek =
    L"\u03b1\u03b2\u03b3\u03b4\u03b5\u03b9\u03ba\u03bb\u03bc\u03bd\u03bf\u03c0\u03c1";
const std::wstring kChinese = L"\u7684\u4e00\u662f\u4e0d\u4e86\u4eba\u6211\u5728\u6709";

BENCHMARK_CAPTURE(Decode, ascii, kAscii);
BENCHMARK_CAPTURE(IconvDecode, ascii, kAscii);
BENCHMARK_CAPTURE(Encode, ascii, kAscii);
BENCHMARK_CAPTURE(IconvEncode, ascii, kAscii);
BENCHMARK_CAPTURE(Decode, german, kGerman);
BENCHMARK_CAPTURE(IconvDecode, german, kGerman);
BENCHMARK_CAPTURE(Encode, german, kGerman);
BENCHMARK_CAPTURE(IconvEncode, german, kGerman);
BENCHMARK_CAPTURE(Decode, greek, kGreek);
BENCHMARK_CAPTURE(IconvDecode, greek, kGreek);
BENCHMARK_CAPTURE(Encode, greek, kGreek);
BENCHMARK_CAPTURE(IconvEncode, greek, kGreek);
BENCHMARK_CAPTURE(Decode, chinese, kChinese);
BENCHMARK_CAPTURE(IconvDecode, chinese, kChinese);
BENCHMARK_CAPTURE(Encode, chinese, kChinese);
BENCHMARK_CAPTURE(IconvEncode, chinese, kChinese);

}  // namespace

BENCHMARK_MAIN();
