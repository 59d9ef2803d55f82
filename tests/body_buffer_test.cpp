#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "framework/http/transfer.h"

namespace zendro::framework {
namespace {

bool append(BodyBuffer& body, std::string_view bytes) {
  return body.append(bytes.data(), bytes.size());
}

std::string taken(BodyBuffer& body) {
  std::string bytes(2 * kIoBlock, '\0');
  bytes.resize(body.take(bytes.data(), bytes.size()));
  return bytes;
}

TEST(BodyBuffer, BytesGoWhereTheyAreWantedAndKeepTheirOrder) {
  BodyBuffer body;
  std::string out(5, '-');
  body.lend(out);
  EXPECT_TRUE(append(body, "abc"));
  EXPECT_TRUE(body.empty());
  EXPECT_EQ(body.lent(), 2U);
  EXPECT_TRUE(append(body, "defg"));
  EXPECT_TRUE(append(body, "h"));
  EXPECT_EQ(out, "abcde");
  body.withdraw();
  EXPECT_TRUE(append(body, "i"));
  EXPECT_EQ(taken(body), "fghi");
  EXPECT_EQ(out, "abcde");

  // What was lent is not written to once all has been forgotten.
  body.lend(out);
  body.clear();
  EXPECT_TRUE(append(body, "x"));
  EXPECT_EQ(out, "abcde");
}

TEST(BodyBuffer, WhatDoesNotFitIsRefusedAsAWhole) {
  BodyBuffer body;
  std::string out(3, '-');
  body.lend(out);
  EXPECT_FALSE(append(body, std::string(kIoBlock + 4, 'a')));
  EXPECT_EQ(out, "---");
  EXPECT_TRUE(append(body, std::string(kIoBlock + 3, 'b')));
  EXPECT_EQ(out, "bbb");
  EXPECT_FALSE(append(body, "c"));
  EXPECT_EQ(taken(body), std::string(kIoBlock, 'b'));
}

}  // namespace
}  // namespace zendro::framework
