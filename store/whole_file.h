// Writing files so that nobody ever finds one that is half-written.
#pragma once

#include <filesystem>
#include <string_view>

#include "framework/io/io.h"

namespace zendro::store {

/// Whether what was written has to be on the storage before it gets its name. What is proved by a
/// digest before it is used again need not wait.
enum class Durability { proved_later, on_storage };

/// Writes a file beside its place and renames it when it is whole; missing folders are made. What
/// stood there stays until then.
framework::Result<void> write_whole_file(const std::filesystem::path& path, std::string_view bytes,
                                         Durability durability = Durability::on_storage);

/// The same for a secret: only its owner may read it (on Windows: whoever may in the folder).
framework::Result<void> write_private_file(const std::filesystem::path& path,
                                           std::string_view bytes);

}  // namespace zendro::store
