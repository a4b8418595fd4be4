// Parsing texts made to be slow, at one, two and four million units: the time of each is to grow as
// its length does. The units a second, which stay about the same then, are printed.

#include <benchmark/benchmark.h>

#include "orv/xml/markup.h"
#include "tests/hostile_texts.h"

int main(int argc, char** argv) {
  for (const orv::test::HostileText& hostile : orv::test::kHostileTexts) {
    benchmark::RegisterBenchmark(
        hostile.name,
        [&hostile](benchmark::State& state) {
          const std::wstring text = hostile.Make(static_cast<std::size_t>(state.range(0)));
          for (auto _ : state) {
            CMarkup doc;
            benchmark::DoNotOptimize(doc.SetDoc(text));
          }
          state.SetItemsProcessed(static_cast<std::int64_t>(text.size() * state.iterations()));
          state.SetComplexityN(state.range(0));
        })
        ->RangeMultiplier(2)
        ->Range(1 << 20, 4 << 20)
        ->Unit(benchmark::kMillisecond)
        ->Complexity();
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
