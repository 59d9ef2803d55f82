// Archives: every member reads the same each time, from its beginning and from its middle.
#include <algorithm>
#include <optional>
#include <string>

#include "framework/url/memory_stream.h"
#include "framework/url/url_io.h"
#include "framework/url/zip.h"

#include "fuzz/input.h"

namespace zendro::fuzz {
namespace {

using framework::IOImpl_base;

constexpr std::size_t kMost = 16u << 20;

// The names that the archive's directory seems to hold, and some that it should.
std::vector<std::string> names_in(std::string_view archive) {
  std::vector<std::string> names = {"pkgs-available.json", "ZENDROPKG-INF/pkg-meta.json", ""};
  constexpr std::size_t header = 46;
  for (std::size_t at = 0; names.size() < 8; ++at) {
    at = archive.find("PK\1\2", at);
    if (at == std::string_view::npos || at + header > archive.size()) break;
    const std::size_t length = static_cast<unsigned char>(archive[at + 28]);
    names.emplace_back(archive.substr(at + header, length));
  }
  return names;
}

// The rest of a stream read in blocks of a size; nothing when that fails.
std::optional<std::string> read_rest(IOImpl_base& stream, std::size_t block) {
  std::string text;
  std::string buffer(block, '\0');
  while (text.size() <= kMost) {
    const std::int64_t count = stream.read(buffer.data(), block);
    if (count < 0) {
      require(static_cast<bool>(stream.error()), "a failure has a cause");
      return std::nullopt;
    }
    if (count == 0) break;
    require(count <= static_cast<std::int64_t>(block), "no more is read than there is room for");
    text.append(buffer, 0, static_cast<std::size_t>(count));
  }
  return text;
}

void check_member(IOImpl_base& member) {
  const auto size = member.size();
  require(size >= 0, "a member has a size");
  const std::optional<std::string> text = read_rest(member, framework::kIoBlock);
  if (text && text->size() <= kMost) {
    require(static_cast<std::int64_t>(text->size()) == size, "a member is as long as it claims");
    const std::size_t middle = text->size() / 2;
    const auto position = static_cast<std::int64_t>(middle);
    require(member.seek(position, framework::SeekOrigin::begin) == position, "it can be reread");
    require(read_rest(member, 4093) == text->substr(middle), "from the middle the same is read");
  }
  if (member.seek(0, framework::SeekOrigin::begin) == 0) {
    require(read_rest(member, 509).has_value() == text.has_value(), "a fault shows each time");
  } else {
    require(!text.has_value(), "what was read can be read again");
  }
}

template <typename Opened>
bool is_sound(const Opened& opened) {
  return opened ? *opened != nullptr : static_cast<bool>(opened.error());
}

void run(std::string_view input) {
  const auto bytes = std::make_shared<const std::string>(input);
  const auto archive =
      framework::ZipArchive::open(framework::make_memory_stream(bytes, "archive"), "archive");
  require(is_sound(archive), "an archive or a cause");
  if (!archive) return;
  const framework::MemoryFile file("archive", bytes);
  for (const std::string& name : names_in(input)) {
    const auto member = (*archive)->open_member(name);
    require(is_sound(member), "a member or a cause");
    if (member) check_member(**member);
    // The same through a URL, and as an archive inside this one.
    std::string url = file.url();
    for (const std::string& part : {name, std::string("a")}) {
      url.append(framework::kZipSeparator).append(part);
      const auto opened = framework::open_url(url);
      require(is_sound(opened), "a stream or a cause");
      if (opened) read_rest(**opened, framework::kIoBlock);
    }
  }
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
