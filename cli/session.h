// One run of the program: the core with its sinks, the output, and how the run ends.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "pkg/cache.h"

#include "cli/arguments.h"
#include "cli/output.h"
#include "console/interrupts.h"

namespace zendro::cli {

class Session {
 public:
  /// `options` is the option set of the run.
  Session(const Arguments& arguments, const json::object& options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  [[nodiscard]] const Arguments& arguments() const { return arguments_; }
  [[nodiscard]] Output& output() { return output_; }
  [[nodiscard]] pkg::pkg_cache_t& cache() { return cache_; }
  [[nodiscard]] std::string cache_root() const;

  /// Runs an operation that changes the cache: the exit status, once everything about it is said.
  int change(const std::function<bool(pkg::pkg_cache_t&)>& operation);
  /// The status of what only reads, by whether it succeeded.
  [[nodiscard]] int status_of(bool done) const;

 private:
  void on_message(const msg::Message& message);
  void on_wait(const std::optional<pkg::waiting_t>& other);
  void on_interrupt();
  bool agree(const pkg::plan_t& plan);
  bool ask();
  [[nodiscard]] int status_of_change(bool done);

  const Arguments& arguments_;
  Output output_;
  pkg::pkg_cache_t cache_;
  std::stop_source stop_;
  std::atomic<bool> is_asking_ = false;
  bool has_begun_ = false;        ///< something may have been changed
  bool keeps_something_ = false;  ///< of what was to be removed
  bool is_dry_end_ = false;       ///< ended where it was to end
  bool is_refused_ = false;
  bool found_nothing_ = false;  ///< there was nothing of the kind to be removed
  bool has_given_up_ = false;   ///< did not want to wait
  std::unique_ptr<console::Interrupts> interrupts_;
};

}  // namespace zendro::cli
