#pragma once

#include <array>
#include <map>

#include <QAbstractTableModel>
#include <QIcon>

#include "journal/tolvar_doc.h"
#include "ui/window_context.h"

namespace tolvar {

/// The document's journal as a table, oldest first: row and place in the journal are the same number. A record is taken
/// apart when it is drawn, so that a long journal is there at once; one that its text doesn't tell is kept, since that
/// takes a look at its seal.
class JournalListModel final : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column : int { kType, kTime, kUser, kOperation, kWhat, kKey, kColumnCount };

    /// Both must outlive the model.
    JournalListModel(const WindowContext& context, const CTolvarDoc& document, QObject* parent);

    /// Takes the journal as it stands now.
    void FillFromJournal();

    /// Shows the record that the journal has got at its end.
    void AddJournalRow();

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    static constexpr int kImageCount = 15;

    [[nodiscard]] JournalRow Row(int row) const;
    [[nodiscard]] QString Text(int row, int column) const;

    const WindowContext& m_context;
    const CTolvarDoc& m_document;
    std::string m_emptyName;
    std::array<QIcon, kImageCount> m_images;
    mutable std::map<int, JournalRow> m_sealedRows; ///< of those that were drawn
    int m_rows = 0;
};

} // namespace tolvar
