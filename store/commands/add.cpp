#include "store/add.h"

#include <algorithm>

#include "framework/system/files.h"

#include "console/exit_status.h"
#include "console/table.h"
#include "store/commands/commands.h"

namespace zendro::store {
namespace {

std::string needs(const Demand& demand) {
  if (!demand.public_id.empty()) return demand.public_id;
  return demand.location.empty() ? demand.xml_namespace : demand.location;
}

void show_demands(const std::vector<Fulfilment>& demands, console::Output& output) {
  std::vector<std::vector<std::string>> rows;
  json::array open;
  for (const Fulfilment& demand : demands) {
    const OpenDemand& one = demand.open;
    std::vector<std::string> row = {demand.reference.empty() ? "nothing here" : demand.reference,
                                    one.path, needs(one.demand)};
    if (std::find(rows.begin(), rows.end(), row) == rows.end()) rows.push_back(std::move(row));
    open.push_back(json::object{{"path", one.path},
                                {"location", one.demand.location},
                                {"namespace", one.demand.xml_namespace},
                                {"public_id", one.demand.public_id},
                                {"reference", demand.reference}});
  }
  if (!rows.empty()) console::write_table(output, {"FULFILLED BY", "FILE", "NEEDS"}, rows);
  output.result("demands", std::move(open));
}

std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

int add(Session& session) {
  const Arguments& arguments = session.arguments();
  console::Output& output = session.output();
  const Wanted wanted{arguments.name,        arguments.version,   arguments.title,
                      arguments.description, arguments.homepage,  arguments.publisher,
                      arguments.references,  arguments.conflicts, arguments.replace};
  const auto added =
      add_package(framework::path_from_utf8(arguments.place), arguments.sources, wanted);
  if (!added) return session.fail(added.error());
  for (const std::string& remark : added->remarks) output.warning(remark);
  const std::string identity = to_string(added->description.identity);
  output.line(identity + ": " + counted(added->files, "file") + ", " +
              counted(added->locations, "location") + ", " +
              counted(added->namespaces, "namespace") + ", " +
              counted(added->public_ids, "public identifier"));
  show_demands(added->demands, output);
  if (std::any_of(added->demands.begin(), added->demands.end(),
                  [](const Fulfilment& demand) { return demand.reference.empty(); })) {
    output.note("What nothing here fulfils may be in a package that is yet to be added; then add " +
                identity + " again with --replace.");
  }
  for (const Description& changed : added->changed) {
    output.note(to_string(changed.identity) + " has its schema under a further location now, as " +
                identity + " asks for it");
  }
  const std::string folder = framework::path_to_utf8(added->description.folder);
  output.note("Described in " + folder + "/package.json, where all of it can be changed.");
  output.result("package", json::value(json::string(identity)));
  output.result("folder", json::value(json::string(folder)));
  return console::kDone;
}

}  // namespace zendro::store
