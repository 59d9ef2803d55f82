#include "store/zip_reader.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <zip.h>

namespace zendro::store {

namespace {

SourceFile read_member(zip_t* archive, zip_uint64_t index) {
  zip_stat_t stat;
  if (zip_stat_index(archive, index, 0, &stat) != 0) {
    throw std::runtime_error(std::string("damaged archive: ") + zip_strerror(archive));
  }
  const std::unique_ptr<zip_file_t, decltype(&zip_fclose)> file(zip_fopen_index(archive, index, 0),
                                                                &zip_fclose);
  SourceFile member{stat.name, std::string(stat.size, '\0')};
  // Reading on at the end is what makes the checksum count.
  char end = 0;
  if (!file ||
      zip_fread(file.get(), member.bytes.data(), member.bytes.size()) !=
          static_cast<zip_int64_t>(member.bytes.size()) ||
      zip_fread(file.get(), &end, 1) != 0) {
    throw std::runtime_error("damaged archive member: " + member.path);
  }
  return member;
}

}  // namespace

std::vector<SourceFile> read_zip(std::string_view bytes) {
  zip_error_t error;
  zip_error_init(&error);
  zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
  zip_t* opened = source == nullptr ? nullptr : zip_open_from_source(source, ZIP_RDONLY, &error);
  if (opened == nullptr) {
    const std::string cause = zip_error_strerror(&error);
    zip_error_fini(&error);
    zip_source_free(source);
    throw std::runtime_error("damaged archive: " + cause);
  }
  zip_error_fini(&error);
  const std::unique_ptr<zip_t, decltype(&zip_discard)> archive(opened, &zip_discard);
  std::vector<SourceFile> files;
  const zip_int64_t count = zip_get_num_entries(archive.get(), 0);
  for (zip_int64_t index = 0; index < count; ++index) {
    files.push_back(read_member(archive.get(), static_cast<zip_uint64_t>(index)));
  }
  std::sort(files.begin(), files.end(),
            [](const SourceFile& a, const SourceFile& b) { return a.path < b.path; });
  return files;
}

}  // namespace zendro::store
