// Parses hostile texts of one, two and four million code units: the time must grow in proportion to
// the length. The output contains the code units per second, which should be about constant. The
// exit code is 1 if four million are parsed at less than a third of the speed of one million.
// Quadratic time would make that a quarter; a busy machine or a small cache stays above a third.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>

#include "orv/xml/markup.h"
#include "tests/hostile_texts.h"

namespace {

/// Prints as usual, and stores the best speed of each text over all its runs.
class Speeds : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const auto speed = run.counters.find("items_per_second");
      if (run.run_type != Run::RT_Iteration || speed == run.counters.end()) continue;
      double& best = speeds_[run.run_name.function_name][std::stol(run.run_name.args)];
      best = std::max<double>(best, speed->second);
    }
  }

  /// Reports the texts whose time is not proportional to the length; returns true if there are
  /// none.
  bool AreInProportion() const {
    constexpr double kMaxRatio = 3;
    bool areAll = true;
    for (const auto& [text, ofLength] : speeds_) {
      const double ratio = ofLength.begin()->second / ofLength.rbegin()->second;
      if (ratio <= kMaxRatio) continue;
      std::fprintf(stderr, "%s: a code unit takes %.1f times as long in the longest text\n",
                   text.c_str(), ratio);
      areAll = false;
    }
    return areAll;
  }

 private:
  std::map<std::string, std::map<long, double>> speeds_;
};

}  // namespace

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
  Speeds speeds;
  benchmark::RunSpecifiedBenchmarks(&speeds);
  return speeds.AreInProportion() ? 0 : 1;
}
