// What every step of an operation needs: the package type, the options with the folders that follow
// from them, the sinks and the HTTP transport. One per operation, used on its thread.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "framework/http.h"
#include "framework/json.h"
#include "msg/logger.h"
#include "msg/message.h"
#include "pkg/name_semver.h"
#include "pkg/progress.h"
#include "pkg/reporter.h"
#include "pkg/type_folders.h"

namespace zendro::pkg {

namespace json = boost::json;

using transport_factory = std::function<std::unique_ptr<framework::HttpTransport>()>;

/// What an operation reports to, and how it reaches the network. Each may be absent; without a
/// factory the program's own transport is used.
struct outlets_t {
  msg::MessageSink messages = {};
  std::shared_ptr<msg::Logger> log = {};
  progress_sink_t progress = {};
  transport_factory make_transport = {};
};

class core_context_t {
 public:
  /// `options` and `global_lock` outlive the context.
  core_context_t(std::string_view type, const json::object& options, outlets_t outlets,
                 std::mutex& global_lock);

  [[nodiscard]] const std::string& type() const { return type_; }
  [[nodiscard]] const json::object& options() const { return options_; }
  [[nodiscard]] reporter_t& reporter() { return reporter_; }
  /// Held while the list of installed packages is read.
  [[nodiscard]] std::mutex& global_lock() { return global_lock_; }
  [[nodiscard]] progress_reporter_t& progress() { return progress_; }
  /// The transport of the operation, made when first asked for.
  framework::HttpTransport& http();
  /// GETs through that transport. Reading the answer counts as progress.
  std::shared_ptr<framework::HttpResponse> get(const framework::HttpRequest& request,
                                               framework::IoError& error);

  // Folders end with a separator. A type without folders has empty ones.
  [[nodiscard]] const std::string& cache_root() const { return cache_root_; }
  /// What is below the install root.
  [[nodiscard]] type_folders_t& type_folders() { return type_folders_; }
  /// The list of available packages, and the list of installed ones.
  [[nodiscard]] const std::string& available_path() const { return available_path_; }
  [[nodiscard]] const std::string& installed_path() const { return installed_path_; }
  /// The file name of the list of available packages.
  [[nodiscard]] const std::string& available_name() const { return available_name_; }
  /// A file of the cache root.
  [[nodiscard]] std::string cache_file(std::string_view name) const;

  /// Whether the cache has folders and a list of available packages.
  [[nodiscard]] bool is_initialised() const;

  /// Reports a message of the table as an error and returns false; `hint` tells the cause.
  bool fail(msg::Code code, const msg::Arguments& arguments, std::string_view hint = {});
  void warn(msg::Code code, const msg::Arguments& arguments, std::string_view hint = {});
  void log(msg::Code code, int level, const msg::Arguments& arguments);

  // Arguments by their usual names.
  [[nodiscard]] msg::Argument pkgtype() const;
  [[nodiscard]] msg::Argument pkgtypes() const;

 private:
  void report(msg::Code code, const msg::Arguments& arguments, std::string_view hint,
              msg::Severity severity);

  std::string type_;
  const json::object& options_;
  reporter_t reporter_;
  progress_reporter_t progress_;
  std::shared_ptr<msg::Logger> log_;
  transport_factory make_transport_;
  std::mutex& global_lock_;
  std::unique_ptr<framework::HttpTransport> transport_;
  bool has_folders_ = false;
  std::string cache_root_;
  type_folders_t type_folders_;
  std::string available_name_;
  std::string available_path_;
  std::string installed_path_;
};

// Named arguments of messages.
msg::Argument pkg_argument(const name_semver_t& identity);
msg::Argument text_argument(std::wstring_view name, std::string_view utf8);
msg::Argument path_argument(std::string_view path);
/// "pkgs": the identities joined with ", ".
template <typename Identities>
msg::Argument pkgs_argument(const Identities& identities) {
  std::string joined;
  for (const name_semver_t& identity : identities) {
    if (!joined.empty()) joined += ", ";
    joined += to_string(identity);
  }
  return text_argument(L"pkgs", joined);
}

}  // namespace zendro::pkg
