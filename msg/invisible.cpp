#include "msg/invisible.h"

#include <algorithm>
#include <iterator>

namespace zendro::msg {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// DerivedCoreProperties.txt, Default_Ignorable_Code_Point, which holds all of Cf but the marks with
// a glyph, interlinear annotations and Egyptian format controls; these two are added.
constexpr Range kInvisible[] = {
    {0x00AD, 0x00AD},   {0x034F, 0x034F},   {0x061C, 0x061C},  {0x115F, 0x1160}, {0x17B4, 0x17B5},
    {0x180B, 0x180F},   {0x200B, 0x200F},   {0x202A, 0x202E},  {0x2060, 0x206F}, {0x3164, 0x3164},
    {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},  {0xFFF0, 0xFFFB}, {0x13430, 0x1343F},
    {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}};

// Blocks whose letters take another form at a joiner, and pictures that join to one. From
// Blocks.txt: Arabic to Sinhala, Tibetan and Myanmar, Khmer and Mongolian, Tai Tham, Balinese to
// Lepcha, Phags-pa to Meetei Mayek, Arabic forms, Manichaean to Makasar; and where emoji are
// (emoji-zwj-sequences.txt), with the selector that makes a sign one.
constexpr Range kJoining[] = {
    {0x0620, 0x0DFF},   {0x0F00, 0x109F},   {0x1780, 0x17B3},  {0x17B6, 0x180A}, {0x1810, 0x18AF},
    {0x1A20, 0x1AAF},   {0x1B00, 0x1C4F},   {0x2190, 0x21FF},  {0x2600, 0x27BF}, {0x2B00, 0x2BFF},
    {0xA840, 0xABFF},   {0xFB50, 0xFDCF},   {0xFDF0, 0xFDFF},  {0xFE0F, 0xFE0F}, {0xFE70, 0xFEFC},
    {0x10AC0, 0x10FFF}, {0x11000, 0x11FFF}, {0x1F000, 0x1FAFF}};

// What has variants (StandardizedVariants.txt, emoji-variation-sequences.txt) beyond letters: signs
// and pictures, ideographs.
constexpr Range kVaried[] = {
    {0x00A9, 0x00A9}, {0x00AE, 0x00AE}, {0x203C, 0x203C}, {0x2049, 0x2049},   {0x20E3, 0x20E3},
    {0x2100, 0x2BFF}, {0x3001, 0x3002}, {0x3030, 0x3030}, {0x303D, 0x303D},   {0x3297, 0x3299},
    {0x3400, 0x4DBF}, {0x4E00, 0x9FFF}, {0xF900, 0xFAFF}, {0x1F000, 0x1FAFF}, {0x20000, 0x3FFFD}};

// The blocks of combining marks, variation selectors, and the colours of skin.
constexpr Range kAttached[] = {{0x0300, 0x036F}, {0x1AB0, 0x1AFF},   {0x1DC0, 0x1DFF},
                               {0x200C, 0x200D}, {0x20D0, 0x20FF},   {0xFE00, 0xFE0F},
                               {0xFE20, 0xFE2F}, {0x1F3FB, 0x1F3FF}, {0xE0100, 0xE01EF}};

template <std::size_t size>
bool is_in(const Range (&ranges)[size], char32_t character) {
  const Range* range =
      std::lower_bound(std::begin(ranges), std::end(ranges), character,
                       [](const Range& one, char32_t other) { return one.last < other; });
  return range != std::end(ranges) && range->first <= character;
}

constexpr char32_t kNonJoiner = 0x200C;
constexpr char32_t kJoiner = 0x200D;
constexpr char32_t kKeycap = 0x20E3;

bool is_noncharacter(char32_t c) { return (c & 0xFFFE) == 0xFFFE || (c >= 0xFDD0 && c <= 0xFDEF); }

// The scripts of India write it at the same place of their blocks.
bool is_virama(char32_t c) {
  return (c >= 0x0900 && c < 0x0D80 && c % 0x80 == 0x4D) || c == 0x0DCA;
}

bool is_needed(char32_t c, char32_t before, char32_t after) {
  if (c == kNonJoiner || c == kJoiner) {
    return is_virama(before) || (is_in(kJoining, before) && is_in(kJoining, after));
  }
  if (c >= 0x180B && c <= 0x180F) return before >= 0x1810 && before <= 0x18AF;  // Mongolian
  if (c >= 0xFE00 && c <= 0xFE0F) {
    const bool is_key = (before >= '0' && before <= '9') || before == '#' || before == '*';
    return is_key ? after == kKeycap : is_in(kVaried, before);
  }
  return c >= 0xE0100 && c <= 0xE01EF && is_in(kVaried, before);
}

}  // namespace

bool is_invisible(char32_t character, char32_t before, char32_t after) {
  return is_noncharacter(character) ||
         (is_in(kInvisible, character) && !is_needed(character, before, after));
}

bool is_attached(char32_t character, char32_t before) {
  return before == kJoiner || (character >= 0x0300 && is_in(kAttached, character));
}

}  // namespace zendro::msg
