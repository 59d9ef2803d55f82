#include "packages_ui/selection/dependants.h"

#include <map>

namespace zendro::packages_ui {

Dependants::Dependants(const Selection& selection)
    : selection_(selection), table_(selection.table()) {
  referrers_.reserve(selection.plan().requests.size());
  for (const pkg::request_t& request : selection.plan().requests) {
    const pkg::list_position place = table_.available_place(table_.row_of(*request.package));
    for (const pkg::list_position found : table_.planner().references(place).found) {
      referrers_[found].push_back(place);
    }
  }
}

std::vector<RowId> Dependants::with_dependants(std::span<const RowId> rows) const {
  std::set<Node> reached;
  std::vector<Node> open;
  const auto reach = [&](const Node& node) {
    if (node.kind == Node::Kind::version && !selection_.wanted(row_of(node))) return;
    if (reached.insert(node).second) open.push_back(node);
  };
  for (const RowId row : rows) reach(version_node(row));
  while (!open.empty()) {
    const Node node = open.back();
    open.pop_back();
    for (const Node& user : users_of(node)) reach(user);
    if (node.kind != Node::Kind::version) continue;
    // A patch goes with the version that it is for.
    const RowId row = row_of(node);
    if (selection_.row(row).patch == PatchState::chosen) reach(version_node(table_.patch_for(row)));
  }

  std::vector<RowId> found;
  for (const Node& node : reached) {
    if (node.kind == Node::Kind::version) found.push_back(row_of(node));
  }
  return found;
}

// What needs a node directly.
std::vector<Dependants::Node> Dependants::users_of(const Node& node) const {
  switch (node.kind) {
    case Node::Kind::version:
      return users_of_version(row_of(node));
    case Node::Kind::request:
      return users_of_request(static_cast<pkg::list_position>(node.number));
    case Node::Kind::text:
      return users_of_text(node.number);
  }
  return {};
}

// The texts that hold the version where it is installed, and the requests that come to nothing but
// having it: for the version itself, and for older levels that it stands in for.
std::vector<Dependants::Node> Dependants::users_of_version(RowId row) const {
  std::vector<Node> users;
  if (selection_.row(row).installed) {
    const pkg::name_semver_t& identity = table_.version(row).identity;
    for (const std::size_t text : table_.planner().installed_referrers().texts_for(identity)) {
      users.push_back({Node::Kind::text, text});
    }
  }
  const RowId first = table_.versions_of(table_.package_of(row)).first;
  for (RowId level = row + 1; level-- > first;) {
    if (level != row && standing_in(level) != row) break;
    if (!table_.version(level).available) continue;
    users.push_back({Node::Kind::request, table_.available_place(level)});
  }
  return users;
}

// A referrer that an installed level stands in for is not installed itself: what it references is
// needed by whoever requests it.
std::vector<Dependants::Node> Dependants::users_of_request(pkg::list_position place) const {
  std::vector<Node> users;
  const auto referrers = referrers_.find(place);
  if (referrers == referrers_.end()) return users;
  for (const pkg::list_position referrer : referrers->second) {
    const RowId row = table_.available_rows()[referrer];
    const bool is_passed_on = standing_in(row) != kNoRow;
    users.push_back(is_passed_on ? Node{Node::Kind::request, referrer} : version_node(row));
  }
  return users;
}

std::vector<Dependants::Node> Dependants::users_of_text(std::size_t text) const {
  std::vector<Node> users;
  for (const pkg::list_position place :
       table_.planner().installed_referrers().packages_with(text)) {
    const RowId row = table_.installed_rows()[place];
    if (selection_.row(row).checked) users.push_back(version_node(row));
  }
  return users;
}

// The installed level that an install takes for this version.
RowId Dependants::standing_in(RowId available) const {
  const RowId level = table_.installed_level(available);
  return level != kNoRow && level >= available ? level : kNoRow;
}

std::vector<RowId> Dependants::left_unused(std::span<const RowId> removed) const {
  const std::set<RowId> candidates = used_by(removed);

  // What something else needs stays, and what that needs; a circle alone holds nothing.
  std::map<Node, std::vector<Node>> needs;
  std::vector<Node> staying;
  std::set<Node> seen;
  std::vector<Node> open;
  for (const RowId row : candidates) open.push_back(version_node(row));
  while (!open.empty()) {
    const Node node = open.back();
    open.pop_back();
    if (!seen.insert(node).second) continue;
    for (const Node& user : users_of(node)) {
      if (user.kind != Node::Kind::version || candidates.contains(row_of(user))) {
        needs[user].push_back(node);
        open.push_back(user);
      } else if (selection_.wanted(row_of(user))) {
        staying.push_back(node);
      }
    }
  }
  std::set<Node> needed;
  while (!staying.empty()) {
    const Node node = staying.back();
    staying.pop_back();
    if (!needed.insert(node).second) continue;
    const std::vector<Node>& more = needs[node];
    staying.insert(staying.end(), more.begin(), more.end());
  }

  std::vector<RowId> unused;
  for (const RowId row : candidates) {
    if (!needed.contains(version_node(row))) unused.push_back(row);
  }
  return unused;
}

// The wanted versions that the removed ones referenced, directly or through each other.
std::set<RowId> Dependants::used_by(std::span<const RowId> removed) const {
  std::set<RowId> wanted;
  std::vector<RowId> used;
  std::vector<bool> passed(table_.version_count());
  for (const RowId row : removed) add_used_by(row, passed, used);
  for (std::size_t next = 0; next < used.size(); ++next) {
    const RowId row = used[next];
    if (!selection_.wanted(row) || !wanted.insert(row).second) continue;
    add_used_by(row, passed, used);
  }
  return wanted;
}

// Adds the versions that serve the references of a version. What an installed version would
// reference if it were installed now is needed along with it, once.
void Dependants::add_used_by(RowId row, std::vector<bool>& passed, std::vector<RowId>& used) const {
  if (selection_.row(row).installed) {
    const auto& references = table_.planner().installed_references(table_.installed_place(row));
    for (const pkg::list_position found : references.found) {
      used.push_back(table_.installed_rows()[found]);
    }
    return;
  }
  std::vector<RowId> open{row};
  while (!open.empty()) {
    const pkg::list_position place = table_.available_place(open.back());
    open.pop_back();
    for (const pkg::list_position found : table_.planner().references(place).found) {
      const RowId target = table_.available_rows()[found];
      const RowId level = standing_in(target);
      used.push_back(level == kNoRow ? target : level);
      if (level == kNoRow || passed[target]) continue;
      passed[target] = true;
      open.push_back(target);
    }
  }
}

}  // namespace zendro::packages_ui
