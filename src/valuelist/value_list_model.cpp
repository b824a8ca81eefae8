#include "valuelist/value_list_model.h"

#include <algorithm>

#include "ui/native_text.h"
#include "ui/theme_list_ctrl.h"
#include "ui/type_icons.h"

namespace tolvar {

namespace {

/// By KeyRow::Image.
IconId IconOf(std::size_t image)
{
    constexpr std::size_t kRefusedImage = 14;
    return image == 0               ? IconId::kKey
           : image == kRefusedImage ? IconId::kRefused
                                    : TypeIcon(static_cast<std::uint32_t>(image - 1));
}

/// By KeyColumn.
constexpr std::array kTitles = {TextId::kName,   TextId::kType,  TextId::kLastChange,
                                TextId::kLength, TextId::kOwner, TextId::kData};
static_assert(kTitles.size() == kKeyColumnCount);

KeyRowTexts Texts(const ResourceLibrary& language)
{
    const auto text = [&language](TextId id) { return FromQString(language.String(id)); };
    return {text(TextId::kEmptyData), text(TextId::kDefaultName), text(TextId::kValueNotSet),
            text(TextId::kUnknownTime)};
}

} // namespace

ValueListModel::ValueListModel(const WindowContext& context, QObject* parent)
    : QAbstractTableModel(parent), m_context(context), m_rows(Texts(context.language), context.m_bIsNT)
{
    for (std::size_t i = 0; i < m_images.size(); ++i) {
        m_images[i] = context.theme.Icon(IconOf(i));
    }
}

void ValueListModel::ShowRoots()
{
    beginResetModel();
    m_rows.ShowRoots();
    endResetModel();
}

LSTATUS ValueListModel::ShowKey(HKEY root, const std::string& subpath, bool showsSubkeys)
{
    beginResetModel();
    const LSTATUS code = m_rows.ShowKey(root, subpath, showsSubkeys);
    endResetModel();
    return code;
}

void ValueListModel::SetColumnOn(KeyColumn column, bool isOn)
{
    if (column == KeyColumn::kName || IsColumnOn(column) == isOn) {
        return;
    }
    m_isOn[static_cast<std::size_t>(column)] = isOn;
    const auto place = std::ranges::lower_bound(m_shown, column);
    const auto section = static_cast<int>(place - m_shown.begin());
    if (isOn) {
        beginInsertColumns({}, section, section);
        m_shown.insert(place, column);
        endInsertColumns();
    } else {
        beginRemoveColumns({}, section, section);
        m_shown.erase(place);
        endRemoveColumns();
    }
}

int ValueListModel::SectionOf(KeyColumn column) const
{
    const auto place = std::ranges::find(m_shown, column);
    return place != m_shown.end() ? static_cast<int>(place - m_shown.begin()) : -1;
}

QString ValueListModel::Title(KeyColumn column) const
{
    return m_context.language.String(kTitles[static_cast<std::size_t>(column)]);
}

int ValueListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.Count());
}

int ValueListModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_shown.size());
}

Qt::ItemFlags ValueListModel::flags(const QModelIndex& index) const
{
    const Qt::ItemFlags usual = QAbstractTableModel::flags(index);
    return m_bEditing && index.isValid() && index.column() == 0 ? usual | Qt::ItemIsEditable : usual;
}

bool ValueListModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role == Qt::EditRole && index.isValid()) {
        emit NameEdited(index.row(), value.toString());
    }
    return false; // the key is read anew where the name has changed
}

QVariant ValueListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid()) {
        return {};
    }
    const auto row = static_cast<std::size_t>(index.row());
    const KeyColumn column = ColumnAt(index.column());
    switch (role) {
    case Qt::DisplayRole:
        return ToQString(m_rows.Cell(row, column));
    case Qt::DecorationRole:
        return column == KeyColumn::kName ? m_images[static_cast<std::size_t>(m_rows.Row(row).Image())] : QVariant();
    case Qt::EditRole:
        return ToQString(m_rows.Name(row));
    case kItemDataRole:
        return QVariant::fromValue<qint64>(m_rows.Row(row).ItemData());
    default:
        return {};
    }
}

QVariant ValueListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Vertical || section >= columnCount()) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
        return Title(ColumnAt(section));
    case Qt::TextAlignmentRole:
        return static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter);
    default:
        return {};
    }
}

} // namespace tolvar
