#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "platform/files/file_store.h"
#include "platform/registry/open_value.h"
#include "platform/system/error.h"

namespace tolvar {

/// What a text holds of a key.
enum class KeyTextForm {
    kAbsolute, ///< the key and all below it, each under a section with its full path: for exports
    kRelative, ///< the key's values without a section, then a section for each key below it: for backups
};

/// What of a key the text could not hold: values and keys that were left out, or that come back changed.
struct KeyTextLosses {
    std::size_t count = 0;
    std::string first; ///< the first of them, for a person; empty where there is none
};

/// Takes the next piece of the text. Its failure ends the writing.
using KeyTextSink = std::function<Result<void>(std::string_view piece)>;

/// Writes the key of the session's registry at the full path `path` as text, in large pieces. What can't be read or
/// held is left out and counted; a value of the text's form that comes back with other bytes is written and counted.
/// Errors: kBadCommand for a path that begins with no root; those of Registry::Find; the sink's.
[[nodiscard]] Result<KeyTextLosses> WriteKeyText(const std::string& path, KeyTextForm form, const KeyTextSink& sink);

/// Writes the line of one value, without a line end, by the same rules. `path` is what the losses call its key. A value
/// that is not there gives an empty text. Errors: the sink's.
[[nodiscard]] Result<KeyTextLosses> WriteValueText(const std::string& path, OpenValue& value, const KeyTextSink& sink);

/// The same into a file, which is replaced as a whole and is durable when this returns. A failure leaves the old one. A
/// new one gets the rights of the hive: see FreshFile.
[[nodiscard]] Result<KeyTextLosses> WriteKeyTextFile(const std::string& path, KeyTextForm form,
                                                     const std::filesystem::path& file,
                                                     FileStore& files = SystemFiles());

} // namespace tolvar
