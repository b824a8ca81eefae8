#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tolvar {

// Text of the registry is a row of 16-bit units; text of this system is UTF-8. Nothing is lost on the way between them:
// a surrogate without its partner travels as its three-byte form, and in names, which end at the first zero byte,
// the unit 0 travels as the two bytes C0 80.

/// How the unit 0 is written.
enum class NulForm {
    kPlain,    ///< one zero byte: for data, whose length is known
    kTwoBytes, ///< C0 80: for names, which other code takes up to the first zero byte
};

/// Appends `text` to `out` as UTF-8.
void AppendUtf8(std::string& out, std::u16string_view text, NulForm nul = NulForm::kTwoBytes);

/// Appends one unit that is no surrogate to `out` as UTF-8.
void AppendUtf8Unit(std::string& out, char16_t unit, NulForm nul = NulForm::kTwoBytes);

[[nodiscard]] std::string ToUtf8(std::u16string_view text, NulForm nul = NulForm::kTwoBytes);

/// How many bytes ToUtf8 makes of `text` with NulForm::kPlain. Cost: a fraction of making them.
[[nodiscard]] std::size_t Utf8Size(std::u16string_view text) noexcept;

/// The units of a UTF-8 text, with the two extra forms above. Nothing if the bytes are no such text.
[[nodiscard]] std::optional<std::u16string> ToUtf16(std::string_view text);

/// Upper case of one unit by the platform's fixed table: no locale, no change of length, surrogates stay
/// (docs/hive-format.md, Upper case).
[[nodiscard]] char16_t UpCase(char16_t unit) noexcept;

/// A name with UpCase of each unit, so that names that compare equal are equal; one that is no UTF-8 as it is.
[[nodiscard]] std::string UpCased(std::string_view name);

/// How many bytes of a UTF-8 text that was cut somewhere belong to whole characters.
[[nodiscard]] std::size_t WholeCharacters(std::string_view text) noexcept;

/// Order of two names without regard to case: below 0, 0 or above 0. Units are compared after UpCase, a prefix comes
/// first.
[[nodiscard]] int CompareNames(std::u16string_view left, std::u16string_view right) noexcept;

/// The same order for names in UTF-8. A name that is no UTF-8 is compared by its bytes.
[[nodiscard]] int CompareNames(std::string_view left, std::string_view right);

} // namespace tolvar
