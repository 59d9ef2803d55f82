// What the user has typed into the grid to reach a package.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "packages_ui/package_table.h"

namespace zendro::packages_ui {

class TypeAhead {
 public:
  using Clock = std::chrono::steady_clock;
  /// What was typed longer ago than this since the last key is forgotten.
  static constexpr std::chrono::milliseconds kPause{1000};

  /// Whether the character can be part of what is typed: a letter, a digit, "-" or ".".
  static bool accepts(wchar_t character);

  /// Whether something has been typed that is not forgotten yet.
  [[nodiscard]] bool active(Clock::time_point now) const;
  /// `current` is where the cursor stands, in case that the search begins anew.
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
