#include <vector>

#include "framework/url/url_io.h"
#include "pkg/pkg_io.h"

#include "cli/commands/commands.h"
#include "console/exit_status.h"

namespace zendro::cli {
namespace {

int fail(Session& session, const framework::IoError& error) {
  session.output().message({{}, {}, msg::Severity::error, named(L"", error.text).second});
  return console::kFailed;
}

}  // namespace

int cat(Session& session) {
  const std::string& url = session.arguments().text;
  pkg::PkgIOCallback packages(std::make_shared<const json::object>(session.cache().options()));
  const auto stream = packages.create(url);
  if (!stream) {
    session.output().error(Text::no_package_url, {named(L"text", url)});
    return console::kUsage;
  }
  if (!stream->open(url)) return fail(session, stream->error());
  std::vector<char> block(framework::kIoBlock);
  std::int64_t count = 0;
  while ((count = stream->read(block.data(), block.size())) > 0) {
    session.output().bytes(block.data(), static_cast<std::size_t>(count));
  }
  return count < 0 ? fail(session, stream->error()) : session.status_of(true);
}

}  // namespace zendro::cli
