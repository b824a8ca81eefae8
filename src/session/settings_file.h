#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "platform/system/profile.h"

namespace tolvar {

/// The settings that the window keeps, for reading: the text file "Kordo/Tolvar.conf" in the user's configuration,
/// whose lines are "[section]" and "key=value". What can't be read is not there, and what is written is forgotten: only
/// the window changes settings.
class SettingsFile final : public Profile {
public:
    /// That file, below $XDG_CONFIG_HOME or the home folder.
    [[nodiscard]] static std::filesystem::path DefaultFile();

    explicit SettingsFile(const std::filesystem::path& file = DefaultFile());

    [[nodiscard]] int GetInt(std::string_view section, std::string_view key, int fallback) const override;
    [[nodiscard]] std::string GetString(std::string_view section, std::string_view key,
                                        std::string_view fallback) const override;
    void WriteInt(std::string_view /*section*/, std::string_view /*key*/, int /*value*/) override {}
    void WriteString(std::string_view /*section*/, std::string_view /*key*/, std::string_view /*value*/) override {}

private:
    std::map<std::string, std::string> m_values; ///< by "section/key"
};

} // namespace tolvar
