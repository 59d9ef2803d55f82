// How long the selection takes with 100,000 versions, of which 2,000 are installed.
#include <cstdlib>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "packages_ui/selection/button_states.h"
#include "packages_ui/selection/grid_rows.h"
#include "packages_ui/selection/package_filter.h"
#include "packages_ui/selection/package_order.h"
#include "packages_ui/selection/pending_changes.h"
#include "packages_ui/selection/selection.h"
#include "pkg/list_files.h"
#include "pkg/merged_view.h"

#include "benchmarks/generated_lists.h"

namespace zendro::benchmarks {
using namespace packages_ui;

namespace {

constexpr int kPackages = 33333;
constexpr int kInstalled = 2000;
constexpr int kReferences = 5000;

pkg::pkgs_available_t parsed(std::string text) {
  pkg::read_list_t list = pkg::parse_list(std::move(text));
  if (!list) std::abort();
  return std::move(*list);
}

// Package p0 references 5,000 others, every other one the package of half its number.
std::unique_ptr<PackageTable> table() {
  json::array many;
  for (int i = 0; i < kReferences; ++i) many.emplace_back(package_name(i * 5 + 1));
  const auto reference = [&many](int package, json::object& meta) {
    meta["references"] = package == 0 ? many : json::array{package_name(package / 2)};
    return true;
  };
  const auto is_installed = [](int package, json::object&) {
    return package % (kPackages / kInstalled) == 2;
  };
  return std::make_unique<PackageTable>(
      "xsd", pkg::merged_view_t(parsed(short_list(kPackages, true, reference)),
                                parsed(short_list(kPackages, false, is_installed))));
}

// Agrees to everything; after a change it does what the window does apart from drawing.
class Desk : public SelectionQuestions, public ParentUI {
 public:
  VersionsAnswer latest_all_cancel() override { return VersionsAnswer::all; }
  bool remove_dependants(std::span<const std::wstring>) override { return true; }
  bool remove_used_by(std::span<const std::wstring>) override { return true; }
  void selection_changed() override {
    if (selection == nullptr) return;
    benchmark::DoNotOptimize(summary_text(*selection, L"Apply"));
    benchmark::DoNotOptimize(button_states(*selection));
  }
  void report(const msg::Message&) override {}

  const Selection* selection = nullptr;
};

struct Fixture {
  Fixture() { desk.selection = &selection; }
  Desk desk;
  Selection selection{table(), desk, desk};
};

Fixture& fixture() {
  static Fixture made;
  return made;
}

void make_selection(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    Desk desk;
    auto rows = table();
    state.ResumeTiming();
    auto selection = std::make_unique<Selection>(std::move(rows), desk, desk);
    state.PauseTiming();
    selection.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(make_selection)->Unit(benchmark::kMillisecond);

// Each tick is the first after the list has been loaded.
void tick_with_references(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto fresh = std::make_unique<Fixture>();
    state.ResumeTiming();
    fresh->selection.tick(fresh->selection.table().latest(0));
    state.PauseTiming();
    fresh.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(tick_with_references)->Unit(benchmark::kMillisecond);

void deselect_all(benchmark::State& state) {
  Selection& selection = fixture().selection;
  for (auto _ : state) {
    state.PauseTiming();
    selection.reset();
    selection.tick(selection.table().latest(0));
    state.ResumeTiming();
    selection.deselect_all();
  }
}
BENCHMARK(deselect_all)->Unit(benchmark::kMillisecond);

void reset_selection(benchmark::State& state) {
  Selection& selection = fixture().selection;
  for (auto _ : state) {
    state.PauseTiming();
    selection.tick(selection.table().latest(0));
    state.ResumeTiming();
    selection.reset();
  }
}
BENCHMARK(reset_selection)->Unit(benchmark::kMillisecond);

void first_search(benchmark::State& state) {
  for (auto _ : state) {
    const PackageFilter filter(fixture().selection.table());
    benchmark::DoNotOptimize(filter.matches(L"p1"));
  }
}
BENCHMARK(first_search)->Unit(benchmark::kMillisecond);

void search_keystroke(benchmark::State& state, std::wstring_view text) {
  const Selection& selection = fixture().selection;
  const PackageFilter filter(selection.table());
  const std::vector<PackageId> order = sorted_packages(selection, {});
  benchmark::DoNotOptimize(filter.matches(L"p1"));
  for (auto _ : state) {
    benchmark::DoNotOptimize(GridRows(selection.table(), order, filter.matches(text)));
  }
}
BENCHMARK_CAPTURE(search_keystroke, everything, L"p")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(search_keystroke, few, L"p1234")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(search_keystroke, nothing, L"sentence of")->Unit(benchmark::kMillisecond);

void sort_by(benchmark::State& state, GridColumn column) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(sorted_packages(fixture().selection, SortOrder{column}));
  }
}
BENCHMARK_CAPTURE(sort_by, title, GridColumn::title)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sort_by, state, GridColumn::state)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zendro::benchmarks
