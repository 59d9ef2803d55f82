#include "framework/url/url_io.h"

#include <functional>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/io/stream_base.h"
#include "framework/system/files.h"
#include "framework/url/memory_stream.h"
#include "framework/url/zip.h"
#include "tests/cause.h"
#include "tests/temp_folder.h"
#include "tests/zip_builder.h"

namespace zendro::framework {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using tests::cause_of;
using tests::make_zip;
using tests::TempFolder;
using tests::ZipEntry;

std::shared_ptr<const std::string> shared(std::string bytes) {
  return std::make_shared<const std::string>(std::move(bytes));
}

/// The bytes behind a URL, or "error: <text>".
std::string fetch(const std::string& url, std::uint64_t limit = 1 << 24) {
  const auto stream = open_url(url);
  const auto bytes = stream ? read_all(**stream, 0, limit, url) : tl::unexpected(stream.error());
  if (bytes) return *bytes;
  EXPECT_THAT(bytes.error().text, HasSubstr(": "));
  return "error: " + bytes.error().text;
}

std::string member_of(const std::string& archive, const std::string& name) {
  const MemoryFile file("archive", shared(archive));
  return fetch(file.url() + "%7Czip/" + name);
}

/// Text that deflate cannot shrink to nothing.
std::string sample(std::size_t size) {
  std::string text;
  std::uint32_t state = 1;
  while (text.size() < size) {
    state = state * 1664525 + 1013904223;
    text += static_cast<char>('a' + (state >> 24) % 20);
  }
  return text;
}

TEST(MemoryFileTest, IsReadableWhileRegisteredAndKeepsOpenStreams) {
  std::shared_ptr<IOImpl_base> stream;
  std::string url;
  {
    const MemoryFile first("pkgs-available-json-zip", shared("first"));
    const MemoryFile second("pkgs-available-json-zip", shared("second"));
    const MemoryFile odd("a/b%7Czip/c", shared("odd"));
    EXPECT_EQ(first.url(), "memory://localhost/pkgs-available-json-zip");
    EXPECT_THAT(second.url(), StartsWith("memory://localhost/"));
    EXPECT_NE(second.url(), first.url());
    EXPECT_EQ(fetch(first.url()), "first");
    EXPECT_EQ(fetch(second.url()), "second");
    EXPECT_EQ(fetch(odd.url()), "odd");
    url = first.url();
    const auto opened = open_url(url);
    ASSERT_TRUE(opened) << opened.error().text;
    stream = *opened;
  }
  EXPECT_EQ(fetch(url), "error: " + url + ": no such file in memory");

  char buffer[8] = {};
  EXPECT_EQ(stream->size(), 5);
  EXPECT_EQ(stream->seek(-2, SeekOrigin::end), 3);
  EXPECT_EQ(stream->read(buffer, 8), 2);
  EXPECT_EQ(stream->read(buffer, 8), 0);
  EXPECT_EQ(stream->seek(-4, SeekOrigin::current), 1);
  EXPECT_EQ(stream->seek(INT64_MIN, SeekOrigin::current), -1);
  EXPECT_EQ(stream->seek(6, SeekOrigin::begin), -1);
  EXPECT_EQ(stream->read(buffer, 1), 1);
  EXPECT_EQ(buffer[0], 'i');
  EXPECT_EQ(stream->write("x", 1), -1);
}

TEST(MemoryFileTest, RegistersFromManyThreads) {
  const auto work = [](int id) {
    for (int i = 0; i < 200; ++i) {
      const std::string bytes = std::to_string(id * 1000 + i);
      const MemoryFile file("same", shared(bytes));
      EXPECT_EQ(fetch(file.url()), bytes);
    }
  };
  std::thread other(work, 1);
  work(2);
  other.join();
}

TEST(UrlIoTest, OpensPathsFileUrlsAndMembersOfBoth) {
  const TempFolder folder;
  const std::string archive = make_zip({{"m.xsd", "member"}});
  ASSERT_TRUE(write_file(folder / "a%20b.zip", archive));
  ASSERT_TRUE(write_file(folder / "a b.zip", "plain"));
  const std::string base = folder.path().string();
  EXPECT_EQ(fetch(base + "/a%20b.zip"), archive) << "a path is not percent-decoded";
  const std::string path = folder.path().generic_string();
  const std::string place = (path.starts_with('/') ? "file://" : "file:///") + path;
  EXPECT_EQ(fetch(place + "/a%20b.zip"), "plain");
  EXPECT_EQ(fetch(place + "/a%2520b.zip%7Czip/m.xsd"), "member");
  EXPECT_EQ(fetch(base + "/a%20b.zip%7Czip/m.xsd"), "member");
  EXPECT_THAT(fetch(base + "/none.zip%7Czip/m.xsd"), HasSubstr(base + "/none.zip: "));
  for (const char* url : {"file://host/x", "http://x/", "HTTPS://x/%7Czip/y", "gopher:x", "",
                          "memory://localhost/none%7Czip/x"}) {
    EXPECT_THAT(fetch(url), StartsWith("error: ")) << url;
  }
}

TEST(ZipTest, ReadsMembersForwardsAndBackwards) {
  const std::string text = sample(200000);
  for (const bool deflated : {true, false}) {
    const MemoryFile file("zip", shared(make_zip({{"dir/t.txt", text, deflated}})));
    const auto opened = open_url(file.url() + "%7Czip/dir/t.txt");
    ASSERT_TRUE(opened) << opened.error().text;
    const auto& stream = *opened;
    EXPECT_TRUE(stream->seekable());
    EXPECT_EQ(stream->size(), 200000);
    std::string tail(1000, '\0');
    EXPECT_EQ(stream->seek(-1000, SeekOrigin::end), 199000);
    EXPECT_EQ(stream->read(tail.data(), 5000 < tail.size() ? 5000 : tail.size()), 1000);
    EXPECT_EQ(tail, text.substr(199000));
    EXPECT_EQ(stream->seek(100, SeekOrigin::begin), 100);
    EXPECT_EQ(stream->seek(23, SeekOrigin::current), 123);
    EXPECT_EQ(read_all(*stream, 0, 200000), text.substr(123));
    EXPECT_EQ(stream->seek(1, SeekOrigin::current), -1);
    EXPECT_EQ(stream->write("x", 1), -1);
    stream->close();
    EXPECT_EQ(stream->read(tail.data(), 1), -1);
  }
}

TEST(ZipTest, FindsNamesAsGivenThenDecodedAndTheFirstOfSeveral) {
  const std::string archive = make_zip({{"a%20b", "as given"},
                                        {"a b", "decoded"},
                                        {"c d", "only decoded"},
                                        {"caf\u00E9", "accent"},
                                        {"twice", "first"},
                                        {"twice", "second"},
                                        {"empty", ""},
                                        {"evil", "evil"},
                                        {"dir/", "", false}});
  EXPECT_EQ(member_of(archive, "a%20b"), "as given");
  EXPECT_EQ(member_of(archive, "c%20d"), "only decoded");
  EXPECT_EQ(member_of(archive, "caf%C3%A9"), "accent");
  EXPECT_EQ(member_of(archive, "caf\u00E9"), "accent");
  EXPECT_EQ(member_of(archive, "twice"), "first");
  EXPECT_EQ(member_of(archive, "empty"), "");
  EXPECT_THAT(member_of(archive, "evil%00.xsd"), HasSubstr("no such member"));
  EXPECT_THAT(member_of(archive, "A B"), HasSubstr("no such member"));
  EXPECT_THAT(member_of(archive, ""), HasSubstr("no such member"));
  EXPECT_THAT(member_of(archive, "dir/"), HasSubstr("folder"));
  EXPECT_EQ(member_of(make_zip({{"m", "wide"}}, true), "m"), "wide") << "zip64";
}

TEST(ZipTest, OpensManyMembersOfOneArchive) {
  const std::string a = sample(100000);
  const std::string b = sample(70000);
  auto archive = ZipArchive::open(
      make_memory_stream(shared(make_zip({{"a", a}, {"b", b, false}})), "mem"), "mem");
  ASSERT_TRUE(archive) << cause_of(archive);
  const auto first = *(*archive)->open_member("a");
  const auto second = *(*archive)->open_member("b");
  EXPECT_EQ(cause_of((*archive)->open_member("c")),
            "mem%7Czip/c: the archive holds no such member");
  archive->reset();
  std::string read_a;
  std::string read_b;
  std::string block(777, '\0');
  for (std::int64_t got_a = 1, got_b = 1; got_a > 0 || got_b > 0;) {
    got_a = first->read(block.data(), block.size());
    if (got_a > 0) read_a.append(block, 0, static_cast<std::size_t>(got_a));
    got_b = second->read(block.data(), block.size());
    if (got_b > 0) read_b.append(block, 0, static_cast<std::size_t>(got_b));
  }
  EXPECT_EQ(read_a, a);
  EXPECT_EQ(read_b, b);
}

TEST(ZipTest, RefusesHostileMembersWithTheirCause) {
  const std::string text = sample(5000);
  for (const bool deflated : {true, false}) {
    ZipEntry entry{"m", text, deflated};
    entry.crc = 1;
    EXPECT_THAT(member_of(make_zip({entry}), "m"), HasSubstr("CRC"));
  }
  // Sizes that the data does not have, beyond any memory and beyond 63 bits.
  for (const std::uint64_t size :
       {std::uint64_t{4999}, std::uint64_t{5001}, std::uint64_t{1} << 40, UINT64_MAX}) {
    ZipEntry entry{"m", text};
    entry.size = size;
    EXPECT_THAT(member_of(make_zip({entry}), "m").substr(0, 100), HasSubstr("size")) << size;
    const auto stream =
        open_zip_member(make_memory_stream(shared(make_zip({entry})), "mem"), "m", "mem");
    EXPECT_EQ(stream.has_value(), size != UINT64_MAX);
    if (stream && size > text.size()) {
      EXPECT_EQ((*stream)->size(), static_cast<std::int64_t>(size));
      EXPECT_EQ((*stream)->seek(0, SeekOrigin::end), -1);
    }
  }
  ZipEntry understated{"m", std::string(1 << 20, 'x')};
  understated.size = 10;
  const auto stream =
      open_zip_member(make_memory_stream(shared(make_zip({understated})), "mem"), "m", "mem");
  ASSERT_TRUE(stream) << cause_of(stream);
  std::string block(1000, '\0');
  EXPECT_EQ((*stream)->read(block.data(), block.size()), -1) << "not only at the end";
  ZipEntry encrypted{"m", text};
  encrypted.flags |= 1;
  EXPECT_THAT(member_of(make_zip({encrypted}), "m"), HasSubstr("encrypted"));
  ZipEntry unknown{"m", text};
  unknown.method = 97;
  EXPECT_THAT(member_of(make_zip({unknown}), "m"), HasSubstr("not supported"));
  // A bomb stops at the reader's limit.
  const MemoryFile bomb("bomb", shared(make_zip({{"m", std::string(30 << 20, '\0')}})));
  EXPECT_THAT(fetch(bomb.url() + "%7Czip/m", 1 << 20), HasSubstr("more than 1048576 bytes"));
}

TEST(ZipTest, DamageGivesAnErrorNeverOtherBytes) {
  const std::string text = sample(300);
  const std::string archive = make_zip({{"other", "x", false}, {"m", text}}, true);
  for (std::size_t length = 0; length < archive.size(); ++length) {
    EXPECT_THAT(member_of(archive.substr(0, length), "m"), StartsWith("error: ")) << length;
  }
  int failures = 0;
  for (std::size_t at = 0; at < archive.size(); ++at) {
    for (const int change : {0x01, 0x80, 0xFF}) {
      std::string damaged = archive;
      damaged[at] = static_cast<char>(damaged[at] ^ change);
      const std::string result = member_of(damaged, "m");
      if (result.starts_with("error: ")) {
        ++failures;
      } else {
        EXPECT_EQ(result, text) << at;
      }
    }
  }
  EXPECT_GT(failures, 600);
}

/// Fails once a position has been reached.
class FailingStream : public StreamBase {
 public:
  FailingStream(std::string bytes, std::int64_t limit)
      : StreamBase("disk"),
        inner_(make_memory_stream(shared(std::move(bytes)), "")),
        limit_(limit) {}
  void close() override {}
  std::int64_t read(void* buffer, std::size_t size) override {
    const std::int64_t position = inner_->seek(0, SeekOrigin::current);
    if (position < limit_) return fail("is on fire");
    return inner_->read(buffer, size);
  }
  std::int64_t seek(std::int64_t offset, SeekOrigin origin) override {
    return inner_->seek(offset, origin);
  }
  std::int64_t size() override { return inner_->size(); }
  bool seekable() override { return true; }

