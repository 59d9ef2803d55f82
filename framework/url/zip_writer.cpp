#include "framework/url/zip_writer.h"

#include <memory>

#include <zip.h>

namespace zendro::framework {
namespace {

using Archive = std::unique_ptr<zip_t, decltype(&zip_discard)>;

// False where the library refuses; the archive tells why.
bool add_entry(zip_t* archive, const ZipEntry& entry) {
  zip_source_t* source = entry.file.empty()
                             ? zip_source_buffer(archive, entry.bytes.data(), entry.bytes.size(), 0)
                             : zip_source_file(archive, entry.file.c_str(), 0, -1);
  if (source == nullptr) return false;
  if (zip_file_add(archive, entry.name.c_str(), source, ZIP_FL_ENC_UTF_8) >= 0) return true;
  zip_source_free(source);
  return false;
}

}  // namespace

tl::expected<void, IoError> write_zip(std::string_view path, const std::vector<ZipEntry>& entries) {
  const std::string name(path);
  const auto failed = [&](const char* cause) {
    return tl::unexpected(IoError{name + ": " + cause});
  };
  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* target = zip_source_file_create(name.c_str(), 0, -1, &error);
  Archive archive(
      target == nullptr ? nullptr : zip_open_from_source(target, ZIP_CREATE | ZIP_TRUNCATE, &error),
      &zip_discard);
  if (!archive) {
    if (target != nullptr) zip_source_free(target);
    const auto failure = failed(zip_error_strerror(&error));
    zip_error_fini(&error);
    return failure;
  }
  for (const ZipEntry& entry : entries) {
    if (!add_entry(archive.get(), entry)) return failed(zip_strerror(archive.get()));
  }
  if (zip_close(archive.get()) != 0) return failed(zip_strerror(archive.get()));
  static_cast<void>(archive.release());  // closing has freed it
  return {};
}

}  // namespace zendro::framework
