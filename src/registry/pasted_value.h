#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tolvar {

/// A value that a text names: "HKEY_USERS\x\\[Size]". The name of the default value is empty.
struct PastedValue {
    std::string keyPath;
    std::string name;

    /// Takes a text apart; nothing where it names no value. No name of a key holds a backslash, so that the first two
    /// with "[" behind them part the key from the value, whatever either is called.
    [[nodiscard]] static std::optional<PastedValue> FromText(std::string_view text);

    [[nodiscard]] std::string Text() const;
};

} // namespace tolvar
