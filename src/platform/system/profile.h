#pragma once

#include <string>
#include <string_view>

namespace tolvar {

/// The settings that outlive a run, in sections of named integers and texts. The empty section is the profile itself.
/// Nothing is cached for the caller: whoever needs a setting reads it when its window is made.
class Profile {
public:
    virtual ~Profile() = default;

    [[nodiscard]] virtual int GetInt(std::string_view section, std::string_view key, int fallback) const = 0;
    [[nodiscard]] virtual std::string GetString(std::string_view section, std::string_view key,
                                                std::string_view fallback = {}) const = 0;
    virtual void WriteInt(std::string_view section, std::string_view key, int value) = 0;
    virtual void WriteString(std::string_view section, std::string_view key, std::string_view value) = 0;
};

} // namespace tolvar
