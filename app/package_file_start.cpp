#include "app/package_file_start.h"

#include <optional>

#include "msg/text_builder.h"
#include "msg/utf.h"
#include "packages_ui/shown_text.h"
#include "packages_ui/ui_messages.h"

namespace zendro::app {

PackageFileStart start_with_package_file(pkg::pkg_cache_t& cache, std::string_view path) {
  PackageFileStart start;
  if (path.empty()) {
    start.open_dialog = true;
    return start;
  }

  std::vector<msg::Message> messages;
  cache.set_message_sink([&messages](const msg::Message& message) { messages.push_back(message); });
  std::optional<std::vector<std::string>> provided = cache.read_package_file(path);
  cache.set_message_sink({});

  if (provided) {
    start.open_dialog = true;
    start.preselection = std::move(*provided);
  } else if (!messages.empty()) {
    msg::TextBuilder text;
    text.begin_message().add(packages_ui::ui_message(
        packages_ui::UiCode::PackageUILoadContainerError, {{L"path", msg::to_wide(path)}}));
    for (const msg::Message& message : messages) {
      text.begin_message().add(packages_ui::shown_text(message));
    }
    start.box_text = text.text();
  }
  return start;
}

}  // namespace zendro::app
