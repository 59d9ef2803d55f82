#include "packages_ui/operations.h"

#include <exception>
#include <utility>

#include "msg/utf.h"
#include "packages_ui/shown_text.h"

namespace zendro::packages_ui {
namespace {

// Whatever is thrown ends the step, never the program.
void guarded(const Operations::ShowText& show_problem, const std::function<void()>& step) {
  try {
    step();
  } catch (const std::exception& error) {
    show_problem(msg::to_wide(error.what()));
  } catch (...) {
    show_problem(L"Unknown error.");
  }
}

msg::MessageSink shown_by(Operations::ShowText show) {
  return [show = std::move(show)](const msg::Message& message) { show(shown_text(message)); };
}

}  // namespace

Operations::Operations(std::shared_ptr<pkg::pkg_cache_t> cache,
                       std::shared_ptr<msg::LogHandler> log, ShowText show_text,
                       pkg::progress_sink_t show_progress)
    : cache_(std::move(cache)),
      log_(std::move(log)),
      show_text_(std::move(show_text)),
      show_progress_(std::move(show_progress)) {}

LoadedPackages Operations::load_cached() {
  return load([](std::wstring_view) {});
}

LoadedPackages Operations::update_and_load() {
  // Forced, so that a machine without a list gets one.
  return run_and_load([this] { cache_->update_store_information(true); });
}

LoadedPackages Operations::apply_and_load(const std::vector<pkg::filter_action_t>& requests) {
  return run_and_load([&] {
    if (cache_->apply(requests, pkg::kActionUninstall)) {
      cache_->apply(requests, pkg::kActionInstall);
    }
  });
}

LoadedPackages Operations::run_and_load(const std::function<void()>& operation) {
  auto logger = std::make_shared<msg::Logger>();
  logger->add_handler(log_);
  cache_->set_log_sink(std::move(logger));
  cache_->set_message_sink(shown_by(show_text_));
  cache_->set_progress_sink(show_progress_);
  guarded(show_text_, operation);
  cache_->set_progress_sink({});
  LoadedPackages loaded = load(show_text_);
  cache_->set_log_sink({});
  return loaded;
}

LoadedPackages Operations::load(const ShowText& show_problem) {
  LoadedPackages loaded;
  guarded(show_problem, [&] {
    bool reported = false;
    cache_->set_message_sink(shown_by([&](std::wstring_view text) {
      reported = true;
      show_problem(text);
    }));
    pkg::merged_view_t view = cache_->load_view();
    loaded.table = std::make_unique<PackageTable>(cache_->type(), std::move(view));
    loaded.complete = !reported;
  });
  cache_->set_message_sink({});
  return loaded;
}

}  // namespace zendro::packages_ui