 private:
  std::shared_ptr<IOImpl_base> inner_;
  std::int64_t limit_;
};

TEST(ZipTest, TellsTheCauseOfTheStreamBelow) {
  const std::string archive = make_zip({{"m", sample(300000)}});
  EXPECT_EQ(cause_of(ZipArchive::open(std::make_shared<FailingStream>(archive, 1 << 30), "a.zip")),
            "a.zip: disk: is on fire");
  // The directory at the end can be read, the member cannot.
  EXPECT_EQ(
      cause_of(open_zip_member(std::make_shared<FailingStream>(archive, 70000), "m", "a.zip")),
      "a.zip%7Czip/m: disk: is on fire");
}

TEST(UrlIoTest, OpensArchivesInsideArchivesToALimit) {
  std::string archive = make_zip({{"leaf", "deep"}});
  std::string member = "leaf";
  for (int depth = 1; depth <= 9; ++depth) {
    const std::string result = member_of(archive, member);
    if (depth <= 8) {
      EXPECT_EQ(result, "deep") << depth;
    } else {
      EXPECT_THAT(result, HasSubstr("nested too deep"));
    }
    archive = make_zip({{"x/in.zip", archive}});
    member = "x/in.zip%7Czip/" + member;
  }
  // A damaged inner archive counts as unreadable as a whole.
  ZipEntry inner{"in.zip", make_zip({{"leaf", "deep"}})};
  inner.crc = 1;
  EXPECT_THAT(member_of(make_zip({inner}), "in.zip%7Czip/leaf"), HasSubstr("CRC"));
}

/// What a path inside an archive in memory leads to, or "error: <text>".
std::string inside(const std::string& archive, std::string_view path) {
  const auto stream = open_archive_path(make_memory_stream(shared(archive), "a"), path, "a");
  const auto bytes = stream ? read_all(**stream, 0, 1 << 24) : tl::unexpected(stream.error());
  return bytes ? *bytes : "error: " + bytes.error().text;
}

TEST(UrlIoTest, PathsInsideAnOpenArchiveHaveTheSameLimits) {
  std::string archive = make_zip({{"leaf", "deep"}});
  std::string path = "leaf";
  for (int depth = 1; depth <= 9; ++depth) {
    const std::string result = inside(archive, path);
    if (depth <= 8) {
      EXPECT_EQ(result, "deep") << depth;
    } else {
      EXPECT_THAT(result, AllOf(StartsWith("error: a%7Czip/"), HasSubstr("nested too deep")));
    }
    archive = make_zip({{"in.zip", archive}});
    path = "in.zip%7Czip/" + path;
  }
  EXPECT_EQ(inside(archive, "in.zip%7Czip/none"),
            "error: a%7Czip/in.zip%7Czip/none: the archive holds no such member");

  // An inner archive that is larger than it may be, though it takes little space where it is.
  constexpr std::size_t kPart = 1 << 20;
  const std::string zeros(kPart, '\0');
  std::string part(kPart, '\0');
  z_stream deflater{};
  ASSERT_EQ(deflateInit2(&deflater, 6, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY), Z_OK);
  deflater.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(zeros.data()));
  deflater.avail_in = static_cast<uInt>(zeros.size());
  deflater.next_out = reinterpret_cast<Bytef*>(part.data());
  deflater.avail_out = static_cast<uInt>(part.size());
  ASSERT_EQ(deflate(&deflater, Z_FULL_FLUSH), Z_OK);
  part.resize(deflater.total_out);
  deflateEnd(&deflater);
  ZipEntry bomb{"in.zip", "", false};
  for (int i = 0; i < 300; ++i) bomb.data += part;
  bomb.method = 8;
  bomb.size = 300 * kPart;
  for (const std::string& result : {inside(make_zip({bomb}), "in.zip%7Czip/leaf"),
                                    member_of(make_zip({bomb}), "in.zip%7Czip/leaf")}) {
    EXPECT_THAT(result, HasSubstr("in.zip: holds more than 268435456 bytes"));
  }
}

