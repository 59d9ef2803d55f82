#include "packages_ui/selection/background_work.h"

#include <utility>

#include "framework/system/guarded.h"
#include "msg/shown.h"
#include "packages_ui/selection/shown_text.h"

namespace zendro::packages_ui {
namespace {

std::function<void(std::string_view)> failure_shown_by(const BackgroundWork::ShowText& show) {
  return [&show](std::string_view failure) { show(msg::shown(failure)); };
}

msg::MessageSink shown_by(BackgroundWork::ShowText show) {
  return [show = std::move(show)](const msg::Message& message) { show(shown_text(message)); };
}

}  // namespace

BackgroundWork::BackgroundWork(std::shared_ptr<pkg::pkg_cache_t> cache,
                               std::shared_ptr<msg::LogHandler> log, ShowText show_text,
                               pkg::progress_sink show_progress, pkg::wait_sink show_wait)
    : cache_(std::move(cache)),
      log_(std::move(log)),
      show_text_(std::move(show_text)),
      show_progress_(std::move(show_progress)),
      show_wait_(std::move(show_wait)) {}

LoadedPackages BackgroundWork::load_cached_at_once() {
  return load([](std::wstring_view) {}, [this] { return cache_->load_view_at_once(); });
}

LoadedPackages BackgroundWork::load_cached() {
  cache_->set_wait_sink(show_wait_);
  return load([](std::wstring_view) {}, [this] { return cache_->load_view(); });
}

LoadedPackages BackgroundWork::update_and_load(std::string_view package_file) {
  return run_and_load([&] {
    // Forced, so that a machine without a list gets one.
    cache_->update_store_information(true);
    if (!package_file.empty()) cache_->read_package_file(package_file);
  });
}

LoadedPackages BackgroundWork::apply_and_load(const std::vector<pkg::filter_action>& actions) {
  bool succeeded = false;
  LoadedPackages loaded = run_and_load([&] { succeeded = cache_->apply_changes(actions); });
  loaded.succeeded = succeeded;
  return loaded;
}

LoadedPackages BackgroundWork::run_and_load(const std::function<void()>& operation) {
  auto logger = std::make_shared<msg::Logger>();
  logger->add_handler(log_);
  cache_->set_log_sink(std::move(logger));
  cache_->set_message_sink(shown_by(show_text_));
  cache_->set_progress_sink(show_progress_);
  cache_->set_wait_sink(show_wait_);
  framework::guarded(operation, failure_shown_by(show_text_));
  cache_->set_progress_sink({});
  LoadedPackages loaded = load(show_text_, [this] { return cache_->load_view(); });
  cache_->set_log_sink({});
  return loaded;
}

LoadedPackages BackgroundWork::load(const ShowText& show_problem, const ReadView& read_view) {
  LoadedPackages loaded;
  const auto read = [&] {
    bool reported = false;
    cache_->set_message_sink([&](const msg::Message& message) {
      reported = true;
      show_problem(load_problem_text(message));
    });
    std::optional<pkg::merged_view_t> view = read_view();
    if (!view) return;
    loaded.table = std::make_unique<PackageTable>(cache_->type(), std::move(*view));
    loaded.complete = !reported;
  };
  framework::guarded(read, failure_shown_by(show_problem));
  cache_->set_message_sink({});
  return loaded;
}

}  // namespace zendro::packages_ui
