#include "store/zip_writer.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <zip.h>

namespace zendro::store {

namespace {

// Midnight of 1 January 1980, the first moment that the format can name, in its own encoding:
// a POSIX time would pass through the machine's time zone.
constexpr zip_uint16_t kDosTime = 0;
constexpr zip_uint16_t kDosDate = (1 << 5) | 1;
constexpr zip_uint32_t kRegularFile644 = zip_uint32_t{0100644} << 16;
// What the format's own tools choose: the best takes a third longer for one hundredth less.
constexpr zip_uint32_t kCompression = 6;

struct Failure {
  Failure() { zip_error_init(&error); }
  Failure(const Failure&) = delete;
  Failure& operator=(const Failure&) = delete;
  ~Failure() { zip_error_fini(&error); }

  [[nodiscard]] std::runtime_error exception() {
    return std::runtime_error(std::string("cannot write an archive: ") +
                              zip_error_strerror(&error));
  }

  zip_error_t error;
};

using Source = std::unique_ptr<zip_source_t, decltype(&zip_source_free)>;
using Archive = std::unique_ptr<zip_t, decltype(&zip_discard)>;

std::runtime_error failure_of(zip_t* archive) {
  return std::runtime_error(std::string("cannot write an archive: ") + zip_strerror(archive));
}

void add_file(zip_t* archive, const SourceFile& file) {
  Source source(zip_source_buffer(archive, file.bytes.data(), file.bytes.size(), 0),
                &zip_source_free);
  if (!source) {
    throw failure_of(archive);
  }
  const zip_int64_t index =
      zip_file_add(archive, file.path.c_str(), source.get(), ZIP_FL_ENC_UTF_8);
  if (index < 0) {
    throw failure_of(archive);
  }
  static_cast<void>(source.release());  // the archive's from here on
  const auto at = static_cast<zip_uint64_t>(index);
  if (zip_set_file_compression(archive, at, ZIP_CM_DEFLATE, kCompression) != 0 ||
      zip_file_set_dostime(archive, at, kDosTime, kDosDate, 0) != 0 ||
      zip_file_set_external_attributes(archive, at, 0, ZIP_OPSYS_UNIX, kRegularFile644) != 0) {
    throw failure_of(archive);
  }
}

std::string read_back(zip_source_t* source) {
  zip_stat_t stat;
  zip_stat_init(&stat);
  if (zip_source_stat(source, &stat) != 0 || zip_source_open(source) != 0) {
    throw std::runtime_error("cannot read back an archive");
  }
  std::string bytes(stat.size, '\0');
  const zip_int64_t count = zip_source_read(source, bytes.data(), bytes.size());
  zip_source_close(source);
  if (count != static_cast<zip_int64_t>(bytes.size())) {
    throw std::runtime_error("cannot read back an archive");
  }
  return bytes;
}

}  // namespace

std::string write_zip(std::vector<SourceFile> files) {
  std::sort(files.begin(), files.end(),
            [](const SourceFile& a, const SourceFile& b) { return a.path < b.path; });
  Failure failure;
  Source buffer(zip_source_buffer_create(nullptr, 0, 0, &failure.error), &zip_source_free);
  if (!buffer) {
    throw failure.exception();
  }
  Archive archive(zip_open_from_source(buffer.get(), ZIP_CREATE | ZIP_TRUNCATE, &failure.error),
                  &zip_discard);
  if (!archive) {
    throw failure.exception();
  }
  // The archive owns its source from here on; one reference more keeps it for reading back.
  zip_source_keep(buffer.get());
  for (const SourceFile& file : files) {
    add_file(archive.get(), file);
  }
  if (zip_close(archive.get()) != 0) {
    throw failure_of(archive.get());
  }
  static_cast<void>(archive.release());  // closing has freed it
  return read_back(buffer.get());
}

}  // namespace zendro::store
