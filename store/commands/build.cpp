#include "store/build.h"

#include "framework/system/files.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"

namespace zendro::store {

int build(Session& session) {
  const Arguments& arguments = session.arguments();
  console::Output& output = session.output();
  const BuildEvents events{[&](const std::string& warning) { output.warning(warning); },
                           [&](std::size_t done, std::size_t all) {
                             pkg::progress_t progress;
                             progress.members_done = done;
                             progress.members = all;
                             output.progress(progress);
                           }};
  const std::stop_token stop = session.stop_token();
  const auto built = build_tree(framework::path_from_utf8(arguments.place),
                                framework::path_from_utf8(arguments.output), events, stop);
  if (!built) {
    for (const std::string& fault : built.error()) output.error(fault);
    return stop.stop_requested() ? console::kInterrupted : console::kFailed;
  }
  const std::string number = "build " + std::to_string(built->build_number);
  output.line(built->is_changed
                  ? number + ": " + std::to_string(built->packages) + " package versions, " +
                        std::to_string(built->packed) + " of them packed"
                  : number + " holds all of it already");
  if (built->left_behind > 0) {
    output.note(std::to_string(built->left_behind) +
                " members are in no list now; they stay where managers with older lists look for "
                "them");
  }
  if (built->is_unsigned_now) {
    output.warning("the signature was that of the old list; run \"zendro-store sign\" again");
  }
  output.result("build_number", built->build_number);
  output.result("changed", built->is_changed);
  output.result("packages", built->packages);
  output.result("packed", built->packed);
  return console::kDone;
}

}  // namespace zendro::store
