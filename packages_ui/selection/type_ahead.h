// What the user has typed into the grid to reach a package.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "packages_ui/selection/package_table.h"

namespace zendro::packages_ui {

class TypeAhead {
 public:
  using Clock = std::chrono::steady_clock;
  /// A pause longer than this ends what is typed: the next key begins anew.
  static constexpr std::chrono::milliseconds kForgottenAfter{1000};

  /// Whether the character can be part of what is typed: a letter, a digit, "-" or ".".
  static bool accepts(wchar_t character);

  /// Whether what has been typed goes on with the next key.
  [[nodiscard]] bool active(Clock::time_point now) const;
  /// `current` is the package under the cursor, from which a new search starts.
  void type(wchar_t character, std::optional<PackageId> current, Clock::time_point now);
  void erase_last(Clock::time_point now);
  void forget() { text_.clear(); }

  /// The next of these packages after the one where the search began whose name contains the
  /// text, without regard to case; the search wraps around.
  [[nodiscard]] std::optional<PackageId> find(const PackageTable& table,
                                              std::span<const PackageId> packages) const;

 private:
  std::wstring text_;  ///< in lower case
  std::optional<PackageId> start_;
  Clock::time_point last_;
};

}  // namespace zendro::packages_ui
