// Zip archives as bytes, sound or with the faults that a test asks for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <zlib.h>

namespace zendro::tests {

struct ZipEntry {
  std::string name;
  std::string data;
  bool deflated = true;
  // Faults; each replaces the true value in both headers.
  std::optional<std::uint32_t> crc = {};
  std::optional<std::uint64_t> size = {};  ///< unpacked, written in the zip64 form
  std::uint16_t flags = 0x0800;            ///< names are UTF-8
  std::optional<std::uint16_t> method = {};
  std::uint16_t mode = 0;  ///< type and rights of Unix
};

namespace zip_detail {

template <typename Number>
void put(std::string& out, Number value) {
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    out += static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i) & 0xFF);
  }
}

inline std::string deflate_raw(const std::string& data) {
  z_stream stream{};
  deflateInit2(&stream, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&stream, data.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

}  // namespace zip_detail

/// The archive's bytes; with `zip64`, its directory stands in the zip64 form.
inline std::string make_zip(const std::vector<ZipEntry>& entries, bool zip64 = false) {
  using zip_detail::put;
  std::string out;
  std::string directory;
  for (const ZipEntry& entry : entries) {
    const std::string packed = entry.deflated ? zip_detail::deflate_raw(entry.data) : entry.data;
    const auto true_crc =
        static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(entry.data.data()),
                                         static_cast<uInt>(entry.data.size())));
    std::string common;  // what both headers hold from the flags on
    put<std::uint16_t>(common, entry.flags);
    put<std::uint16_t>(common, entry.method.value_or(entry.deflated ? 8 : 0));
    put<std::uint32_t>(common, 0x00210000);  // 1 January 1980
    put<std::uint32_t>(common, entry.crc.value_or(true_crc));
    std::string extra;
    if (entry.size) {
      put<std::uint16_t>(extra, 1);
      put<std::uint16_t>(extra, 16);
      put<std::uint64_t>(extra, *entry.size);
      put<std::uint64_t>(extra, packed.size());
    }
    put<std::uint32_t>(common, entry.size ? 0xFFFFFFFF : static_cast<std::uint32_t>(packed.size()));
    put<std::uint32_t>(common,
                       entry.size ? 0xFFFFFFFF : static_cast<std::uint32_t>(entry.data.size()));
    put<std::uint16_t>(common, static_cast<std::uint16_t>(entry.name.size()));
    put<std::uint16_t>(common, static_cast<std::uint16_t>(extra.size()));

    directory += "PK\1\2";
    put<std::uint16_t>(directory, entry.mode == 0 ? 45 : 3 << 8 | 45);
    put<std::uint16_t>(directory, 45);
    directory += common;
    directory.append(6, '\0');  // comment, disk, kind of contents
    put<std::uint32_t>(directory, std::uint32_t{entry.mode} << 16);
    put<std::uint32_t>(directory, static_cast<std::uint32_t>(out.size()));
    directory += entry.name + extra;

    out += "PK\3\4";
    put<std::uint16_t>(out, 45);
    out += common + entry.name + extra + packed;
  }
  const auto start = static_cast<std::uint32_t>(out.size());
  const auto count = static_cast<std::uint16_t>(entries.size());
  out += directory;
  if (zip64) {
    const std::uint64_t record = out.size();
    out += "PK\6\6";
    put<std::uint64_t>(out, 44);
    put<std::uint32_t>(out, 45 << 16 | 45);
    out.append(8, '\0');  // disks
    put<std::uint64_t>(out, count);
    put<std::uint64_t>(out, count);
    put<std::uint64_t>(out, directory.size());
    put<std::uint64_t>(out, start);
    out += "PK\6\7";
    put<std::uint32_t>(out, 0);
    put<std::uint64_t>(out, record);
    put<std::uint32_t>(out, 1);
  }
  out += "PK\5\6";
  out.append(4, '\0');
  put<std::uint16_t>(out, zip64 ? 0xFFFF : count);
  put<std::uint16_t>(out, zip64 ? 0xFFFF : count);
  put<std::uint32_t>(out, zip64 ? 0xFFFFFFFF : static_cast<std::uint32_t>(directory.size()));
  put<std::uint32_t>(out, zip64 ? 0xFFFFFFFF : start);
  out.append(2, '\0');
  return out;
}

}  // namespace zendro::tests
