#include "framework/sign/blake2b.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include <openssl/evp.h>

namespace zendro::framework {
namespace {

// libcrypto 3.0 has BLAKE2b in its full length only, and the others are no prefixes of it. This is
// RFC 7693, sections 2 and 3, with its names.
constexpr std::size_t kBlockSize = 128;
constexpr std::size_t kLength = 32;
constexpr std::size_t kWord = 8;

using Words = std::array<std::uint64_t, 8>;

constexpr Words kIv = {0x6a09e667f3bcc908, 0xbb67ae8584caa73b, 0x3c6ef372fe94f82b,
                       0xa54ff53a5f1d36f1, 0x510e527fade682d1, 0x9b05688c2b3e6c1f,
                       0x1f83d9abfb41bd6b, 0x5be0cd19137e2179};

constexpr std::size_t kSigma[10][16] = {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15},
                                        {14, 10, 4, 8, 9, 15, 13, 6, 1, 12, 0, 2, 11, 7, 5, 3},
                                        {11, 8, 12, 0, 5, 2, 15, 13, 10, 14, 3, 6, 7, 1, 9, 4},
                                        {7, 9, 3, 1, 13, 12, 11, 14, 2, 6, 5, 10, 4, 0, 15, 8},
                                        {9, 0, 5, 7, 2, 4, 10, 15, 14, 1, 11, 12, 6, 8, 3, 13},
                                        {2, 12, 6, 10, 0, 11, 8, 3, 4, 13, 7, 5, 15, 14, 1, 9},
                                        {12, 5, 1, 15, 14, 13, 4, 10, 0, 7, 6, 3, 9, 2, 8, 11},
                                        {13, 11, 7, 14, 12, 1, 3, 9, 5, 0, 15, 4, 8, 6, 2, 10},
                                        {6, 15, 14, 9, 11, 3, 0, 8, 12, 2, 13, 7, 1, 4, 10, 5},
                                        {10, 2, 8, 4, 7, 6, 1, 5, 15, 11, 9, 14, 3, 12, 13, 0}};
constexpr std::size_t kRounds = 12;

std::uint64_t word_at(std::string_view bytes, std::size_t index) {
  std::uint64_t word = 0;
  for (std::size_t i = kWord; i-- > 0;) {
    word = word << 8 | static_cast<unsigned char>(bytes[index * kWord + i]);
  }
  return word;
}

void mix(std::uint64_t& a, std::uint64_t& b, std::uint64_t& c, std::uint64_t& d, std::uint64_t x,
         std::uint64_t y) {
  a += b + x;
  d = std::rotr(d ^ a, 32);
  c += d;
  b = std::rotr(b ^ c, 24);
  a += b + y;
  d = std::rotr(d ^ a, 16);
  c += d;
  b = std::rotr(b ^ c, 63);
}

// `count` is that of all bytes up to the end of this block.
void compress(Words& h, std::string_view block, std::uint64_t count, bool is_last) {
  std::array<std::uint64_t, 16> v{};
  std::copy(h.begin(), h.end(), v.begin());
  std::copy(kIv.begin(), kIv.end(), v.begin() + h.size());
  v[12] ^= count;
  if (is_last) v[14] = ~v[14];
  for (std::size_t round = 0; round < kRounds; ++round) {
    const auto& s = kSigma[round % 10];
    const auto m = [&](std::size_t i) { return word_at(block, s[i]); };
    for (std::size_t i = 0; i < 4; ++i) {
      mix(v[i], v[i + 4], v[i + 8], v[i + 12], m(2 * i), m(2 * i + 1));
    }
    for (std::size_t i = 0; i < 4; ++i) {
      mix(v[i], v[4 + (i + 1) % 4], v[8 + (i + 2) % 4], v[12 + (i + 3) % 4], m(2 * i + 8),
          m(2 * i + 9));
    }
  }
  for (std::size_t i = 0; i < h.size(); ++i) h[i] ^= v[i] ^ v[i + h.size()];
}

}  // namespace

std::string blake2b_512(std::string_view bytes) {
  std::string digest(64, '\0');
  if (EVP_Digest(bytes.data(), bytes.size(), reinterpret_cast<unsigned char*>(digest.data()),
                 nullptr, EVP_blake2b512(), nullptr) != 1) {
    throw std::runtime_error("The cryptographic library provides no BLAKE2b.");
  }
  return digest;
}

std::string blake2b_256(std::string_view bytes) {
  constexpr std::uint64_t parameters = 0x01010000;
  Words h = kIv;
  h[0] ^= parameters ^ kLength;
  std::uint64_t count = 0;
  do {
    std::string block(bytes.substr(0, kBlockSize));
    bytes.remove_prefix(block.size());
    count += block.size();
    block.resize(kBlockSize);
    compress(h, block, count, bytes.empty());
  } while (!bytes.empty());
  std::string digest;
  for (std::size_t i = 0; i < kLength; ++i) {
    digest += static_cast<char>(h[i / kWord] >> 8 * (i % kWord));
  }
  return digest;
}

}  // namespace zendro::framework