TEST(ZipTest, TakesNoMoreMembersThanItsTableOfNamesCanBear) {
  std::vector<ZipEntry> entries;
  for (int i = 0; i < 65535; ++i) entries.push_back({"m" + std::to_string(i), "", false});
  EXPECT_EQ(member_of(make_zip(entries, true), "m65534"), "");
  entries.push_back({"one more", "", false});
  std::string archive = make_zip(entries, true);
  // The counts in the directory's zip64 record, which are wider than those of the builder.
  const std::size_t record = archive.size() - 98;
  ASSERT_EQ(archive.substr(record, 4), "PK\6\6");
  archive[record + 26] = 1;
  archive[record + 34] = 1;
  EXPECT_THAT(member_of(archive, "one more"), HasSubstr("has more than 65535 members"));
}

class TestCallback : public IoCallback {
 public:
  using Create = std::function<std::shared_ptr<IOImpl_base>(std::string_view)>;
  explicit TestCallback(Create create) : create_(std::move(create)) {}
  std::shared_ptr<IOImpl_base> create(std::string_view url) override {
    seen.emplace_back(url);
    return create_(url);
  }
  std::vector<std::string> seen;

 private:
  Create create_;
};

/// A stream that opens "ext:good..." as the bytes given, and nothing else.
class SchemeStream : public StreamBase {
 public:
  explicit SchemeStream(std::shared_ptr<const std::string> bytes)
      : StreamBase("ext"), inner_(make_memory_stream(std::move(bytes), "x")) {}
  bool open(std::string_view url) override {
    if (url.starts_with("ext:good")) return true;
    fail("is not installed");
    return false;
  }
  void close() override {}
  std::int64_t read(void* buffer, std::size_t size) override { return inner_->read(buffer, size); }
  std::int64_t seek(std::int64_t offset, SeekOrigin origin) override {
    return inner_->seek(offset, origin);
  }
  std::int64_t size() override { return inner_->size(); }
  bool seekable() override { return true; }

