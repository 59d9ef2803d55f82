// The list of installed packages, kept in memory for those who read it often.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "framework/io.h"
#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// Thread-safe; shared by the handlers of package URLs.
class installed_packages_t {
 public:
  /// A value that changes when the list on the disk does.
  [[nodiscard]] static std::uint64_t state_of(const core_context_t& context);

  /// The list as it is on the disk, read anew only when its state has changed. Null, with the
  /// cause, when it cannot be read.
  std::shared_ptr<const pkgs_available_t> list(const core_context_t& context,
                                               framework::IoError& error);

 private:
  std::mutex mutex_;
  std::uint64_t state_ = 0;
  std::shared_ptr<const pkgs_available_t> list_;
};

}  // namespace zendro::pkg
