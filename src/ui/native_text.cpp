#include "ui/native_text.h"

#include "platform/system/text.h"

namespace tolvar {

QString ToQString(std::string_view text)
{
    if (const std::optional<std::u16string> units = ToUtf16(text)) {
        return QString::fromUtf16(units->data(), static_cast<qsizetype>(units->size()));
    }
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::string FromQString(const QString& text)
{
    return ToUtf8({reinterpret_cast<const char16_t*>(text.utf16()), static_cast<std::size_t>(text.size())});
}

} // namespace tolvar
