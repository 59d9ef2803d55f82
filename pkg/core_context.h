// What every step of an operation needs: the package type, the options with the folders that follow
// from them, the sinks and the HTTP transport. One per operation, used on its thread.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>

#include "framework/http/http.h"
#include "framework/text/json.h"
#include "msg/logger.h"
#include "msg/message.h"
#include "msg/shown.h"
#include "pkg/name_semver.h"
#include "pkg/operation_turn.h"
#include "pkg/progress.h"
#include "pkg/reporter.h"
#include "pkg/root_folder.h"
#include "pkg/type_folders.h"

namespace zendro::pkg {

namespace json = boost::json;

struct plan_t;

/// Told what an install or uninstall is about to do, before anything is changed: all that the plan
/// has of its kind. With false the operation ends there, without a message. The plan is valid
/// during the call, which comes on the thread of the operation while it has its turn.
using plan_sink = std::function<bool(const plan_t&)>;

using transport_factory = std::function<std::unique_ptr<framework::HttpTransport>()>;

/// What an operation reports to, and how it reaches the network. Each may be absent; without a
/// factory the program's own transport is used.
struct outlets_t {
  msg::MessageSink messages = {};
  std::shared_ptr<msg::Logger> log = {};
  progress_sink progress = {};
  wait_sink waits = {};
  plan_sink plan = {};
  /// Ends operations early, see pkg_cache_t::set_stop_token().
  std::stop_token stop = {};
  transport_factory make_transport = {};
  /// What has been warned of once and for all operations, see core_context::note_once().
  std::shared_ptr<std::set<std::string>> noted = std::make_shared<std::set<std::string>>();
};

class core_context {
 public:
  /// `options` and `global_lock` outlive the context.
  core_context(std::string_view type, const json::object& options, outlets_t outlets,
               std::mutex& global_lock);

  [[nodiscard]] const std::string& type() const { return type_; }
  [[nodiscard]] const json::object& options() const { return options_; }
  [[nodiscard]] message_reporter& reporter() { return reporter_; }
  /// Held while the list of installed packages is read.
  [[nodiscard]] std::mutex& global_lock() { return global_lock_; }
  [[nodiscard]] progress_reporter& progress() { return progress_; }
  /// The transport of the operation, made when first asked for.
  framework::HttpTransport& http();
  /// GETs through that transport. Reading the answer counts as progress.
  framework::HttpAnswer get(const framework::HttpRequest& request);

  /// Whether the cache root and the install root are known. Where one is not, all paths below are
  /// empty, so that nothing is ever read from, or written to, the current folder.
  [[nodiscard]] bool has_folders() const { return !cache_root_.empty(); }
  // Folders end with a separator.
  [[nodiscard]] const std::string& cache_root() const { return cache_root_; }
  /// Where the files of the cache root are read and written.
  [[nodiscard]] root_folder& cache_folder() { return cache_folder_; }
  /// What is below the install root.
  [[nodiscard]] type_folders& install_folders() { return type_folders_; }
  /// The file names of the lists of available and of installed packages.
  [[nodiscard]] const std::string& available_name() const { return available_name_; }
  [[nodiscard]] const std::string& installed_name() const { return installed_name_; }
  // For messages, the paths of the lists and of any file of the cache root.
  [[nodiscard]] const std::string& available_path() const { return available_path_; }
  [[nodiscard]] const std::string& installed_path() const { return installed_path_; }
  [[nodiscard]] std::string cache_file(std::string_view name) const;

  /// Whether the cache has folders, and something stands in the place of the list of available
  /// packages, even if it cannot be read.
  [[nodiscard]] bool is_initialised();

  /// Whether whoever runs the operation agrees to the plan, see plan_sink.
  [[nodiscard]] bool agree(const plan_t& plan) const { return !plan_ || plan_(plan); }
  /// Whether the operation is to end early. Thread-safe.
  [[nodiscard]] bool stop_requested() const { return stop_.stop_requested(); }
  /// The same, reported.
  bool is_stopped();

  /// Reports a message of the table as an error and returns false; `hint` tells the cause.
  bool fail(msg::Code code, const msg::Arguments& arguments, std::string_view hint = {});
  void warn(msg::Code code, const msg::Arguments& arguments, std::string_view hint = {});
  /// The same, but once in the operation for each message of the table.
  void warn_once(msg::Code code, const msg::Arguments& arguments, std::string_view hint);
  /// Notes a text. False where an operation with these outlets has noted it before.
  bool note_once(std::string text) { return noted_->insert(std::move(text)).second; }
  void log(msg::Code code, int level, const msg::Arguments& arguments);

  // Arguments by their usual names.
  [[nodiscard]] msg::Argument pkgtype() const;
  [[nodiscard]] msg::Argument pkgtypes() const;

 private:
  void report(msg::Code code, const msg::Arguments& arguments, std::string_view hint,
              msg::Severity severity);

  std::string type_;
  const json::object& options_;
  message_reporter reporter_;
  progress_reporter progress_;
  plan_sink plan_;
  std::stop_token stop_;
  std::shared_ptr<msg::Logger> log_;
  transport_factory make_transport_;
  std::mutex& global_lock_;
  std::unique_ptr<framework::HttpTransport> transport_;
  std::shared_ptr<std::set<std::string>> noted_;
  std::set<msg::Code> warned_once_;
  std::string cache_root_;
  root_folder cache_folder_;
  type_folders type_folders_;
  std::string available_name_;
  std::string installed_name_;
  std::string available_path_;
  std::string installed_path_;
};

/// In bytes: more than is shown of any.
inline constexpr std::size_t kLongestArgument = 4 * msg::kMostOfLine;

// Named arguments of messages.
msg::Argument pkg_argument(const name_semver_t& identity);
msg::Argument text_argument(std::wstring_view name, std::string_view utf8);
msg::Argument path_argument(std::string_view path);
/// "pkgs": the identities joined with ", ", as many as are shown.
template <typename Identities>
msg::Argument pkgs_argument(const Identities& identities) {
  std::string joined;
  for (const name_semver_t& identity : identities) {
    if (joined.size() > kLongestArgument) break;
    if (!joined.empty()) joined += ", ";
    joined += to_string(identity);
  }
  return text_argument(L"pkgs", joined);
}

}  // namespace zendro::pkg
