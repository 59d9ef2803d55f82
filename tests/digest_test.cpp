#include "framework/io/digest.h"

#include <utility>

#include <gtest/gtest.h>

namespace zendro::framework {
namespace {

// The examples of FIPS 180-4.
constexpr char kEmpty[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr char kAbc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr char kMillionA[] = "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0";

TEST(DigestTest, KnownDigestsWholeAndInBlocks) {
  EXPECT_EQ(to_hex(sha256("")), kEmpty);
  EXPECT_EQ(to_hex(sha256("abc")), kAbc);
  const std::string million(1000000, 'a');
  Sha256 hash;
  for (std::size_t i = 0; i < million.size(); i += 777) {
    hash.update(million.data() + i, std::min<std::size_t>(777, million.size() - i));
    if (i == 777) {
      Sha256 moved = std::move(hash);
      hash = std::move(moved);
    }
  }
  EXPECT_EQ(to_hex(hash.finish()), kMillionA);
}

TEST(DigestTest, ParsesExactly64DigitsOfEitherCase) {
  std::string upper = kAbc;
  for (char& c : upper) c = static_cast<char>(toupper(c));
  EXPECT_EQ(parse_sha256(kAbc), sha256("abc"));
  EXPECT_EQ(parse_sha256(upper), sha256("abc"));
  const std::string text = kAbc;
  for (const std::string& bad :
       {std::string(), text.substr(1), text + "0", "g" + text.substr(1), text.substr(1) + " ",
        "0x" + text.substr(2), "+" + text.substr(1), text.substr(0, 63) + '\0'}) {
    EXPECT_FALSE(parse_sha256(bad)) << bad;
  }
}

}  // namespace
}  // namespace zendro::framework
