#pragma once

#include <string>

#include "platform/registry/winreg.h"

namespace tolvar {

/// A value as an editor takes it: its type, and its data as a text that can bring the data back.
struct EditableValue {
    DWORD type = 0;
    std::string text;
    /// The text is that of the stored bytes ("01 02 "), because the form of the type could not bring them back, or a
    /// field of lines could not hold the text as it is.
    bool isStored = false;
};

/// Reads a value for an editor or a copy. Answers as RegQueryValueExA.
LSTATUS ReadEditableValue(HKEY key, const std::string& name, EditableValue& value);

} // namespace tolvar
