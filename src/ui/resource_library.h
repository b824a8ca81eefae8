#pragma once

#include <QHash>
#include <QIcon>
#include <QString>

namespace tolvar {

/// A library of texts and pictures by number: a Qt binary resource file with `library.json` ({"strings": {"61491":
/// "..."}}) and `icons/NUMBER.svg`. Move-only; the file stays registered as long as the object lives.
class ResourceLibrary {
public:
    ResourceLibrary() = default;
    ResourceLibrary(ResourceLibrary&& other) noexcept;
    ResourceLibrary& operator=(ResourceLibrary&& other) noexcept;
    ResourceLibrary(const ResourceLibrary&) = delete;
    ResourceLibrary& operator=(const ResourceLibrary&) = delete;
    ~ResourceLibrary() { Free(); }

    /// Loads `name`, a file name or relative path without suffix, from the first of `folders` that has it. `mountPoint`
    /// keeps libraries apart that are loaded at once. False, and an empty library, if none has it or the file is no
    /// library.
    [[nodiscard]] bool Load(const QStringList& folders, const QString& name, const QString& mountPoint);
    void Free();

    [[nodiscard]] bool IsLoaded() const { return !m_file.isEmpty(); }

    /// The text with that number; empty for none.
    [[nodiscard]] QString String(int number) const { return m_strings.value(number); }

    /// The number that a text holds in decimal; 0 for none. Colours are COLORREF numbers: red in the lowest byte.
    [[nodiscard]] uint Number(int number) const { return String(number).toUInt(); }

    /// The icon with that number, and another one for selected items where `selectedNumber` is not 0. A null icon for a
    /// number that is not there.
    [[nodiscard]] QIcon Icon(int number, int selectedNumber = 0) const;

private:
    QString m_file; ///< the registered file; empty: nothing is loaded
    QString m_mountPoint;
    QHash<int, QString> m_strings;
};

} // namespace tolvar
