#pragma once

#include <mutex>

#include "platform/registry/key_view.h"
#include "platform/registry/winreg.h"

namespace tolvar {

/// What a handle stands for.
struct OpenKey {
    KeyRef key;
    REGSAM granted = 0;     ///< the rights that it was opened with
    bool isDeleted = false; ///< the key is gone; the handle answers nothing but that

    std::mutex enumerationMutex;  ///< guards the rest: two threads may enumerate through one handle
    SubkeyRun enumeration;        ///< where the last enumeration stood, so that one in ascending order needs no search
    std::uint64_t generation = 0; ///< of the registry then: a write ends the run; 0 for none
};

} // namespace tolvar
