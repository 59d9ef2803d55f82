#include "framework/system/files.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"
#include "store/settings.h"
#include "store/whole_file.h"

namespace zendro::store {
namespace {

// Version control must not change line ends in what goes into members.
constexpr const char* kAttributesName = ".gitattributes";
constexpr const char* kAttributes = "packages/*/*/files/** -text\n";

}  // namespace

int init(Session& session) {
  const Arguments& arguments = session.arguments();
  const std::filesystem::path store = framework::path_from_utf8(arguments.place);
  if (!framework::is_missing(store / kSettingsName)) {
    return session.fail({arguments.place + ": there is a store already"});
  }
  Settings settings = default_settings(arguments.type);
  settings.url = arguments.url;
  if (!settings.url.empty() && !settings.url.ends_with('/')) settings.url += '/';
  if (!settings.url.empty() && !is_store_url(settings.url)) {
    return session.fail({arguments.url +
                         ": no store can be served there; write an address as in --url "
                         "https://store.example/xsd/"});
  }
  if (auto made = framework::create_folders(store / "packages"); !made) {
    return session.fail(made.error());
  }
  if (framework::is_missing(store / kAttributesName)) {
    auto done = write_whole_file(store / kAttributesName, kAttributes);
    if (!done) return session.fail(done.error());
  }
  if (auto done = write_settings(settings, store); !done) return session.fail(done.error());
  session.output().note(arguments.place + " is an empty store of type " + settings.type +
                        ". Next: zendro-store add " + arguments.place +
                        " SOURCE --name NAME --version 1.0.0");
  return console::kDone;
}

}  // namespace zendro::store
