#include "cli/session.h"

#include "app/options/options.h"
#include "framework/system/files.h"
#include "framework/text/utf8.h"
#include "msg/logger.h"

#include "cli/plan_view.h"
#include "cli/write_right.h"
#include "console/exit_status.h"
#include "console/terminal.h"

namespace zendro::cli {
namespace {

class LogLines : public msg::LogHandler {
 public:
  explicit LogLines(Output& output) : output_(output) {}
  void handle_line(std::int64_t, std::wstring_view, std::wstring_view line) override {
    output_.log(framework::to_utf8(line));
  }

 private:
  Output& output_;
};

std::shared_ptr<msg::Logger> make_logger(const Arguments& arguments, Output& output) {
  if (arguments.quiet) return nullptr;
  const int threshold = arguments.verbose ? msg::kLevelDetail : msg::kLevelProgress;
  auto logger = std::make_shared<msg::Logger>(L"", threshold);
  logger->add_handler(std::make_shared<LogLines>(output));
  return logger;
}

}  // namespace

Session::Session(const Arguments& arguments, const json::object& options)
    : arguments_(arguments), output_(arguments), cache_(arguments.type, options) {
  cache_.set_message_sink([this](const msg::Message& message) { on_message(message); });
  cache_.set_log_sink(make_logger(arguments, output_));
  cache_.set_progress_sink([this](const pkg::progress_t& now) { output_.progress(now); });
  cache_.set_wait_sink([this](const std::optional<pkg::waiting_t>& other) { on_wait(other); });
  cache_.set_plan_sink([this](const pkg::plan_t& plan) { return agree(plan); });
  cache_.set_stop_token(stop_.get_token());
  interrupts_ = std::make_unique<console::Interrupts>([this] { on_interrupt(); });
}

Session::~Session() { interrupts_.reset(); }

std::string Session::cache_root() const {
  const json::value root = app::get_cache_root(&cache_.options());
  return root.is_string() ? std::string(framework::as_string(root)) : std::string();
}

int Session::change(const std::function<bool(pkg::pkg_cache_t&)>& operation) {
  const std::string root = cache_root();
  if (!root.empty() && !arguments_.dry_run) {
    if (const auto denied = folder_without_right(framework::path_from_utf8(root))) {
      output_.error(Text::no_right, {named(L"path", framework::path_to_utf8(*denied))});
      return console::kFailed;
    }
  }
  return status_of_change(operation(cache_));
}

int Session::status_of(bool done) const {
  if (stop_.stop_requested()) return console::kInterrupted;
  return done ? console::kDone : console::kFailed;
}

int Session::status_of_change(bool done) {
  if (stop_.stop_requested() && !done) {
    const json::value root = app::get_install_root(&cache_.options());
    const std::string path(root.is_string() ? framework::as_string(root) : std::string_view());
    output_.note(has_begun_ ? Text::interrupted : Text::interrupted_nothing,
                 {named(L"path", path)});
    return console::kInterrupted;
  }
  if (is_dry_end_ || found_nothing_) return console::kDone;
  if (is_refused_) return console::kRefused;
  if (has_given_up_) output_.error(Text::does_not_wait);
  return done ? console::kDone : console::kFailed;
}

// That there is nothing to be done is no failure here.
void Session::on_message(const msg::Message& message) {
  if (message.code == msg::Code::no_pkgs_to_remove && !keeps_something_) {
    found_nothing_ = true;
    output_.log(framework::to_utf8(message.text()));
    return;
  }
  if (stop_.stop_requested()) return;  // said once, at the end
  output_.message(message);
  if (message.code == msg::Code::not_initialized) output_.note(Text::update_first);
}

void Session::on_wait(const std::optional<pkg::waiting_t>& other) {
  if (!other) return;
  const msg::Arguments about = {named(L"process", std::to_string(other->process)),
                                named(L"user", other->user),
                                {L"since", msg::date_string(other->since)}};
  output_.note(other->process == 0 ? Text::waits_for_another : Text::waits_for_process, about);
  has_given_up_ = arguments_.no_wait && cache_.stop_waiting();
}

void Session::on_interrupt() {
  if (is_asking_) {
    output_.note(Text::interrupted_nothing);
    console::end_at_once(console::kInterrupted);
  }
  stop_.request_stop();
  if (!cache_.stop_waiting()) output_.note(Text::interrupting);
}

bool Session::agree(const pkg::plan_t& plan) {
  show_plan(output_, plan);
  is_dry_end_ = arguments_.dry_run;
  if (arguments_.dry_run) return false;
  keeps_something_ = !plan.kept.empty();
  if (!changes_anything(plan)) return true;
  has_begun_ = arguments_.yes || ask();
  return has_begun_;
}

bool Session::ask() {
  if (arguments_.json || !console::is_terminal(console::Stream::input) ||
      !console::is_terminal(console::Stream::error)) {
    is_refused_ = true;
    output_.error(Text::refused);
    return false;
  }
  is_asking_ = true;
  output_.ask(Text::question);
  const std::optional<std::string> answer = console::read_line();
  is_asking_ = false;
  if (answer && (answer->starts_with('y') || answer->starts_with('Y'))) return true;
  is_refused_ = true;
  output_.note(Text::declined);
  return false;
}

}  // namespace zendro::cli
