#include "ui/resource_library.h"

#include <utility>

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QResource>

namespace tolvar {

namespace {

/// Hands each member of the object `name` of `library` to `read`, its name as a number.
template <class Read>
void ForEachNumber(const QJsonObject& library, const char* name, Read&& read)
{
    const QJsonObject members = library.value(QLatin1String(name)).toObject();
    for (auto member = members.begin(); member != members.end(); ++member) {
        read(member.key().toInt(), member.value());
    }
}

std::vector<MenuItem> MenuItems(const QJsonArray& array)
{
    std::vector<MenuItem> items;
    for (const QJsonValue& value : array) {
        const QJsonObject item = value.toObject();
        items.push_back({CommandId{item.value(QStringLiteral("command")).toInt()},
                         item.value(QStringLiteral("text")).toString(),
                         MenuItems(item.value(QStringLiteral("items")).toArray())});
    }
    return items;
}

} // namespace

ResourceLibrary::ResourceLibrary(ResourceLibrary&& other) noexcept
{
    *this = std::move(other);
}

ResourceLibrary& ResourceLibrary::operator=(ResourceLibrary&& other) noexcept
{
    if (this != &other) {
        Free();
        m_file = std::exchange(other.m_file, {});
        m_mountPoint = std::exchange(other.m_mountPoint, {});
        m_language = std::exchange(other.m_language, {});
        m_strings = std::exchange(other.m_strings, {});
        m_menus = std::exchange(other.m_menus, {});
        m_accelerators = std::exchange(other.m_accelerators, {});
        m_toolbars = std::exchange(other.m_toolbars, {});
        m_strips = std::exchange(other.m_strips, {});
    }
    return *this;
}

bool ResourceLibrary::Load(const QStringList& folders, const QString& name, const QString& mountPoint)
{
    Free();
    for (const QString& folder : folders) {
        const QString file = QFileInfo(folder + u'/' + name + QStringLiteral(".rcc")).absoluteFilePath();
        if (!QFileInfo::exists(file) || !QResource::registerResource(file, mountPoint)) {
            continue;
        }
        m_file = file;
        m_mountPoint = mountPoint;
        if (QFile json(u':' + mountPoint + QStringLiteral("/library.json")); json.open(QIODevice::ReadOnly)) {
            Read(QJsonDocument::fromJson(json.readAll()).object());
        }
        if (!m_strings.isEmpty()) {
            return true;
        }
        Free();
    }
    return false;
}

void ResourceLibrary::Read(const QJsonObject& library)
{
    m_language = library.value(QStringLiteral("language")).toString();
    ForEachNumber(library, "strings",
                  [this](int number, const QJsonValue& text) { m_strings.insert(number, text.toString()); });
    ForEachNumber(library, "menus", [this](int number, const QJsonValue& popups) {
        m_menus.insert(MenuId{number}, MenuItems(popups.toArray()));
    });
    ForEachNumber(library, "accelerators", [this](int number, const QJsonValue& keys) {
        for (const QJsonValue& key : keys.toArray()) {
            m_accelerators[CommandId{number}].append(
                QKeySequence::fromString(key.toString(), QKeySequence::PortableText));
        }
    });
    ForEachNumber(library, "toolbars", [this](int number, const QJsonValue& commands) {
        for (const QJsonValue& command : commands.toArray()) {
            m_toolbars[ToolbarId{number}].append(CommandId{command.toInt()});
        }
    });
    ForEachNumber(library, "strips", [this](int number, const QJsonValue& strip) {
        const QJsonObject icons = strip.toObject();
        for (auto icon = icons.begin(); icon != icons.end(); ++icon) {
            m_strips[StripId{number}].insert(CommandId{icon.key().toInt()}, IconId{icon.value().toInt()});
        }
    });
}

void ResourceLibrary::Free()
{
    if (IsLoaded()) {
        QResource::unregisterResource(m_file, m_mountPoint);
    }
    m_file.clear();
    m_language.clear();
    m_strings.clear();
    m_menus.clear();
    m_accelerators.clear();
    m_toolbars.clear();
    m_strips.clear();
}

QIcon ResourceLibrary::Icon(IconId icon, IconId selected) const
{
    const auto file = [this](IconId wanted) {
        return u':' + m_mountPoint + QStringLiteral("/icons/%1.svg").arg(static_cast<int>(wanted));
    };
    QIcon made;
    if (IsLoaded() && QFile::exists(file(icon))) {
        made.addFile(file(icon));
        // Named for the selected look as well, so that no style tints it.
        made.addFile(file(selected != IconId::kNone ? selected : icon), {}, QIcon::Selected);
    }
    return made;
}

const std::vector<MenuItem>& ResourceLibrary::Menu(MenuId menu) const
{
    static const std::vector<MenuItem> none;
    const auto found = m_menus.constFind(menu);
    return found != m_menus.constEnd() ? *found : none;
}

QIcon ResourceLibrary::StripIcon(StripId strip, CommandId command) const
{
    const IconId icon = m_strips.value(strip).value(command);
    return icon != IconId::kNone ? Icon(icon) : QIcon();
}

} // namespace tolvar
