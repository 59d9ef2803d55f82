// The package cache: the one object through which the window reaches the package model and its
// operations.
//
// It binds a package type to its cache folder and keeps no list between calls: the files are the
// only lasting state. Operations run synchronously on the calling thread, one at a time; between
// processes (and caches of one process) a lock file in the cache root makes whole operations wait
// for each other. No operation throws: every failure is reported through the message sink.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/text/json.h"
#include "msg/logger.h"
#include "msg/message.h"
#include "pkg/apply.h"
#include "pkg/core_context.h"
#include "pkg/merged_view.h"
#include "pkg/name_semver.h"
#include "pkg/operation_turn.h"
#include "pkg/package_list.h"
#include "pkg/verify.h"

namespace zendro::pkg {

class pkg_cache_t {
 public:
  /// `options` is the option set of the run; its "pkg.type" is set to `type` ("xsd", "xbrl").
  pkg_cache_t(std::string_view type, const json::object& options);

  // Sinks; each may be absent, which changes nothing but what is reported. They are called on the
  // thread of the operation.
  void set_message_sink(msg::MessageSink sink) { outlets_.messages = std::move(sink); }
  void set_log_sink(std::shared_ptr<msg::Logger> sink) { outlets_.log = std::move(sink); }
  /// The first call of an operation comes when it has the cache root for itself.
  void set_progress_sink(progress_sink sink) { outlets_.progress = std::move(sink); }
  /// Told of a wait for another operation.
  void set_wait_sink(wait_sink sink) { outlets_.waits = std::move(sink); }
  /// Asked before each install and uninstall, see plan_sink.
  void set_plan_sink(plan_sink sink) { outlets_.plan = std::move(sink); }
  /// Once a stop is requested, operations end with a failure: downloads between two blocks, before
  /// anything is recorded as installed. Removing is not interrupted.
  void set_stop_token(std::stop_token stop) { outlets_.stop = std::move(stop); }
  /// Makes the HTTP transport of each operation; the program's own unless set.
  void set_transport_factory(transport_factory factory) {
    outlets_.make_transport = std::move(factory);
  }

  [[nodiscard]] const std::string& type() const { return type_; }
  [[nodiscard]] const json::object& options() const { return options_; }

  /// Whether the list of available packages exists. Does not wait for an operation.
  [[nodiscard]] bool is_initialised();

  /// Ends the wait of an operation for another one: it then fails without a message, having begun
  /// nothing, and so does every later one. False, without effect, when none waits. Thread-safe.
  bool stop_waiting() { return turn_.give_up(); }

  // Everything below needs a cache root and an install root, both absolute: where one is unknown
  // it fails with "not_initialized" and touches nothing.

  /// The lists of the cache root; nothing, after a message, when one cannot be read. A list of
  /// installed packages that does not exist is empty.
  std::optional<pkgs_available_t> load_available();
  std::optional<pkgs_available_t> load_installed();
  /// Both lists merged, one row per identity, for the grid. A list that cannot be read counts as
  /// empty, after its message; a cache that is not initialised gives no rows and no message.
  merged_view_t load_view();
  /// The same where no other operation runs on the cache root; nothing at once where one does.
  std::optional<merged_view_t> load_view_at_once();

  /// Collects the filters whose code equals `action` and installs or uninstalls them; true without
  /// doing anything when there are none, false for an unknown action.
  bool apply(std::span<const filter_action> pairs, int action);
  /// Uninstalls and then installs exactly what the pairs name, as one operation: no other operation
  /// comes in between. What cannot be done is reported before anything is touched. What is
  /// installed and not named stays, whatever references it or bears a similar name.
  bool apply_changes(std::span<const filter_action> pairs);
  bool install(const std::vector<std::string>& filters);
  /// Installs exactly what the lock document at `path` names, see lock_document.h.
  bool install_locked(std::string_view path);
  bool uninstall(const std::vector<std::string>& filters);
  /// Brings the list of available packages up to date from the store, then the catalogs. Unless
  /// `force`, the cache must be initialised; with it, the cache root is created. A list that has
  /// not changed is fetched only if it is `always` to be.
  bool update_store_information(bool force, bool always = false);
  /// Proves what is installed of the filters' choice, of everything where there are none, see
  /// verify(); with `repairs`, fetches anew what is not whole: a failure of that is reported.
  /// Nothing after a message.
  std::optional<verification_t> verify(const std::vector<std::string>& filters, bool repairs);
  /// The same from an archive of a store on the disk, see update_from_archive() of store.h.
  bool update_from_archive(std::string_view path);
  /// Writes what the filters choose, with what it references, as a package file; nothing is
  /// installed.
  bool write_package_file(const std::vector<std::string>& filters, std::string_view path);
  /// The full path of the installed file that a package URL names; for a member inside an archive
  /// that of the archive. Nothing where no installed package has it.
  std::optional<std::string> file_of(std::string_view package_url);
  /// Takes over what a package file holds: its members and its entries. The names that it
  /// provides, or nothing after a message.
  std::optional<std::vector<std::string>> read_package_file(std::string_view path);

 private:
  /// What an operation does with the cache root.
  enum class cache_use { reads, writes, creates };

  /// Runs `body` with a context of its own. Whatever it throws is reported; `failed` is the result
  /// then.
  template <typename Result, typename Body>
  Result attempt(Result failed, const Body& body);
  /// The same while no other operation runs on the cache root.
  template <typename Result, typename Body>
  Result run(cache_use use, Result failed, const Body& body);
  /// Runs `body` in the operation's turn; an empty result when the wait was given up, or, after a
  /// message, when there can be no turn.
  template <typename Result, typename Body>
  Result in_turn(core_context& context, cache_use use, const Body& body);

  std::string type_;
  json::object options_;
  outlets_t outlets_;
  std::mutex global_lock_;
  operation_turn turn_;
};

}  // namespace zendro::pkg
