#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/command.h"
#include "platform/registry/key_cursor.h"

namespace tolvar {

/// The full path of the key that a walk stands at.
class WalkPath {
public:
    /// `top`: path of the key where the walk begins, which keeps the form in which it was given.
    explicit WalkPath(std::string_view top);

    void Enter(const KeyCursor& key);
    [[nodiscard]] std::u16string_view Text() const noexcept { return m_text; }

private:
    std::u16string m_text;
    std::vector<std::size_t> m_ends; ///< where in it the path ends at each depth
};

/// Faults that are met while the line of a key is being written, and told when it is out. Where a key has more of them
/// than anyone reads, the first are told, and how many there are.
class HeldFaults {
public:
    explicit HeldFaults(CommandContext& context) : m_context(context) {}

    void Add(const KeyFault& fault);
    void Tell();

private:
    CommandContext& m_context;
    std::vector<Error> m_faults;
    std::size_t m_untold = 0;
};

} // namespace tolvar
