#include "app/settings_profile.h"

#include "ui/native_text.h"

namespace tolvar {

QString SettingsProfile::KeyName(std::string_view section, std::string_view key)
{
    QString name = ToQString(section).replace(u'\\', u'/');
    return name.isEmpty() ? ToQString(key) : name + u'/' + ToQString(key);
}

int SettingsProfile::GetInt(std::string_view section, std::string_view key, int fallback) const
{
    bool isNumber = false;
    const int value = m_settings.value(KeyName(section, key)).toInt(&isNumber);
    return isNumber ? value : fallback;
}

std::string SettingsProfile::GetString(std::string_view section, std::string_view key, std::string_view fallback) const
{
    const QVariant value = m_settings.value(KeyName(section, key));
    return value.isValid() ? FromQString(value.toString()) : std::string(fallback);
}

void SettingsProfile::WriteInt(std::string_view section, std::string_view key, int value)
{
    m_settings.setValue(KeyName(section, key), value);
}

void SettingsProfile::WriteString(std::string_view section, std::string_view key, std::string_view value)
{
    m_settings.setValue(KeyName(section, key), ToQString(value));
}

} // namespace tolvar
