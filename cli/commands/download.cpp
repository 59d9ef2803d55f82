#include <filesystem>

#include "app/options/package_types.h"
#include "framework/system/files.h"

#include "cli/commands/commands.h"
#include "console/exit_status.h"

namespace zendro::cli {

int download(Session& session) {
  const Arguments& arguments = session.arguments();
  const std::string extension(app::package_type(arguments.type).file_extension);
  std::string path = arguments.output;
  if (!path.ends_with(extension)) {
    const std::filesystem::path folder = framework::path_from_utf8(path);
    if (const auto made = framework::create_folders(folder); !made) {
      const std::string& cause = made.error().text;
      session.output().message({{}, {}, msg::Severity::error, named(L"", cause).second});
      return console::kFailed;
    }
    const std::string name = arguments.filters.front() + extension;
    path = framework::path_to_utf8(folder / framework::path_from_utf8(name));
  }
  const bool done = session.cache().write_package_file(arguments.filters, path);
  const int status = session.status_of(done);
  if (status == console::kDone) session.output().note(Text::written, {named(L"path", path)});
  session.output().result("file", json::value(json::string(path)));
  return status;
}

}  // namespace zendro::cli
