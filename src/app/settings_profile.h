#pragma once

#include <QSettings>

#include "platform/system/profile.h"

namespace tolvar {

/// The profile as a text file of the user's, in the place where desktop programs keep theirs.
class SettingsProfile final : public Profile {
public:
    SettingsProfile() : m_settings(QStringLiteral("Kordo"), QStringLiteral("Tolvar")) {}

    [[nodiscard]] int GetInt(std::string_view section, std::string_view key, int fallback) const override;
    [[nodiscard]] std::string GetString(std::string_view section, std::string_view key,
                                        std::string_view fallback = {}) const override;
    void WriteInt(std::string_view section, std::string_view key, int value) override;
    void WriteString(std::string_view section, std::string_view key, std::string_view value) override;

private:
    [[nodiscard]] static QString KeyName(std::string_view section, std::string_view key);

    QSettings m_settings;
};

} // namespace tolvar
