// What opening a folder comes to: the folder, that there is none, or a failure.
#pragma once

#include <memory>
#include <string_view>

#include <tl/expected.hpp>

#include "framework/io/io.h"
#include "framework/system/folder.h"

namespace zendro::pkg {

/// Why a folder has not been opened.
class no_folder {
 public:
  /// It does not exist.
  no_folder() = default;
  /// It could not be opened, made or looked for; `cause` has a text.
  no_folder(framework::IoError cause) : cause_(std::move(cause)) {}

  [[nodiscard]] bool is_absent() const { return !cause_; }
  /// Empty where the folder is absent.
  [[nodiscard]] const framework::IoError& cause() const { return cause_; }

 private:
  framework::IoError cause_;
};

/// A folder of the caller's own.
using opened_folder = tl::expected<std::unique_ptr<framework::Folder>, no_folder>;
/// A folder that somebody else keeps open.
using borrowed_folder = tl::expected<const framework::Folder*, no_folder>;

/// Opens the folder `name` of `parent`.
opened_folder open_in(const framework::Folder& parent, std::string_view name);
/// Opens it, made where it is missing; so it is never absent.
opened_folder create_in(const framework::Folder& parent, std::string_view name);

}  // namespace zendro::pkg
