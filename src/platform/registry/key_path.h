#pragma once

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/registry/winreg.h"

namespace tolvar {

// Key paths as texts: names with a backslash between two of them, and for a full path the name of a root in front. The
// functions look at the text alone, never at the registry, and answer views into what they were given. Text is UTF-8,
// where the byte of a backslash is never part of another character.

inline constexpr char kPathSeparator = '\\';

/// One of the predefined roots.
struct RootKey {
    const char* name;      ///< "HKEY_LOCAL_MACHINE"
    const char* shortName; ///< "HKLM"
    HKEY handle;
};

/// All seven roots, in the order of their handles.
[[nodiscard]] std::span<const RootKey> RootKeys() noexcept;

/// The root of that name, without regard to case; null if there is none. Short names are no names here.
[[nodiscard]] const RootKey* FindRoot(std::string_view name) noexcept;

/// The root of that short name, without regard to case; null if there is none.
[[nodiscard]] const RootKey* FindRootByShortName(std::string_view name) noexcept;

/// The root of that handle; null for a handle of any other kind.
[[nodiscard]] const RootKey* FindRoot(HKEY handle) noexcept;

struct FirstAndRest {
    std::string_view first;
    std::string_view rest; ///< without the separator; empty where there is none
};

/// Splits at the first separator.
[[nodiscard]] FirstAndRest SplitFirst(std::string_view path) noexcept;

struct ParentAndName {
    std::string_view parent;
    std::string_view name;
};

/// Splits at the last separator. Nothing for a text without one, as a root is, or with nothing behind it.
[[nodiscard]] std::optional<ParentAndName> SplitLast(std::string_view path) noexcept;

/// All before the last separator; empty where there is none.
[[nodiscard]] std::string_view ParentPath(std::string_view path) noexcept;

/// All behind the last separator, or the whole text where there is none.
[[nodiscard]] std::string_view LastName(std::string_view path) noexcept;

/// Puts `name`, which may itself be a path, behind `path`. An empty side adds no separator.
void AppendPath(std::string& path, std::string_view name);
[[nodiscard]] std::string JoinPath(std::string_view path, std::string_view name);

/// Whether a text holds a separator, and so can be no key's name.
[[nodiscard]] bool HoldsSeparator(std::string_view text) noexcept;

/// The path without the separators at its end.
[[nodiscard]] std::string_view TrimPathEnd(std::string_view path) noexcept;

/// What of `path` lies below `top`: empty for `top` itself; nothing where it lies elsewhere. Names are compared without
/// regard to case.
[[nodiscard]] std::optional<std::string_view> PathBelow(std::string_view path, std::string_view top);

/// The names of a path, one after another. Empty ones, as of two separators side by side, are passed over.
///
///     for (std::string_view name : PathNames(path)) ...
template <class Char>
class PathNamesOf {
public:
    using View = std::basic_string_view<Char>;

    explicit PathNamesOf(View path) noexcept : m_path(path) {}

    class Iterator {
    public:
        explicit Iterator(View rest) noexcept : m_rest(rest) { TakeName(); }
        [[nodiscard]] View operator*() const noexcept { return m_name; }
        Iterator& operator++() noexcept
        {
            m_rest.remove_prefix(m_name.size());
            TakeName();
            return *this;
        }
        /// What follows the name, from its separator on.
        [[nodiscard]] View Rest() const noexcept { return m_rest.substr(m_name.size()); }
        [[nodiscard]] bool IsLast() const noexcept { return PathNamesOf(Rest()).begin().m_name.empty(); }
        [[nodiscard]] bool operator!=(const Iterator& other) const noexcept
        {
            return m_name.empty() != other.m_name.empty(); // compared with the end alone
        }

    private:
        void TakeName() noexcept
        {
            constexpr auto kSeparator = static_cast<Char>(kPathSeparator);
            m_rest.remove_prefix(std::min(m_rest.find_first_not_of(kSeparator), m_rest.size()));
            m_name = m_rest.substr(0, m_rest.find(kSeparator));
        }
        View m_rest;
        View m_name; ///< the first of `m_rest`; empty at the end
    };

    [[nodiscard]] Iterator begin() const noexcept { return Iterator(m_path); }
    [[nodiscard]] Iterator end() const noexcept { return Iterator(View()); }

private:
    View m_path;
};
using PathNames = PathNamesOf<char>;
using PathUnits = PathNamesOf<char16_t>;

} // namespace tolvar
