#include "ui/resource_library.h"

#include <utility>

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QResource>

namespace tolvar {

ResourceLibrary::ResourceLibrary(ResourceLibrary&& other) noexcept
    : m_file(std::exchange(other.m_file, {})), m_mountPoint(std::exchange(other.m_mountPoint, {})),
      m_strings(std::exchange(other.m_strings, {}))
{}

ResourceLibrary& ResourceLibrary::operator=(ResourceLibrary&& other) noexcept
{
    if (this != &other) {
        Free();
        m_file = std::exchange(other.m_file, {});
        m_mountPoint = std::exchange(other.m_mountPoint, {});
        m_strings = std::exchange(other.m_strings, {});
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
        QFile json(u':' + mountPoint + QStringLiteral("/library.json"));
        const QJsonObject library =
            json.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(json.readAll()).object() : QJsonObject();
        const QJsonObject strings = library.value(QStringLiteral("strings")).toObject();
        for (auto text = strings.begin(); text != strings.end(); ++text) {
            m_strings.insert(text.key().toInt(), text.value().toString());
        }
        if (!m_strings.isEmpty()) {
            return true;
        }
        Free();
    }
    return false;
}

void ResourceLibrary::Free()
{
    if (IsLoaded()) {
        QResource::unregisterResource(m_file, m_mountPoint);
    }
    m_file.clear();
    m_strings.clear();
}

QIcon ResourceLibrary::Icon(int number, int selectedNumber) const
{
    const auto file = [this](int wanted) { return u':' + m_mountPoint + QStringLiteral("/icons/%1.svg").arg(wanted); };
    QIcon icon;
    if (IsLoaded() && QFile::exists(file(number))) {
        icon.addFile(file(number));
        // Named for the selected look as well, so that no style tints it.
        icon.addFile(file(selectedNumber != 0 ? selectedNumber : number), {}, QIcon::Selected);
    }
    return icon;
}

} // namespace tolvar
