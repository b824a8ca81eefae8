#include "journal/ui/journal_list_model.h"

#include "journal/journal_record.h"
#include "ui/native_text.h"
#include "ui/type_icons.h"

namespace tolvar {

namespace {

/// By JournalRow::image.
IconId IconOf(std::size_t image)
{
    constexpr std::size_t kKey = 11;
    constexpr std::size_t kFirstGroup = 13;
    constexpr std::size_t kSecondGroup = 14;
    switch (image) {
    case kKey:
        return IconId::kKey;
    case kFirstGroup:
        return IconId::kSearchResults;
    case kSecondGroup:
        return IconId::kSecondGroup;
    default:
        return TypeIcon(static_cast<std::uint32_t>(image));
    }
}

/// By Column.
constexpr std::array kTitles = {TextId::kType,   TextId::kTime, TextId::kUser,
                                TextId::kChange, TextId::kName, TextId::kKeyOfChange};
static_assert(kTitles.size() == JournalListModel::kColumnCount);

/// By JournalOperation.
constexpr std::array kOperations = {TextId::kDeleted,    TextId::kRenamed,     TextId::kModified,     TextId::kNew,
                                    TextId::kFirstGroup, TextId::kSecondGroup, TextId::kUnknownChange};
static_assert(kOperations.size() == static_cast<std::size_t>(JournalOperation::kCount));

} // namespace

JournalListModel::JournalListModel(const WindowContext& context, const CTolvarDoc& document, QObject* parent)
    : QAbstractTableModel(parent), m_context(context), m_document(document),
      m_emptyName(FromQString(context.language.String(TextId::kDefaultName)))
{
    for (std::size_t i = 0; i < m_images.size(); ++i) {
        m_images[i] = context.theme.Icon(IconOf(i));
    }
}

void JournalListModel::FillFromJournal()
{
    beginResetModel();
    m_sealedRows.clear();
    m_rows = static_cast<int>(m_document.Journal().size());
    endResetModel();
}

void JournalListModel::AddJournalRow()
{
    beginInsertRows({}, m_rows, m_rows);
    ++m_rows;
    endInsertRows();
}

int JournalListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int JournalListModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : kColumnCount;
}

JournalRow JournalListModel::Row(int row) const
{
    if (const auto known = m_sealedRows.find(row); known != m_sealedRows.end()) {
        return known->second;
    }
    const JournalRecord record = m_document.RecordAt(static_cast<std::size_t>(row));
    JournalRow shown = RowOf(record, m_emptyName);
    if (!record.isPlain) {
        m_sealedRows.emplace(row, shown);
    }
    return shown;
}

QString JournalListModel::Text(int row, int column) const
{
    const JournalRow record = Row(row);
    switch (column) {
    case kTime:
        return ToQString(record.date);
    case kUser:
        return ToQString(record.user);
    case kOperation:
        return m_context.language.String(kOperations[static_cast<std::size_t>(record.operation)]);
    case kWhat:
        return ToQString(record.what);
    case kKey:
        return ToQString(record.path);
    default:
        return {};
    }
}

QVariant JournalListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || static_cast<std::size_t>(index.row()) >= m_document.Journal().size()) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
        return Text(index.row(), index.column());
    case Qt::AccessibleTextRole:
        return Text(index.row(), index.column() == kType ? int{kWhat} : index.column());
    case Qt::DecorationRole:
        if (index.column() == kType) {
            return m_images[static_cast<std::size_t>(Row(index.row()).image)];
        }
        return {};
    default:
        return {};
    }
}

QVariant JournalListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Vertical || section >= kColumnCount) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
        return m_context.language.String(kTitles[static_cast<std::size_t>(section)]);
    case Qt::TextAlignmentRole:
        return static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter);
    default:
        return {};
    }
}

} // namespace tolvar
