// The selection under actions: lists made of the first bytes, then one byte an action. After each
// action what must always hold is compared with what a search of everything finds.
#include "packages_ui/selection/selection.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>

#include "packages_ui/selection/pending_changes.h"
#include "pkg/list_files.h"

#include "fuzz/input.h"

namespace zendro::fuzz {
namespace {

namespace json = boost::json;
using packages_ui::PackageId;
using packages_ui::PackageTable;
using packages_ui::PatchState;
using packages_ui::RowId;
using packages_ui::Selection;
using packages_ui::VersionRow;

constexpr const char* kNames[] = {"a", "ab", "b", "c"};

std::string any_identity(FuzzedDataProvider& bytes) {
  const auto digit = [&] { return std::to_string(bytes.ConsumeIntegralInRange(0, 2)); };
  std::string text = bytes.PickValueInArray(kNames);
  text += "-" + digit() + "." + digit() + "." + digit();
  return text;
}

// References are to exact versions, to lines, or to names.
std::string any_reference(FuzzedDataProvider& bytes) {
  std::string text = any_identity(bytes);
  const int parts = bytes.ConsumeIntegralInRange(0, 3);
  for (int i = 0; i < parts; ++i) text.resize(text.find_last_of(".-"));
  return text;
}

json::object any_packages(FuzzedDataProvider& bytes, int most) {
  json::object packages;
  const int count = bytes.ConsumeIntegralInRange(0, most);
  for (int i = 0; i < count; ++i) {
    json::array references;
    const int reference_count = bytes.ConsumeIntegralInRange(0, 3);
    const std::string identity = any_identity(bytes);
    for (int j = 0; j < reference_count; ++j) references.emplace_back(any_reference(bytes));
    packages[identity] = json::object{{"references", references}};
  }
  return packages;
}

pkg::pkgs_available_t list_of(const json::object& packages) {
  return *pkg::parse_list(json::serialize(packages));
}

std::unique_ptr<PackageTable> any_table(FuzzedDataProvider& bytes) {
  json::object available = any_packages(bytes, 12);
  json::object installed = any_packages(bytes, 4);
  // Mostly what is installed is available, too.
  if (bytes.ConsumeBool()) installed.clear();
  for (const json::key_value_pair& package : available) {
    if (bytes.ConsumeIntegralInRange(0, 3) == 0) installed[package.key()] = package.value();
  }
  available["_DEPRECATED"] = any_packages(bytes, 3);
  return std::make_unique<PackageTable>("xsd",
                                        pkg::merged_view_t(list_of(available), list_of(installed)));
}

using State = std::vector<VersionRow>;

bool same(const State& a, const State& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) {
    return x.checked == y.checked && x.patch == y.patch && x.referenced_by == y.referenced_by;
  });
}

// The user, who answers from the bytes, and what may be asked.
class User : public packages_ui::SelectionQuestions, public packages_ui::ParentUI {
 public:
  explicit User(FuzzedDataProvider& bytes) : bytes_(bytes) {}

  packages_ui::VersionsAnswer latest_all_cancel() override {
    return static_cast<packages_ui::VersionsAnswer>(bytes_.ConsumeIntegralInRange(0, 2));
  }
  bool remove_dependants(std::span<const std::wstring> packages) override {
    require(!packages.empty(), "nobody is asked about nothing");
    refused = !bytes_.ConsumeBool();
    return !refused;
  }
  bool remove_used_by(std::span<const std::wstring> packages) override {
    require(!packages.empty(), "nobody is asked about nothing");
    require(!refused, "who is refused is not asked again");
    return bytes_.ConsumeBool();
  }
  void selection_changed() override { ++changes; }
  void report(const msg::Message&) override {}

  [[nodiscard]] State state() const { return {selection->rows().begin(), selection->rows().end()}; }

  Selection* selection = nullptr;
  int changes = 0;
  bool refused = false;

 private:
  FuzzedDataProvider& bytes_;
};

// What the ticks say will be installed, a chosen patch standing for its new level.
std::set<RowId> target_of(const Selection& selection) {
  std::set<RowId> target;
  for (RowId row = 0; row < selection.rows().size(); ++row) {
    const VersionRow& version = selection.row(row);
    if (!version.checked) continue;
    const bool is_patched = version.patch == PatchState::chosen;
    target.insert(is_patched ? selection.table().patch_for(row) : row);
  }
  return target;
}

