#include "cli/plan_view.h"

#include <map>
#include <vector>

namespace zendro::cli {
namespace {

using pkg::package_t;

struct Step {
  std::string package;
  Text why;
  std::string other;     // may be empty
  std::string replaced;  // may be empty
};
using Steps = std::vector<Step>;

std::string text_of(const package_t& package) { return pkg::to_string(package.identity); }

Steps installs(const pkg::plan_t& plan) {
  std::map<const package_t*, const package_t*> old_levels;
  for (const pkg::replacement_t& replacement : plan.replaced) {
    for (const package_t* level : replacement.new_levels) old_levels[level] = replacement.old_level;
  }
  Steps steps;
  for (const pkg::request_t& install : plan.installs) {
    const auto old = old_levels.find(install.package);
    const bool is_needed = install.needed_by != nullptr;
    steps.push_back({text_of(*install.package), is_needed ? Text::needed_by : Text::asked_for,
                     is_needed ? text_of(*install.needed_by) : "",
                     old == old_levels.end() ? "" : text_of(*old->second)});
  }
  return steps;
}

Steps uninstalls(const pkg::plan_t& plan) {
  Steps steps;
  for (const package_t* package : plan.removed) {
    const bool was_asked = !plan.unasked.contains(package->identity);
    steps.push_back({text_of(*package), was_asked ? Text::asked_for : Text::gone_along, "", ""});
  }
  return steps;
}

Steps already(const pkg::plan_t& plan) {
  Steps steps;
  for (const package_t* package : plan.already) {
    for (const pkg::request_t& request : plan.requests) {
      if (request.package != package) continue;
      const bool is_needed = request.needed_by != nullptr;
      steps.push_back({text_of(*package), is_needed ? Text::needed_by : Text::asked_for,
                       is_needed ? text_of(*request.needed_by) : "", ""});
    }
  }
  return steps;
}

Steps kept(const pkg::plan_t& plan) {
  Steps steps;
  for (const auto* all : {&plan.kept, &plan.kept_levels}) {
    for (const auto& [package, referrer] : *all) {
      steps.push_back({text_of(*package), Text::still_referenced, text_of(*referrer), ""});
    }
  }
  return steps;
}

void write(Output& output, Text head, const Steps& steps) {
  if (steps.empty()) return;
  output.heading(filled(head));
  for (const auto& [package, why, other, replaced] : steps) {
    std::string line = "  " + shown(package) + "  (" + filled(why, {named(L"package", other)});
    if (!replaced.empty()) line += ", " + filled(Text::replaces, {named(L"package", replaced)});
    output.line(line + ")");
  }
}

json::array array_of(const Steps& steps) {
  json::array all;
  for (const auto& [package, why, other, replaced] : steps) {
    json::object step = {{"package", package}, {"why", identifier_of(why)}};
    if (!other.empty()) step["other"] = other;
    if (!replaced.empty()) step["replaces"] = replaced;
    all.push_back(std::move(step));
  }
  return all;
}

}  // namespace

bool changes_anything(const pkg::plan_t& plan) {
  return !plan.installs.empty() || !plan.removed.empty();
}

void show_plan(Output& output, const pkg::plan_t& plan) {
  const Steps installed = installs(plan);
  const Steps removed = uninstalls(plan);
  const Steps present = already(plan);
  const Steps staying = kept(plan);
  if (output.is_json()) {
    output.event("plan", {{"install", array_of(installed)},
                          {"uninstall", array_of(removed)},
                          {"already", array_of(present)},
                          {"stay", array_of(staying)}});
    return;
  }
  write(output, Text::plan_install, installed);
  write(output, Text::plan_uninstall, removed);
  write(output, Text::plan_already, present);
  write(output, Text::plan_kept, staying);
}

}  // namespace zendro::cli
