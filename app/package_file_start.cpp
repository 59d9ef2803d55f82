#include "app/package_file_start.h"

#include <utility>
#include <vector>

#include "framework/system/files.h"
#include "msg/format.h"
#include "msg/shown.h"
#include "packages_ui/selection/shown_text.h"
#include "packages_ui/selection/ui_messages.h"

namespace zendro::app {
namespace {

std::wstring reading_text(std::string_view path) {
  const auto name = framework::path_from_utf8(path).filename();
  return msg::fill(L"Reading packages from {file}...",
                   {{L"file", msg::shown(framework::path_to_utf8(name))}});
}

}  // namespace

PackageFileStart start_with_package_file(pkg::pkg_cache_t& cache, std::string_view path,
                                         const packages_ui::ShowStart& show) {
  const auto begin = [&](const std::wstring& step) {
    show({step, {}});
    cache.set_wait_sink([&show, step](const std::optional<pkg::waiting_t>& waiting) {
      show({step, {}, waiting});
    });
    cache.set_progress_sink([&show, step](const pkg::progress_t& progress) {
      show({step, progress});
    });
  };
  std::vector<msg::Message> messages;
  cache.set_message_sink([&messages](const msg::Message& message) { messages.push_back(message); });
  if (!cache.is_initialised()) {
    begin(packages_ui::ui_message(packages_ui::UiCode::PackageUIUpdating));
    cache.update_store_information(true);
  }
  begin(reading_text(path));
  std::optional<std::vector<std::string>> provided = cache.read_package_file(path);
  cache.set_progress_sink({});
  cache.set_wait_sink({});
  cache.set_message_sink({});

  PackageFileStart start;
  if (provided) {
    start.preselection = {std::move(*provided), std::string(path)};
  } else if (!messages.empty()) {
    start.box_text = packages_ui::load_problem_text(msg::shown(path), messages);
  }
  return start;
}

}  // namespace zendro::app
