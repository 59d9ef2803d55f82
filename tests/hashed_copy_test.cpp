#include "framework/io/hashed_copy.h"

#include <algorithm>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "framework/io/stream_base.h"

namespace zendro::framework {
namespace {

constexpr std::size_t kNever = ~std::size_t{0};

// Gives its bytes in pieces of odd sizes, or takes bytes, and fails once `limit` have passed.
class LimitedStream : public StreamBase {
 public:
  explicit LimitedStream(std::string content = {}, std::size_t limit = kNever)
      : StreamBase("disk"), bytes(std::move(content)), limit_(limit) {}
  void close() override {}
  std::int64_t read(void* buffer, std::size_t size) override {
    if (position_ >= limit_) return fail("is on fire");
    size = std::min({size, std::size_t{40'961}, bytes.size() - position_, limit_ - position_});
    std::memcpy(buffer, bytes.data() + position_, size);
    position_ += size;
    return static_cast<std::int64_t>(size);
  }
  std::int64_t write(const void* buffer, std::size_t size) override {
    if (bytes.size() + size > limit_) return fail("is full");
    bytes.append(static_cast<const char*>(buffer), size);
    return static_cast<std::int64_t>(size);
  }
  std::int64_t seek(std::int64_t, SeekOrigin) override { return fail("cannot be moved"); }
  std::int64_t size() override { return -1; }
  bool seekable() override { return false; }

  std::string bytes;

 private:
  std::size_t limit_;
  std::size_t position_ = 0;
};

std::string sample(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * i / 251);
  return bytes;
}

constexpr std::size_t kBlock = HashedCopy::kBlock;

TEST(HashedCopy, CopiesAndHashesStreamsOfAnySize) {
  HashedCopy copy;
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, kBlock - 1, kBlock, kBlock + 1,
                                 2 * kBlock, 5 * kBlock + 77, std::size_t{3}}) {
    const std::string bytes = sample(size);
    LimitedStream source(bytes);
    LimitedStream target;
    Sha256 digest;
    EXPECT_TRUE(copy.run(source, target, digest)) << size;
    EXPECT_EQ(digest.finish(), sha256(bytes)) << size;
    EXPECT_TRUE(target.bytes == bytes) << size;

    LimitedStream hashed(bytes);
    Sha256 digest_only;
    EXPECT_TRUE(hash_stream(hashed, digest_only));
    EXPECT_EQ(digest_only.finish(), sha256(bytes)) << size;
  }
}

TEST(HashedCopy, WhatArrivedBeforeAFailureIsInTheTarget) {
  HashedCopy copy;
  const std::string bytes = sample(3 * kBlock);
  for (const std::size_t limit : {std::size_t{0}, std::size_t{5}, kBlock, 2 * kBlock + 9}) {
    LimitedStream source(bytes, limit);
    LimitedStream target;
    Sha256 digest;
    EXPECT_FALSE(copy.run(source, target, digest));
    EXPECT_EQ(source.error().text, "disk: is on fire");
    EXPECT_FALSE(target.error());
    EXPECT_TRUE(target.bytes == bytes.substr(0, limit)) << limit;
  }
  LimitedStream source(bytes);
  LimitedStream target({}, kBlock);
  Sha256 digest;
  EXPECT_FALSE(copy.run(source, target, digest));
  EXPECT_EQ(target.error().text, "disk: is full");
  EXPECT_FALSE(source.error());
}

}  // namespace
}  // namespace zendro::framework