 private:
  std::shared_ptr<IOImpl_base> inner_;
};

TEST(UrlIoTest, AsksTheCallbackForSchemesThatAreNotItsOwn) {
  const auto archive = shared(make_zip({{"m", "member"}}));
  const auto callback = std::make_shared<TestCallback>([&](std::string_view url) {
    if (url.starts_with("err:")) throw std::runtime_error("broken option");
    return url.starts_with("ext:") && url.find(kZipSeparator) == std::string_view::npos
               ? std::make_shared<SchemeStream>(archive)
               : nullptr;
  });
  const auto before = set_io_callback(callback);
  EXPECT_EQ(fetch("ext:good"), *archive);
  EXPECT_EQ(fetch("ext:good%7Czip/m"), "member");
  EXPECT_EQ(fetch("ext:bad"), "error: ext: is not installed");
  EXPECT_THAT(fetch("err:any"), HasSubstr("err:any: broken option"));
  const MemoryFile file("f", shared("memory"));
  EXPECT_EQ(fetch(file.url()), "memory");
  fetch("/no/where");
  fetch("file:///no/where");
  EXPECT_THAT(callback->seen, testing::ElementsAre("ext:good", "ext:good%7Czip/m", "ext:good",
                                                   "ext:bad", "err:any"))
      << "the whole URL first, and only schemes that are not its own";
  EXPECT_EQ(set_io_callback(before), callback);
  EXPECT_THAT(fetch("ext:good"), StartsWith("error: ext:good: "));
}

}  // namespace
}  // namespace zendro::framework
