// Characters that nobody sees, or that make others stand where they are not.
#pragma once

namespace zendro::msg {

/// Whether a character has to be shown by its number, between these two others of its text (0 where
/// there is none): the Default_Ignorable_Code_Point and the Cf (format) of Unicode 15, and the
/// noncharacters. Those of them that have a glyph are none (Prepended_Concatenation_Mark).
/// Nor are those that ordinary text needs, where it needs them: joiners after a virama (RFC 5892,
/// A.1 and A.2) and between two characters of scripts or pictures that join; variation selectors
/// after what has variants.
bool is_invisible(char32_t character, char32_t before, char32_t after);

/// Whether the character belongs to the one before it, so that a text is not cut between the two.
bool is_attached(char32_t character, char32_t before);

}  // namespace zendro::msg
