#pragma once

#include <algorithm>
#include <mutex>
#include <optional>

#include "platform/registry/key_view.h"
#include "platform/registry/winreg.h"

namespace tolvar {

/// What a handle stands for.
struct OpenKey {
    [[nodiscard]] bool IsIn(const Mount& mount) const noexcept
    {
        return std::ranges::any_of(key.Parts(), [&mount](const KeyPart& part) { return part.mount == &mount; });
    }

    /// To be called when it was opened and when one of its stores was flushed.
    void NoteFlushed()
    {
        const bool isAsFlushed = !isDeleted && std::ranges::none_of(key.Parts(), [](const KeyPart& part) {
            return part.mount->IsChanged();
        });
        flushed = isAsFlushed ? std::optional(key) : std::nullopt;
    }

    KeyRef key;
    REGSAM granted = 0;            ///< the rights that it was opened with
    bool isDeleted = false;        ///< the key is gone; the handle answers nothing but that
    std::optional<KeyRef> flushed; ///< what it stood for when its stores were last flushed; nothing: it was not open

    std::mutex enumerationMutex;  ///< guards the rest: two threads may enumerate through one handle
    SubkeyRun enumeration;        ///< where the last enumeration stood, so that one in ascending order needs no search
    std::uint64_t generation = 0; ///< of the registry then: a write ends the run; 0 for none
};

} // namespace tolvar
