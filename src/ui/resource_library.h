#pragma once

#include <vector>

#include <QHash>
#include <QIcon>
#include <QKeySequence>
#include <QString>

namespace tolvar {

/// One entry of a menu: a command, a popup (it has entries), or a separator (it has no text).
struct MenuItem {
    int command = 0;
    QString text; ///< with "&" before its mnemonic
    std::vector<MenuItem> items;

    [[nodiscard]] bool IsSeparator() const { return text.isEmpty(); }
};

/// A library of texts, menus and pictures by number: a Qt binary resource file with `icons/NUMBER.svg` and
/// `library.json`, in which
///
///     "language":     "en"
///     "strings":      {"61491": "..."}
///     "menus":        {"128": [{"text": "&File", "items": [{"command": 57601, "text": "&Open"}, {}]}]}
///     "accelerators": {"57636": ["Ctrl+F"]}           the first one is shown in menus
///     "toolbars":     {"128": [57601, 0, 57636]}      commands; 0 is a separator
///     "strips":       {"264": {"57636": 57636}}       the icon that stands for a command in menus and toolbars
///
/// Move-only; the file stays registered as long as the object lives.
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

    /// The language of the texts, as "en"; empty where the library has none.
    [[nodiscard]] const QString& Language() const { return m_language; }

    /// The text with that number; empty for none.
    [[nodiscard]] QString String(int number) const { return m_strings.value(number); }

    /// The number that a text holds in decimal; 0 for none. Colours are COLORREF numbers: red in the lowest byte.
    [[nodiscard]] uint Number(int number) const { return String(number).toUInt(); }

    /// The icon with that number, and another one for selected items where `selectedNumber` is not 0. A null icon for a
    /// number that is not there.
    [[nodiscard]] QIcon Icon(int number, int selectedNumber = 0) const;

    /// The popups of a menu; none for a number that is not there.
    [[nodiscard]] const std::vector<MenuItem>& Menu(int number) const;

    /// The key sequences of a command.
    [[nodiscard]] QList<QKeySequence> Accelerators(int command) const { return m_accelerators.value(command); }

    /// The commands of a toolbar, 0 for a separator.
    [[nodiscard]] QList<int> Toolbar(int number) const { return m_toolbars.value(number); }

    /// The icon that strip `number` has for a command; a null icon for none.
    [[nodiscard]] QIcon StripIcon(int number, int command) const;

private:
    void Read(const QJsonObject& library);

    QString m_file; ///< the registered file; empty: nothing is loaded
    QString m_mountPoint;
    QString m_language;
    QHash<int, QString> m_strings;
    QHash<int, std::vector<MenuItem>> m_menus;
    QHash<int, QList<QKeySequence>> m_accelerators;
    QHash<int, QList<int>> m_toolbars;
    QHash<int, QHash<int, int>> m_strips;
};

} // namespace tolvar
