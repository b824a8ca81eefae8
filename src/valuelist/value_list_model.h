#pragma once

#include <array>
#include <vector>

#include <QAbstractTableModel>
#include <QIcon>

#include "ui/window_context.h"
#include "valuelist/key_rows.h"

namespace tolvar {

/// KeyRows as a model: its rows, and those of its columns that are on. A column that is off does not exist here.
class ValueListModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    ValueListModel(const WindowContext& context, QObject* parent);

    [[nodiscard]] const KeyRows& Rows() const { return m_rows; }

    void ShowRoots();
    LSTATUS ShowKey(HKEY root, const std::string& subpath, bool showsSubkeys);

    [[nodiscard]] bool IsColumnOn(KeyColumn column) const { return m_isOn[static_cast<std::size_t>(column)]; }
    /// Switches a column on or off. Name is always on. No effect where it is so already.
    void SetColumnOn(KeyColumn column, bool isOn);
    /// Where a column stands among those that are on; -1 for one that is off.
    [[nodiscard]] int SectionOf(KeyColumn column) const;
    [[nodiscard]] KeyColumn ColumnAt(int section) const { return m_shown[static_cast<std::size_t>(section)]; }
    [[nodiscard]] QString Title(KeyColumn column) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    /// Whether the name of a subkey or value can be edited: true only while it is to be.
    void SetEditing(bool isEditing) { m_bEditing = isEditing; }

    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    /// Tells of the edited name, and changes nothing by itself.
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

signals:
    void NameEdited(int row, const QString& name);

private:
    static constexpr int kImageCount = 15;

    const WindowContext& m_context;
    KeyRows m_rows;
    bool m_bEditing = false;
    std::array<bool, kKeyColumnCount> m_isOn{true};
    std::vector<KeyColumn> m_shown{KeyColumn::kName};
    std::array<QIcon, kImageCount> m_images;
};

} // namespace tolvar
