#pragma once

#include <vector>

#include <QHash>
#include <QIcon>
#include <QKeySequence>
#include <QString>

#include "ui/menu_ids.h"
#include "ui/picture_ids.h"
#include "ui/text_ids.h"

namespace tolvar {

enum class CommandId : int; // the program's: a library knows a command by its number alone

/// One entry of a menu: a command, a popup (it has entries), or a separator (it has no text).
struct MenuItem {
    CommandId command{};
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

    /// The text of that name; empty for none.
    [[nodiscard]] QString String(TextId text) const { return m_strings.value(static_cast<int>(text)); }
    [[nodiscard]] QString String(ThemeTextId text) const { return m_strings.value(static_cast<int>(text)); }

    /// What a command does and, on a line of its own, its name; empty for none.
    [[nodiscard]] QString String(CommandId command) const { return m_strings.value(static_cast<int>(command)); }

    /// The number that a text holds in decimal; 0 for none. Colours are COLORREF numbers: red in the lowest byte.
    [[nodiscard]] uint Number(ThemeTextId text) const { return String(text).toUInt(); }

    /// The icon of that name, and another one for selected items where `selected` is not kNone. A null icon for one
    /// that is not there.
    [[nodiscard]] QIcon Icon(IconId icon, IconId selected = IconId::kNone) const;

    /// The popups of a menu; none for one that is not there.
    [[nodiscard]] const std::vector<MenuItem>& Menu(MenuId menu) const;

    /// The key sequences of a command.
    [[nodiscard]] QList<QKeySequence> Accelerators(CommandId command) const { return m_accelerators.value(command); }

    /// The commands of a toolbar, 0 for a separator.
    [[nodiscard]] QList<CommandId> Toolbar(ToolbarId toolbar) const { return m_toolbars.value(toolbar); }

    /// The icon that a strip has for a command; a null icon for none.
    [[nodiscard]] QIcon StripIcon(StripId strip, CommandId command) const;

private:
    void Read(const QJsonObject& library);

    QString m_file; ///< the registered file; empty: nothing is loaded
    QString m_mountPoint;
    QString m_language;
    QHash<int, QString> m_strings;
    QHash<MenuId, std::vector<MenuItem>> m_menus;
    QHash<CommandId, QList<QKeySequence>> m_accelerators;
    QHash<ToolbarId, QList<CommandId>> m_toolbars;
    QHash<StripId, QHash<CommandId, IconId>> m_strips;
};

} // namespace tolvar
