// What is installed, kept in memory for those who read it often.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "framework/io/io.h"
#include "pkg/core_context.h"
#include "pkg/member_proofs.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// Thread-safe; shared by the handlers of package URLs.
class installed_packages {
 public:
  /// A value that changes when the list on the disk does.
  [[nodiscard]] static std::uint64_t state_of(core_context& context);

  /// The list as it is on the disk, read anew only when its state has changed; or why it cannot be
  /// read.
  framework::Result<std::shared_ptr<const pkgs_available_t>> list(core_context& context);

  /// Which members have been proved; outlasts changes of the list.
  member_proofs& proofs() { return proofs_; }

 private:
  member_proofs proofs_;
  std::mutex mutex_;
  std::uint64_t state_ = 0;
  std::shared_ptr<const pkgs_available_t> list_;
};

}  // namespace zendro::pkg