// What the plan comes to.
std::set<RowId> outcome_of(const Selection& selection) {
  const PackageTable& table = selection.table();
  const auto& plan = selection.plan();
  std::set<RowId> outcome(table.installed_rows().begin(), table.installed_rows().end());
  for (const auto* package : plan.removed) outcome.erase(table.row_of(*package));
  for (const auto& replaced : plan.replaced) outcome.erase(table.row_of(*replaced.old_level));
  for (const auto& kept : plan.kept_levels) outcome.insert(table.row_of(*kept.package));
  for (const auto& install : plan.installs) outcome.insert(table.row_of(*install.package));
  return outcome;
}

void check_rows(const Selection& selection) {
  const PackageTable& table = selection.table();
  for (RowId row = 0; row < selection.rows().size(); ++row) {
    const VersionRow& version = selection.row(row);
    require(selection.wanted(row) || version.referenced_by.empty(), "only ticks have causes");
    require(!version.checked || table.choosable(row), "only what can be chosen is ticked");
    for (const RowId referrer : version.referenced_by) {
      require(selection.wanted(referrer), "the cause of a tick is wanted");
    }
    const bool has_patch =
        version.installed && version.checked && table.patch_for(row) != packages_ui::kNoRow;
    require(version.patch == PatchState::none || has_patch, "patches are of installed versions");
  }
  for (PackageId package = 0; package < table.package_count(); ++package) {
    (void)selection.package_check(package);
  }
}

void check_state(const Selection& selection) {
  check_rows(selection);
  require(selection.plan().kept.empty(), "nothing is unticked that would not go");
  require(target_of(selection) == outcome_of(selection), "ticks tell the truth");

  const auto changes = packages_ui::pending_changes(selection);
  std::set<std::pair<std::string, int>> once;
  for (const auto& request : packages_ui::pending_actions(selection)) {
    require(once.insert(request).second, "no request is made twice");
  }
  require(changes.empty() == once.empty(), "what is pending is requested");
}

void act(FuzzedDataProvider& bytes, User& user, Selection& selection, const State& at_first) {
  const PackageTable& table = selection.table();
  const State before = user.state();
  const int action = bytes.ConsumeIntegralInRange(0, 15);
  const auto row =
      static_cast<RowId>(bytes.ConsumeIntegralInRange<std::size_t>(0, selection.rows().size() - 1));
  user.refused = false;
  user.changes = 0;
  if (action < 9) {
    const bool was_wanted = selection.wanted(row);
    selection.toggle_version(row);
    if (user.refused) {
      require(same(before, user.state()), "who is refused changes nothing");
    } else if (!was_wanted) {
      require(selection.wanted(row) == table.choosable(row), "what is ticked is ticked");
    }
  } else if (action < 12) {
    selection.toggle_package(table.package_of(row));
  } else if (action == 12) {
    selection.tick(row);
  } else if (action == 13) {
    selection.choose_patch(row);
    require(selection.row(row).patch != PatchState::available, "a patch is chosen");
  } else if (action == 14) {
    selection.deselect_all();
    for (const VersionRow& version : selection.rows())
      require(!version.checked, "nothing is ticked");
  } else if (bytes.ConsumeBool()) {
    selection.reset();
    require(same(user.state(), at_first), "a reset leads to the beginning");
  } else {
    const std::string identity = any_reference(bytes);
    selection.preselect({&identity, 1});
    const RowId best = table.find_best(identity);
    require(best == packages_ui::kNoRow || !table.choosable(best) || selection.wanted(best) ||
                table.version(best).installed,
            "a wish is ticked");
  }
  check_state(selection);
  require(same(before, user.state()) || user.changes > 0, "a change is told");
}

void run(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider bytes(data, size);
  User user(bytes);
  Selection selection(any_table(bytes), user, user);
  user.selection = &selection;
  if (selection.rows().empty()) return;
  const State at_first = user.state();
  check_state(selection);
  while (bytes.remaining_bytes() > 0) act(bytes, user, selection, at_first);
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(data, size);
  return 0;
}
