// Who may write where.
#pragma once

#include <filesystem>
#include <optional>

namespace zendro::cli {

/// The folder in which the user would have to write so that `folder` can be changed, or made where
/// it is missing, and may not; nothing where that is allowed, or cannot be told.
std::optional<std::filesystem::path> folder_without_right(const std::filesystem::path& folder);

}  // namespace zendro::cli
