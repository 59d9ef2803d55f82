#include "packages_ui/selection/type_ahead.h"

#include <algorithm>

#include "packages_ui/selection/fold_case.h"

namespace zendro::packages_ui {

bool TypeAhead::accepts(wchar_t character) {
  // Beyond ASCII everything that the keyboard gives as one character is taken for a letter.
  return (character >= L'a' && character <= L'z') || (character >= L'A' && character <= L'Z') ||
         (character >= L'0' && character <= L'9') || character == L'-' || character == L'.' ||
         character == L'_' || character > L'\x9f';
}

bool TypeAhead::active(Clock::time_point now) const {
  return !text_.empty() && now - last_ <= kForgottenAfter;
}

void TypeAhead::type(wchar_t character, std::optional<PackageId> current, Clock::time_point now) {
  if (!active(now)) {
    text_.clear();
    start_ = current;
  }
  text_ += fold_case(std::wstring(1, character));
  last_ = now;
}

void TypeAhead::erase_last(Clock::time_point now) {
  if (!active(now)) return;
  text_.pop_back();
  last_ = now;
}

std::optional<PackageId> TypeAhead::find(const PackageTable& table,
                                         std::span<const PackageId> packages) const {
  if (text_.empty() || packages.empty()) return start_;
  const auto start = std::find(packages.begin(), packages.end(), start_);
  const std::size_t first =
      start == packages.end() ? 0 : static_cast<std::size_t>(start - packages.begin()) + 1;
  for (std::size_t i = 0; i < packages.size(); ++i) {
    const PackageId package = packages[(first + i) % packages.size()];
    if (fold_case(table.name(package)).find(text_) != std::wstring::npos) return package;
  }
  return std::nullopt;
}

}  // namespace zendro::packages_ui
